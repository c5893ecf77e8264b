// Port counters: NIC_STATS reads a port's chip counters into the host's statistics record,
// NIC_CLR_STATS clears them.
#include <array>
#include <cstdint>
#include <cstring>

#include "driver/esw_driver.h"
#include "driver/esw_log.h"
#include "driver/internal.h"

namespace {

using Log = esw::Log<esw::Src::init>;

// The latest counter record of every port, at the port's index in allThePorts. Zeroed at load,
// filled by the chip on every NIC_STATS, zeroed by NIC_CLR_STATS. Whether the chip overwrites the
// record or adds to it is the chip layer's business: the record is kept between calls either way.
// Not locked: commands on the same port must not overlap.
std::array<EswChipCounters, esw::kPortCount> eswCounterCache{};

constexpr uint64_t join(uint32_t high, uint32_t low) { return (uint64_t{high} << 32) | low; }

// Positions of the chip words in the host's record. The two three-word sums are taken in 32 bits
// and wrap before they are widened.
EswNicStats nic_stats_from(const EswChipCounters& counters) {
    const auto& w = counters.word;
    EswNicStats s;
    std::memset(&s, 0, sizeof s);
    s.sumW0W1W2 = static_cast<uint32_t>(w[0] + w[1] + w[2]);
    s.joinW23W27PlusW28 = join(w[23], w[27]) + w[28];
    s.w65 = w[65];
    s.w32 = w[32];
    s.w2 = w[2];
    s.w31 = w[31];
    s.w1 = w[1];
    s.w61 = w[61];
    s.w12 = w[12];
    s.w53 = w[53];
    s.w62 = w[62];
    s.w29 = w[29];
    s.w41 = w[41];
    s.sumW30W31W32 = static_cast<uint32_t>(w[30] + w[31] + w[32]);
    s.joinW67W26 = join(w[67], w[26]);
    s.w56 = w[56];
    s.w13 = w[13];
    s.w14 = w[14];
    s.w11 = w[11];
    s.w45 = w[45];
    s.w47 = w[47];
    return s;
}

bool known(uint32_t index) { return index < static_cast<uint32_t>(numOfAllThePortsCns); }

}  // namespace

extern "C" {

uint32_t mrvl_esw_read_port_counters(uint32_t dev, uint32_t port) {
    const uint32_t index = esw::port_index(port);
    if (!known(index)) {
        Log::error("mrvl_esw_read_port_counters: unknown port %u", port);
        return 1;
    }
    if (!Log::ok(peridot_get_port_counters(static_cast<uint8_t>(dev), static_cast<uint8_t>(port),
                                           &eswCounterCache[index]),
                 "mrvl_esw_read_port_counters: peridot_get_port_counters port %u, status %d", port))
        return 1;
    return 0;
}

// The dispatcher reports success for NIC_STATS whatever happens here; a failed read leaves the
// host an all-zero record. A null record is refused before anything is written.
ESW_EXPORT uint32_t mrvl_esw_get_nic_stats(EswFrameworkHandle* handle, void* arg) {
    const EswPortHandle* record = esw::port_handle(handle);
    if (record == nullptr) {
        Log::error("mrvl_esw_get_nic_stats: handle holds no open port");
        return 1;
    }
    const uint32_t port = record->portNum;
    auto* out = static_cast<EswNicStats*>(arg);
    if (out == nullptr) {
        Log::error("mrvl_esw_get_nic_stats: port %u, null statistics record", port);
        return 1;
    }
    std::memset(out, 0, sizeof *out);
    const uint32_t index = esw::port_index(port);
    const uint32_t result = mrvl_esw_read_port_counters(record->devNum & 0xFF, port);
    if (result != 0) {
        Log::error("mrvl_esw_get_nic_stats: counters of port %u, result %u", port, result);
        return 1;
    }
    *out = nic_stats_from(eswCounterCache[index]);
    return 0;
}

ESW_EXPORT uint32_t mrvl_esw_clear_nic_stats(EswFrameworkHandle* handle) {
    const EswPortHandle* record = esw::port_handle(handle);
    if (record == nullptr) {
        Log::error("mrvl_esw_clear_nic_stats: handle holds no open port");
        return 1;
    }
    return mrvl_esw_clear_counters(record->devNum & 0xFF, record->portNum);
}

// The cache is cleared before the chip is asked, so a failed flush still leaves it zero.
ESW_EXPORT uint32_t mrvl_esw_clear_counters(uint32_t dev, uint32_t port) {
    const uint32_t index = esw::port_index(port);
    if (!known(index)) {
        Log::error("mrvl_esw_clear_counters: port %u not found, index %u", port, index);
        return 1;
    }
    eswCounterCache[index] = EswChipCounters{};
    if (!Log::ok(peridot_flush_port_counters(static_cast<uint8_t>(dev), static_cast<uint8_t>(index)),
                 "mrvl_esw_clear_counters: peridot_flush_port_counters index %u, status %d", index))
        return 1;
    return 0;
}

}  // extern "C"
