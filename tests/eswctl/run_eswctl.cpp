#include "tests/eswctl/run_eswctl.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <sstream>

namespace eswctl_test {

std::vector<std::string> Result::out_lines() const {
    std::vector<std::string> lines;
    std::istringstream in(out);
    std::string line;
    while (std::getline(in, line)) lines.push_back(line);
    return lines;
}

std::vector<nlohmann::json> Result::json_docs() const {
    std::vector<nlohmann::json> docs;
    for (const std::string& line : out_lines())
        if (!line.empty() && (line[0] == '{' || line[0] == '[')) docs.push_back(nlohmann::json::parse(line));
    return docs;
}

bool Result::out_has_line(const std::string& line) const {
    for (const std::string& l : out_lines())
        if (l == line) return true;
    return false;
}

Result run_eswctl(const std::vector<std::string>& args, const std::string& input) {
    int in[2], out[2], err[2];
    if (pipe(in) != 0 || pipe(out) != 0 || pipe(err) != 0) return {};
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        dup2(err[1], STDERR_FILENO);
        for (int fd : {in[0], in[1], out[0], out[1], err[0], err[1]}) close(fd);
        if (chdir(ESW_SOURCE_DIR) != 0) _exit(126);
        std::vector<char*> argv;
        argv.push_back(const_cast<char*>(ESWCTL_BINARY));
        for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(ESWCTL_BINARY, argv.data());
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    close(err[1]);
    // Small inputs fit the pipe; write all, then close so the child sees the end.
    size_t written = 0;
    while (written < input.size()) {
        const ssize_t n = write(in[1], input.data() + written, input.size() - written);
        if (n <= 0) break;
        written += static_cast<size_t>(n);
    }
    close(in[1]);
    Result run;
    pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
    std::string* sinks[2] = {&run.out, &run.err};
    int open = 2;
    while (open > 0) {
        if (poll(fds, 2, -1) < 0) break;
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP))) continue;
            char buffer[4096];
            const ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
            if (n > 0) {
                sinks[i]->append(buffer, static_cast<size_t>(n));
            } else {
                close(fds[i].fd);
                fds[i].fd = -1;
                --open;
            }
        }
    }
    int status = 0;
    waitpid(pid, &status, 0);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return run;
}

const CaptureSupport& capture_support() {
    static const CaptureSupport support = [] {
        CaptureSupport s;
        const Result run = run_eswctl({"-q", "-c", "show status --json"});
        const auto docs = run.json_docs();
        if (docs.empty()) {
            s.why = "eswctl did not report its status: " + run.err;
            return s;
        }
        s.available = docs[0].value("capture", false);
        s.why = docs[0].value("captureWhy", "");
        return s;
    }();
    return support;
}

}  // namespace eswctl_test
