#include "tools/eswctl/capture.h"

#if ESW_HAVE_TESTBED
#include "testbed/capture_lab.h"
#else
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#endif

namespace eswctl {

#if ESW_HAVE_TESTBED

namespace {

class LabCapture final : public Capture {
public:
    explicit LabCapture(std::unique_ptr<esw_testbed::CaptureLab> lab) : lab_(std::move(lab)) {}
    bool send_from_peer(int port, std::span<const uint8_t> frame) override {
        return lab_->send_from_peer(port, frame.data(), frame.size());
    }
    std::optional<std::vector<uint8_t>> receive_on_peer(int port,
                                                        std::chrono::milliseconds timeout) override {
        return lab_->receive_on_peer(port, timeout);
    }
    void drain_peer(int port) override { lab_->drain_peer(port); }

private:
    std::unique_ptr<esw_testbed::CaptureLab> lab_;
};

}  // namespace

bool enter_private_network(std::string* why) { return esw_testbed::enter_private_netns(why); }

std::unique_ptr<Capture> Capture::open(std::string* why) {
    auto lab = esw_testbed::CaptureLab::create(why);
    if (!lab) return nullptr;
    return std::make_unique<LabCapture>(std::move(lab));
}

#else

// Without the testbed library the process still isolates itself when it may, so that the
// driver's capture step fails on an empty namespace rather than probing the machine's interfaces.
bool enter_private_network(std::string* why) {
    if (geteuid() != 0) {
        *why = "this build has no capture testbed and an unprivileged process cannot isolate itself";
        return false;
    }
    if (unshare(CLONE_NEWNET) != 0) {
        *why = std::string("unshare(CLONE_NEWNET): ") + std::strerror(errno);
        return false;
    }
    return true;
}

std::unique_ptr<Capture> Capture::open(std::string* why) {
    *why = "this build has no capture testbed (testbed/ not built)";
    return nullptr;
}

#endif

}  // namespace eswctl
