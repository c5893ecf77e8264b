// The shell around the driver: owns the framework handles, the receive callback, the cables'
// far ends and the command loop. Handlers (commands.cpp, views.cpp) reach the driver only through
// mrvl_esw_ioctl on these handles and the few exported functions, as a port manager would.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <istream>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "driver/esw_types.h"
#include "tools/eswctl/capture.h"
#include "tools/eswctl/command_line.h"
#include "tools/eswctl/driver_loader.h"
#include "tools/eswctl/lacp.h"

namespace eswctl {

// stdout and stderr from every thread go through one lock, each write flushed, so that a frame
// printed by the receive thread never lands inside a line of the command thread.
class Printer {
public:
    void out(std::string_view text);  // one or more lines; a final newline is added when missing
    void err(std::string_view text);
    void raw(std::string_view text);  // exactly the bytes given, to stdout

private:
    std::mutex mutex_;
};

// What a command handler reports.
struct Outcome {
    enum Kind { ok, bad_input, failed } kind = ok;
    std::string message;
    static Outcome bad(std::string m) { return {bad_input, std::move(m)}; }
    static Outcome fail(std::string m) { return {failed, std::move(m)}; }
};

struct Flags {
    bool json = false;
};

class Shell;
using Handler = Outcome (*)(Shell&, const Args&, const Flags&);

// One command of the shell: how it is typed, what it does, who runs it.
struct CommandRow {
    const char* syntax;
    const char* help;
    Handler handler;
    bool json;  // takes --json
};
const std::vector<CommandRow>& command_table();

inline constexpr uint32_t kFirstPort = 1, kLastPort = 10;
inline constexpr uint32_t kDataPlanePort = 9, kCpuPort = 10;

struct ShellOptions {
    bool quiet = false;
    bool echo = false;
    bool keepGoing = false;
    bool traceFromStart = false;
    bool wantCapture = true;
};

class Shell {
public:
    Shell(Printer& printer, ShellOptions options);
    ~Shell();

    // Network namespace and capture interfaces; then the driver: module entry, handles, CPU
    // channel, counters, receive callback. Returns false only when the library cannot be used.
    void prepare_network();
    bool start(const std::string& libraryPath, std::string* why);

    // Modes. Each returns the process exit code: 0, 1 (a command failed), 2 (bad input).
    int run_script(std::istream& in, const std::string& name);
    int run_commands(const std::string& text);
    int run_interactive();

    // ---- for handlers --------------------------------------------------------------------------
    Printer& printer() { return printer_; }
    void say(std::string_view text) { printer_.out(text); }
    void say_json(const nlohmann::json& doc) { printer_.out(doc.dump()); }

    const Driver& driver() const { return driver_; }
    EswFrameworkHandle* port_handle(uint32_t port);  // null when the port has no open handle
    EswFrameworkHandle* cpu_handle() { return cpuOpen_ ? &cpuHandle_ : nullptr; }
    // mrvl_esw_ioctl on a port's handle (port kCpuChannel: the CPU channel handle). False with
    // `outcome` set to a failure naming the port, the command and the driver's answer.
    static constexpr uint32_t kCpuChannel = 0;
    bool request(uint32_t port, uint32_t cmd, void* arg, Outcome* outcome);
    int32_t raw_request(EswFrameworkHandle* handle, uint32_t cmd, void* arg);

    const EswCpuPortStats* cpu_stats() const { return cpuStats_; }
    const std::string& cpu_stats_source() const { return cpuStatsSource_; }

    Capture* capture() { return capture_.get(); }
    const std::string& capture_why() const { return captureWhy_; }
    bool isolated() const { return isolated_; }
    const std::string& isolation_why() const { return isolationWhy_; }
    bool callback_registered() const { return callbackRegistered_; }

    // Frames handed to the receive callback, per port (index = port, 0 = not a front-panel port).
    uint64_t received(uint32_t port);
    bool wait_received(uint32_t port, uint64_t atLeast, std::chrono::milliseconds timeout);
    std::optional<lacp::PortInfo> last_peer_actor(uint32_t port);

    void set_trace(bool on);
    bool tracing() const { return tracing_; }
    void reset_host(bool chipToo);

    // What the far side of a cable last heard from the switch (its partner information).
    void far_side_heard(uint32_t port, const lacp::PortInfo& info);
    std::optional<lacp::PortInfo> far_side_partner(uint32_t port);

    void request_quit() { quit_ = true; }

    const Grammar& grammar() const { return grammar_; }
    int source_file(const std::string& path);  // the `source` command; exit-code style result

private:
    friend int32_t shell_rx_callback(uint32_t ifIndex, uint16_t length, uint8_t* frame);
    void on_frame(uint32_t ifIndex, std::span<const uint8_t> frame);
    Outcome run_statement(const Words& words);
    // Runs one line of a script or of -c; returns 0 or the exit code that stops the run.
    int run_line(std::string_view line, const std::string& where);
    void report_bringup(const std::string& driverText, size_t logsBefore);

    Printer& printer_;
    ShellOptions options_;
    Grammar grammar_;
    Driver driver_;
    std::array<EswFrameworkHandle, kLastPort + 1> portHandles_{};
    std::array<bool, kLastPort + 1> portOpen_{};
    EswFrameworkHandle cpuHandle_{};
    bool cpuOpen_ = false;
    bool callbackRegistered_ = false;
    EswCpuPortStats* cpuStats_ = nullptr;
    std::string cpuStatsSource_;
    std::unique_ptr<Capture> capture_;
    std::string captureWhy_;
    bool isolated_ = false;
    std::string isolationWhy_;
    bool tracing_ = false;
    int sourceDepth_ = 0;
    bool quit_ = false;
    std::array<std::optional<lacp::PortInfo>, kLastPort + 1> farSideHeard_{};

    std::mutex rxMutex_;
    std::condition_variable rxArrived_;
    std::array<uint64_t, kLastPort + 1> rxCount_{};
    std::array<std::optional<lacp::PortInfo>, kLastPort + 1> peerActor_{};
};

}  // namespace eswctl
