// Runs the eswctl program as a child process, the way a test engineer or a script does.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace eswctl_test {

struct Result {
    int status = -1;  // exit status, or 128 + signal
    std::string out;
    std::string err;

    std::vector<std::string> out_lines() const;
    // The stdout lines that are JSON documents (the --json views print one per line).
    std::vector<nlohmann::json> json_docs() const;
    bool out_has_line(const std::string& line) const;
};

// eswctl with `args`, `input` on its standard input, in the repository root.
Result run_eswctl(const std::vector<std::string>& args, const std::string& input = "");

// What `show status --json` says about this machine: capture interfaces available, or why not.
struct CaptureSupport {
    bool available = false;
    std::string why;
};
const CaptureSupport& capture_support();

}  // namespace eswctl_test
