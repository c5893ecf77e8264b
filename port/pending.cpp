// Transitional placeholders until this subsystem's commands are written.
#include "driver/pending.h"

extern "C" {


ESW_EXPORT uint32_t mrvl_esw_get_nic_stats(EswFrameworkHandle* /*handle*/, void* /*arg*/) { ESW_PENDING(mrvl_esw_get_nic_stats); }
ESW_EXPORT uint32_t mrvl_esw_clear_nic_stats(EswFrameworkHandle* /*handle*/) { ESW_PENDING(mrvl_esw_clear_nic_stats); }
ESW_EXPORT uint32_t mrvl_esw_clear_counters(uint32_t /*dev*/, uint32_t /*port*/) { ESW_PENDING(mrvl_esw_clear_counters); }
ESW_EXPORT int32_t mrvl_set_link_speed_led(void) { ESW_PENDING(mrvl_set_link_speed_led); }
ESW_EXPORT int32_t mrvl_set_port_speed_led(int32_t /*port*/) { ESW_PENDING(mrvl_set_port_speed_led); }
ESW_EXPORT int32_t set_speed_led_based_on_link_state(int32_t /*fpgaDevice*/, int32_t /*port*/, int32_t /*linkUp*/, int32_t /*code*/) { ESW_PENDING(set_speed_led_based_on_link_state); }
uint32_t mrvl_esw_read_port_counters(uint32_t /*dev*/, uint32_t /*port*/) { ESW_PENDING(mrvl_esw_read_port_counters); }

}
