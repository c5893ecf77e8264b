// Transitional placeholders until this subsystem's commands are written.
#include "driver/pending.h"

extern "C" {


ESW_EXPORT int32_t mrvl_set_link_speed_led(void) { ESW_PENDING(mrvl_set_link_speed_led); }
ESW_EXPORT int32_t mrvl_set_port_speed_led(int32_t /*port*/) { ESW_PENDING(mrvl_set_port_speed_led); }
ESW_EXPORT int32_t set_speed_led_based_on_link_state(int32_t /*fpgaDevice*/, int32_t /*port*/, int32_t /*linkUp*/, int32_t /*code*/) { ESW_PENDING(set_speed_led_based_on_link_state); }

}
