// The far ends of the eight front-panel cables: veth peers of the driver's capture interfaces,
// in a network namespace of this process only, so the machine's own network is never touched.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace eswctl {

// Moves this process into a network namespace of its own. Call before any thread starts.
bool enter_private_network(std::string* why);

class Capture {
public:
    virtual ~Capture() = default;
    // Creates lacp-swp1..8 (the driver opens these) and their peers; null with a reason if it can't.
    static std::unique_ptr<Capture> open(std::string* why);

    virtual bool send_from_peer(int port, std::span<const uint8_t> frame) = 0;
    virtual std::optional<std::vector<uint8_t>> receive_on_peer(int port,
                                                                std::chrono::milliseconds timeout) = 0;
    virtual void drain_peer(int port) = 0;
};

}  // namespace eswctl
