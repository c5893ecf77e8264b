// The host's own services: device framework, platform log, interface indexes, CPU channel, FPGA.
#include <cstdarg>
#include <cstdio>

#include "sim/host_call.h"

using sim::Chip;
using sim::detail::Host;
using sim::detail::state;
using sim::detail::Text;

extern "C" {

int32_t announce(const char* name, void* table) {
    return Host<int32_t>("announce", Text{name}, table).run([&](Chip&) {
        state().announcements.push_back({name ? name : "", table});
        return int32_t{0};
    });
}

// Not a chip call: never journalled and never faulted.
void zel_syslog(int32_t level, const char* module, const char* location, const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list sizing;
    va_copy(sizing, args);
    int length = format ? std::vsnprintf(nullptr, 0, format, sizing) : 0;
    va_end(sizing);
    std::string message(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    if (length > 0) std::vsnprintf(message.data(), message.size() + 1, format, args);
    va_end(args);

    sim::LogRecord rec{level, module ? module : "", location ? location : "", std::move(message)};
    std::lock_guard lock(state().mutex);
    if (state().logEcho)
        std::fprintf(stderr, "[%d] %s %s: %s\n", rec.level, rec.module.c_str(), rec.location.c_str(),
                     rec.message.c_str());
    state().logs.push_back(std::move(rec));
}

uint32_t if_index_phy_ethernet_get(uint32_t slot, uint32_t port) {
    return Host<uint32_t>("if_index_phy_ethernet_get", slot, port).port(port).run([&](Chip&) {
        return sim::if_index(slot, port);
    });
}

int32_t if_index_phy_eth_get_slot(uint32_t ifIndex, uint32_t* slot) {
    return Host<int32_t>("if_index_phy_eth_get_slot", ifIndex, slot)
        .zero_ok()
        .rx_path()
        .out(slot)
        .run([&](Chip&) {
            if (ifIndex == 0 || !slot) return false;
            *slot = ifIndex / sim::kIfIndexSlotStride;
            return true;
        });
}

int32_t if_index_phy_eth_get_port(uint32_t ifIndex, uint32_t* port) {
    return Host<int32_t>("if_index_phy_eth_get_port", ifIndex, port)
        .zero_ok()
        .rx_path()
        .out(port)
        .run([&](Chip&) {
            if (ifIndex == 0 || !port) return false;
            *port = ifIndex % sim::kIfIndexSlotStride;
            return true;
        });
}

EswFrameworkHandle* get_channel_cpu_port(void) {
    return Host<EswFrameworkHandle*>("get_channel_cpu_port").rx_path().run([&](Chip&) {
        return state().cpuChannel;
    });
}

// Only FPGA device 0 exists.
int32_t lib_fpga_reg_read(int32_t device, uint32_t reg, uint32_t* value) {
    return Host<int32_t>("lib_fpga_reg_read", device, reg, value).zero_ok().out(value).run([&](Chip&) {
        if (device != 0 || !value) return false;
        auto it = state().fpga.find(reg);
        *value = it == state().fpga.end() ? 0 : it->second;
        return true;
    });
}

int32_t lib_fpga_reg_write(int32_t device, uint32_t reg, uint32_t value) {
    return Host<int32_t>("lib_fpga_reg_write", device, reg, value).zero_ok().run([&](Chip&) {
        if (device != 0) return false;
        state().fpga[reg] = value;
        return true;
    });
}

}  // extern "C"
