// The command entry point under arbitrary input: any port path, any command number (mostly the
// command range), a request block of exactly the size the command's record has, filled from the
// input, and chip calls that fail or answer arbitrary out-values. Also the receive dispatch with
// arbitrary interface indexes, with and without a CPU channel.
//
// Input layout (bytes taken from the front; missing bytes read as 0):
//   path mode (1), path or port (see path_from), selector (2, maybe 4 more: see target_from),
//   model set-up (1), fault count (1) and per fault: call (1), result (2), nth (1), out flag (1),
//   out value (4); null selector (1); then the request bytes.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "driver/esw_driver.h"
#include "sim/sim.h"
#include "tests/reliability/catalog.h"

namespace {

using esw_catalog::Arg;

void check(bool holds) {
    if (!holds) std::abort();
}

class Reader {
public:
    Reader(const uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }
    template <class T>
    T take() {
        T value = 0;
        for (std::size_t i = 0; i < sizeof(T); ++i)
            value |= static_cast<T>(static_cast<T>(byte()) << (8 * i));
        return value;
    }
    // Copies up to `n` bytes into `out`; the rest of `out` stays as it was.
    void fill(uint8_t* out, std::size_t n) {
        const std::size_t k = std::min(n, size_ - pos_);
        if (k) std::memcpy(out, data_ + pos_, k);
        pos_ += k;
    }
    std::size_t left() const { return size_ - pos_; }

private:
    const uint8_t* data_;
    std::size_t size_;
    std::size_t pos_ = 0;
};

uint32_t rx_seen = 0;
int32_t fuzz_rx_callback(uint32_t, uint16_t length, uint8_t* frame) {
    // Touch every byte the dispatch claims to hand over.
    uint32_t sum = 0;
    for (uint16_t i = 0; i < length; ++i) sum += frame[i];
    rx_seen += sum & 1;
    return 0;
}

std::string path_from(Reader& in) {
    const uint8_t mode = in.byte();
    switch (mode & 3) {
        case 0:
            return "mrvl_switch/0/" + std::to_string(in.byte() % 12);
        case 1:
            return "mrvl_switch/cpu/" + std::to_string(in.byte());
        case 2:
            return "mrvl_switch/0/" + std::to_string(in.take<uint32_t>());
        default: {
            std::string raw(in.byte() % 24, '\0');
            for (char& c : raw) c = static_cast<char>(in.byte());
            return raw.c_str();  // up to the first NUL
        }
    }
}

// Most selectors name a command of the range, one in sixteen the receive dispatch, the rest any
// 32-bit number.
constexpr uint16_t kReceiveSelectors = 0xE000;
constexpr uint16_t kAnyNumberSelectors = 0xF000;

struct Target {
    bool receive;
    uint32_t cmd;
};

Target target_from(Reader& in) {
    const uint16_t sel = in.take<uint16_t>();
    if (sel < kReceiveSelectors) return {false, ESW_FIRST_COMMAND + sel % ESW_COMMAND_COUNT};
    if (sel < kAnyNumberSelectors) return {true, 0};
    return {false, in.take<uint32_t>()};
}

void model_from(Reader& in, uint32_t port) {
    const uint8_t bits = in.byte();
    if (bits & 1) sim::plug(static_cast<uint8_t>(port % sim::kPortCount), bits >> 6 & 3, bits >> 5 & 1);
    if (bits & 2) {
        for (uint32_t vlan : {1u, 100u, 4075u, 4092u}) sim::chip().device.vlans[vlan];
    }
    if (bits & 4) sim::port(static_cast<uint8_t>(port % sim::kPortCount)).stormStatus = 0x55AA;
}

void faults_from(Reader& in) {
    const uint8_t count = in.byte() % 4;
    for (uint8_t i = 0; i < count; ++i) {
        sim::Fault fault;
        fault.call = std::string(esw_catalog::kHostCalls[in.byte() % esw_catalog::kHostCalls.size()]);
        fault.result = static_cast<int16_t>(in.take<uint16_t>());
        fault.nth = in.byte() % 4;
        const uint8_t outFlag = in.byte();
        const uint32_t outValue = in.take<uint32_t>();
        if (outFlag & 1) fault.outValue = outValue;
        sim::inject(fault);
    }
}

void check_logs() {
    static const std::regex prefix(
        R"(\[(peridot_drv|peridot_cpu|peridot_trunk|mrvl_periodot_init|peridot_ioctl):[0-9]+\]:)");
    for (const sim::LogRecord& rec : sim::logs()) {
        check(rec.level == 3);
        check(rec.module == "port-manager");
        check(std::regex_match(rec.location, prefix));
    }
}

int32_t run_command(EswFrameworkHandle* handle, uint32_t cmd, Reader& in) {
    const esw_catalog::Shape shape = esw_catalog::shape_of(cmd);
    const bool passNull = (in.byte() & 0x0F) == 0;
    switch (shape.arg) {
        case Arg::unused:
        case Arg::value:
            return mrvl_esw_ioctl(handle, cmd,
                                  reinterpret_cast<void*>(static_cast<uintptr_t>(in.take<uint64_t>())));
        case Arg::callback:
            return mrvl_esw_ioctl(handle, cmd,
                                  passNull ? nullptr : reinterpret_cast<void*>(&fuzz_rx_callback));
        case Arg::buffer: {
            if (passNull) return mrvl_esw_ioctl(handle, cmd, nullptr);
            std::unique_ptr<uint8_t[]> request(new uint8_t[shape.size]());
            in.fill(request.get(), shape.size);
            return mrvl_esw_ioctl(handle, cmd, request.get());
        }
        case Arg::cpu_tx: {
            if (passNull) return mrvl_esw_ioctl(handle, cmd, nullptr);
            uint8_t header[sizeof(EswCpuTxRequest)] = {};
            in.fill(header, sizeof header);
            uint16_t length = 0;
            std::memcpy(&length, header + offsetof(EswCpuTxRequest, length), sizeof length);
            length %= 1600;
            std::memcpy(header + offsetof(EswCpuTxRequest, length), &length, sizeof length);
            std::unique_ptr<uint8_t[]> request(new uint8_t[sizeof header + length]());
            std::memcpy(request.get(), header, sizeof header);
            in.fill(request.get() + sizeof header, length);
            return mrvl_esw_ioctl(handle, cmd, request.get());
        }
    }
    return 0;
}

void run_receive_dispatch(EswFrameworkHandle* handle, Reader& in) {
    const uint8_t sel = in.byte();
    sim::set_cpu_channel(sel & 1 ? handle : nullptr);
    const uint32_t ifIndex = in.take<uint32_t>();
    const uint16_t length = in.take<uint16_t>() % 1523;
    std::unique_ptr<uint8_t[]> frame(new uint8_t[length ? length : 1]());
    in.fill(frame.get(), length);
    check(mrvl_esw_cpu_rx_callback(ifIndex, length, frame.get()) == 0);
    sim::set_cpu_channel(nullptr);
}

bool unhandled(uint32_t cmd) {
    return cmd < ESW_FIRST_COMMAND || cmd > ESW_LAST_COMMAND || cmd == NIC_GET_SFP_INFO ||
           (cmd >= IOCTL_SW_ADD_TOS_PORT_PORT_FWDING && cmd <= IOCTL_SW_REMOVE_CCL_PORT_REDIRECT) ||
           cmd == NIC_SETMAC || cmd == NIC_SET_MAC_TABLE || cmd == NIC_SET_MCAST_MAC_TABLE ||
           (cmd >= IOCTL_GET_SWDRV_DBG_CNTRS && cmd <= 0x2020);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The bring-up would obtain these; the filter commands need them to reach the chip.
    uc_mac_acl_handle_p[0] = sim::acl_handle(255);
    mc_mac_acl_handle_p[0] = sim::acl_handle(254);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    sim::reset();
    Reader in(data, size);
    const std::string path = path_from(in);
    const Target target = target_from(in);
    const uint32_t cmd = target.cmd;

    EswFrameworkHandle handle{nullptr, nullptr};
    if (mrvl_esw_open(&handle, path.c_str()) != 0) return 0;
    const uint32_t port = static_cast<const EswPortHandle*>(handle.priv)->portNum;
    model_from(in, port);
    faults_from(in);
    sim::clear_journal();
    sim::clear_logs();

    if (target.receive) {
        run_receive_dispatch(&handle, in);
    } else {
        const int32_t result = run_command(&handle, cmd, in);
        check(result == 0 || result == -1);
        if (unhandled(cmd)) {
            check(result == -1 && sim::journal().empty() && sim::logs().size() == 1);
        } else if (cmd == IOCTL_SW_ENABLE_CPU_VLAN || cmd == IOCTL_SW_DISABLE_CPU_VLAN) {
            check(result == 0 && sim::journal().empty() && sim::logs().empty());
        }
    }
    check_logs();
    mrvl_esw_close(&handle);
    return 0;
}
