#include "tools/eswctl/shell.h"

#include <editline/readline.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "driver/esw_commands.h"
#include "sim/sim.h"
#include "tools/eswctl/vocabulary.h"

namespace eswctl {
namespace {

Shell* g_shell = nullptr;  // the one shell the receive callback reports to

// Runs fn with the process's stdout sent to a temporary file and returns what was written: the
// driver's bring-up prints fixed texts (one without a final newline) that the shell re-prints
// as whole lines.
template <typename Fn>
std::string capture_stdout(Fn&& fn) {
    std::fflush(stdout);
    FILE* tmp = std::tmpfile();
    const int saved = tmp ? dup(STDOUT_FILENO) : -1;
    if (!tmp || saved < 0 || dup2(fileno(tmp), STDOUT_FILENO) < 0) {
        if (saved >= 0) close(saved);
        if (tmp) std::fclose(tmp);
        fn();
        return {};
    }
    fn();
    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    std::string text;
    std::rewind(tmp);
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, tmp)) > 0) text.append(buffer, n);
    std::fclose(tmp);
    return text;
}

std::string record_text(const sim::LogRecord& r) { return r.location + " " + r.message; }

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        if (end > start) lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

std::vector<std::string> syntaxes() {
    std::vector<std::string> out;
    for (const CommandRow& row : command_table()) out.emplace_back(row.syntax);
    return out;
}

// libedit completion: the words of the current statement before the cursor, then the grammar.
std::vector<std::string> g_candidates;
size_t g_candidateIndex = 0;

char* next_candidate(const char* /*text*/, int state) {
    if (state == 0) g_candidateIndex = 0;
    if (g_candidateIndex >= g_candidates.size()) return nullptr;
    return strdup(g_candidates[g_candidateIndex++].c_str());
}

char** complete_words(const char* text, int start, int /*end*/) {
    rl_attempted_completion_over = 1;  // no file-name completion
    if (!g_shell) return nullptr;
    std::string line(rl_line_buffer, static_cast<size_t>(start));
    const size_t semicolon = line.rfind(';');
    if (semicolon != std::string::npos) line.erase(0, semicolon + 1);
    const SplitLine split = split_line(line);
    const Words before = split.statements.empty() ? Words{} : split.statements.back();
    g_candidates = g_shell->grammar().complete(before, text);
    if (g_candidates.empty()) return nullptr;
    return rl_completion_matches(text, next_candidate);
}

}  // namespace

int32_t shell_rx_callback(uint32_t ifIndex, uint16_t length, uint8_t* frame) {
    if (g_shell && frame) g_shell->on_frame(ifIndex, {frame, length});
    return 0;
}

// ---- Printer -------------------------------------------------------------------------------------
void Printer::out(std::string_view text) {
    std::lock_guard lock(mutex_);
    std::fflush(stdout);  // whatever the driver printed on its own goes first
    std::fwrite(text.data(), 1, text.size(), stdout);
    if (text.empty() || text.back() != '\n') std::fputc('\n', stdout);
    std::fflush(stdout);
}

void Printer::err(std::string_view text) {
    std::lock_guard lock(mutex_);
    std::fflush(stdout);
    std::fwrite(text.data(), 1, text.size(), stderr);
    if (text.empty() || text.back() != '\n') std::fputc('\n', stderr);
    std::fflush(stderr);
}

void Printer::raw(std::string_view text) {
    std::lock_guard lock(mutex_);
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

// ---- start-up ------------------------------------------------------------------------------------
Shell::Shell(Printer& printer, ShellOptions options)
    : printer_(printer), options_(options), grammar_(syntaxes()) {}

Shell::~Shell() {
    // The receive thread outlives this object; stop it from reaching back here.
    if (g_shell == this) g_shell = nullptr;
}

void Shell::prepare_network() {
    isolated_ = enter_private_network(&isolationWhy_);
    if (!options_.wantCapture) {
        captureWhy_ = "capture interfaces switched off (--no-capture)";
        return;
    }
    if (!isolated_) {
        captureWhy_ = "no private network namespace: " + isolationWhy_;
        return;
    }
    capture_ = Capture::open(&captureWhy_);
}

bool Shell::start(const std::string& libraryPath, std::string* why) {
    if (!load_driver(libraryPath, &driver_, why)) return false;
    g_shell = this;
    if (options_.traceFromStart) set_trace(true);
    const size_t logsBefore = sim::logs().size();
    const std::string driverText = capture_stdout([&] { driver_.devmain(); });

    for (uint32_t p = kFirstPort; p <= kLastPort; ++p) {
        const std::string path = "mrvl_switch/0/" + std::to_string(p);
        portOpen_[p] = driver_.open(&portHandles_[p], path.c_str()) == 0;
    }
    cpuOpen_ = driver_.open(&cpuHandle_, "mrvl_switch/cpu/10") == 0;
    if (cpuOpen_) {
        sim::set_cpu_channel(&cpuHandle_);
        // The counter record's address comes with a clear, so ask before any frame can arrive.
        EswCpuPortStats* stats = nullptr;
        if (raw_request(&cpuHandle_, IOCTL_SW_CLR_CPU_STATS, &stats) == 0 && stats) {
            cpuStats_ = stats;
            cpuStatsSource_ = "IOCTL_SW_CLR_CPU_STATS";
        }
        callbackRegistered_ = raw_request(&cpuHandle_, IOCTL_SW_REG_CPU_RX_CALLBACK,
                                          reinterpret_cast<void*>(&shell_rx_callback)) == 0;
    }
    if (!cpuStats_ && driver_.cpuStats) {
        cpuStats_ = driver_.cpuStats;
        cpuStatsSource_ = "eswCpuStats (exported data)";
    }
    report_bringup(driverText, logsBefore);
    return true;
}

void Shell::report_bringup(const std::string& driverText, size_t logsBefore) {
    if (!options_.quiet) {
        std::string text = "driver: " + driver_.path + "\n";
        for (const std::string& line : lines_of(driverText)) text += "bring-up: " + line + "\n";
        if (capture_)
            text += "network: private namespace; capture interfaces lacp-swp1..8, far ends lacp-peer1..8\n";
        else
            text += std::string("network: ") + (isolated_ ? "private namespace" : "NOT isolated") +
                    "; no capture interfaces (" + captureWhy_ + ")\n";
        size_t open = 0;
        for (bool o : portOpen_) open += o ? 1 : 0;
        text += "handles: " + std::to_string(open) +
                " of 10 port paths open; CPU channel mrvl_switch/cpu/10 " + (cpuOpen_ ? "open" : "NOT open") +
                "\n";
        text += std::string("receive callback: ") + (callbackRegistered_ ? "registered" : "NOT registered") +
                "\n";
        text +=
            "cpu counters: " + (cpuStats_ ? "read through " + cpuStatsSource_ : std::string("unavailable"));
        say(text);
    } else {
        for (const std::string& line : lines_of(driverText))
            if (line.find("Failed") != std::string::npos) printer_.err("eswctl: bring-up: " + line);
    }
    if (!capture_) printer_.err("eswctl: running without capture interfaces: " + captureWhy_);
    // The bring-up writes entry records even when all goes well; they are the diagnosis only
    // when the switch did not come up whole.
    const std::vector<sim::LogRecord> records = sim::logs();
    const size_t count = records.size() - std::min(records.size(), logsBefore);
    if (capture_ && callbackRegistered_) {
        if (!options_.quiet && count > 0)
            say("bring-up: the driver logged " + std::to_string(count) + " record(s) (show log)");
        return;
    }
    if (count > 0) {
        std::string text = "eswctl: the bring-up logged " + std::to_string(count) + " record(s):";
        for (size_t i = logsBefore; i < records.size(); ++i) text += "\n  " + record_text(records[i]);
        printer_.err(text);
    }
}

// ---- driver access -------------------------------------------------------------------------------
EswFrameworkHandle* Shell::port_handle(uint32_t port) {
    if (port == kCpuChannel) return cpu_handle();
    if (port < kFirstPort || port > kLastPort || !portOpen_[port]) return nullptr;
    return &portHandles_[port];
}

int32_t Shell::raw_request(EswFrameworkHandle* handle, uint32_t cmd, void* arg) {
    const int32_t result = driver_.ioctl(handle, cmd, arg);
    printer_.raw("");  // flushes what the driver printed during the command, under the lock
    return result;
}

bool Shell::request(uint32_t port, uint32_t cmd, void* arg, Outcome* outcome) {
    const std::string who = port == kCpuChannel ? "CPU channel" : "port " + std::to_string(port);
    EswFrameworkHandle* handle = port_handle(port);
    if (!handle) {
        *outcome = Outcome::fail(who + " has no open handle");
        return false;
    }
    const int32_t result = raw_request(handle, cmd, arg);
    if (result == 0) return true;
    *outcome = Outcome::fail(who + ": driver answered " + std::to_string(result) + " to " +
                             command_label(cmd) + " (" + std::to_string(cmd) + ")");
    return false;
}

// ---- receive side --------------------------------------------------------------------------------
void Shell::on_frame(uint32_t ifIndex, std::span<const uint8_t> frame) {
    const uint32_t slot = ifIndex / sim::kIfIndexSlotStride;
    const uint32_t port = ifIndex % sim::kIfIndexSlotStride;
    const bool frontPanel = slot == 1 && port >= kFirstPort && port <= kLastPort;
    std::string text =
        "rx " + (frontPanel ? "port " + std::to_string(port) : "ifindex " + std::to_string(ifIndex)) + ": ";
    std::string why;
    const std::optional<lacp::Pdu> pdu = lacp::parse(frame, &why);
    if (pdu) {
        text += std::to_string(frame.size()) + " bytes, " + lacp::describe(*pdu);
    } else {
        text += lacp::summary(frame);
        if (why.find("is not LACP") == std::string::npos &&
            why.find("not slow protocols") == std::string::npos)
            text += " (not a valid LACPDU: " + why + ")";
    }
    printer_.out(text);
    std::lock_guard lock(rxMutex_);
    const uint32_t index = frontPanel ? port : 0;
    ++rxCount_[index];
    if (pdu) peerActor_[index] = pdu->actor;
    rxArrived_.notify_all();
}

uint64_t Shell::received(uint32_t port) {
    std::lock_guard lock(rxMutex_);
    return port <= kLastPort ? rxCount_[port] : 0;
}

bool Shell::wait_received(uint32_t port, uint64_t atLeast, std::chrono::milliseconds timeout) {
    std::unique_lock lock(rxMutex_);
    return rxArrived_.wait_for(lock, timeout, [&] { return rxCount_[port] >= atLeast; });
}

std::optional<lacp::PortInfo> Shell::last_peer_actor(uint32_t port) {
    std::lock_guard lock(rxMutex_);
    return port <= kLastPort ? peerActor_[port] : std::nullopt;
}

void Shell::far_side_heard(uint32_t port, const lacp::PortInfo& info) {
    if (port <= kLastPort) farSideHeard_[port] = info;
}

std::optional<lacp::PortInfo> Shell::far_side_partner(uint32_t port) {
    return port <= kLastPort ? farSideHeard_[port] : std::nullopt;
}

// ---- simulated host ------------------------------------------------------------------------------
void Shell::set_trace(bool on) {
    tracing_ = on;
    if (!on) {
        sim::set_call_observer(nullptr);
        return;
    }
    // To stderr, as strace does: views on stdout stay clean to parse with trace on.
    sim::set_call_observer([this](const sim::Call& call) {
        printer_.err(call.text() + " = " + std::to_string(call.result) +
                     (call.faulted ? " (injected fault)" : ""));
    });
}

void Shell::reset_host(bool chipToo) {
    if (chipToo) {
        // Power-on state of the model. The bring-up is not run again: its receive thread and
        // capture interfaces last for the life of the process. The CPU channel and the trace
        // observer are this shell's and come back.
        sim::reset();
        if (cpuOpen_) sim::set_cpu_channel(&cpuHandle_);
        if (tracing_) set_trace(true);
        return;
    }
    sim::clear_faults();
    sim::clear_journal();
    sim::clear_logs();
}

// ---- running commands ----------------------------------------------------------------------------
Outcome Shell::run_statement(const Words& input) {
    Flags flags;
    Words words;
    for (const std::string& w : input) {
        if (w == "--json")
            flags.json = true;
        else
            words.push_back(w);
    }
    const Grammar::Result match = grammar_.match(words);
    if (match.row < 0) return Outcome::bad(match.error);
    const CommandRow& row = command_table()[static_cast<size_t>(match.row)];
    if (flags.json && !row.json) return Outcome::bad("'" + std::string(row.syntax) + "' has no --json form");

    const size_t logsBefore = sim::logs().size();
    Outcome outcome = row.handler(*this, match.args, flags);
    if (outcome.kind == Outcome::failed) {
        // The reason behind a refusal: the records the driver wrote while the command ran.
        const std::vector<sim::LogRecord> records = sim::logs();
        for (size_t i = logsBefore; i < records.size(); ++i)
            outcome.message += "\n  log: " + record_text(records[i]);
    }
    return outcome;
}

int Shell::run_line(std::string_view line, const std::string& where) {
    const SplitLine split = split_line(line);
    if (!split.error.empty()) {
        printer_.err("eswctl: " + where + ": " + split.error);
        return 2;
    }
    int status = 0;
    for (const Words& statement : split.statements) {
        if (options_.echo) {
            std::string text = ">";
            for (const std::string& w : statement) text += " " + w;
            say(text);
        }
        if (quit_) break;
        const Outcome outcome = run_statement(statement);
        if (outcome.kind == Outcome::ok) continue;
        printer_.err("eswctl: " + where + ": " + outcome.message);
        status = outcome.kind == Outcome::bad_input ? 2 : 1;
        if (!options_.keepGoing) return status;
    }
    return status;
}

int Shell::run_script(std::istream& in, const std::string& name) {
    std::string line;
    int lineNumber = 0, worst = 0;
    while (!quit_ && std::getline(in, line)) {
        ++lineNumber;
        const int status = run_line(line, name + ":" + std::to_string(lineNumber));
        if (status == 0) continue;
        worst = std::max(worst, status);
        if (!options_.keepGoing) {
            printer_.err("eswctl: " + name + ": stopped at line " + std::to_string(lineNumber));
            return status;
        }
    }
    return worst;
}

int Shell::run_commands(const std::string& text) {
    std::istringstream in(text);
    return run_script(in, "-c");
}

int Shell::source_file(const std::string& path) {
    if (sourceDepth_ >= 8) {
        printer_.err("eswctl: " + path + ": sourced too deep (8 levels)");
        return 2;
    }
    std::ifstream in(path);
    if (!in) {
        printer_.err("eswctl: cannot open " + path);
        return 2;
    }
    ++sourceDepth_;
    const int status = run_script(in, path);
    --sourceDepth_;
    return status;
}

int Shell::run_interactive() {
    rl_readline_name = "eswctl";
    rl_attempted_completion_function = complete_words;
    using_history();
    const char* home = std::getenv("HOME");
    const std::string historyFile = home ? std::string(home) + "/.eswctl_history" : std::string();
    if (!historyFile.empty()) read_history(historyFile.c_str());
    say("eswctl: type 'help' for the commands, 'quit' to leave");
    while (true) {
        char* raw = readline("eswctl> ");
        if (!raw) break;  // end of input
        std::string line(raw);
        std::free(raw);
        const SplitLine split = split_line(line);
        if (split.statements.empty() && split.error.empty()) continue;
        add_history(line.c_str());
        if (!split.error.empty()) {
            printer_.err("error: " + split.error);
            continue;
        }
        for (const Words& statement : split.statements) {
            if (quit_) break;
            const Outcome outcome = run_statement(statement);
            if (outcome.kind != Outcome::ok) printer_.err("error: " + outcome.message);
        }
        if (quit_) break;
    }
    if (!historyFile.empty()) write_history(historyFile.c_str());
    return 0;
}

}  // namespace eswctl
