// eswctl: brings the switch up on the simulated host and drives it with commands, interactively,
// from a file or from the command line.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

#include "tools/eswctl/shell.h"

namespace {

// The driver has no shutdown: its receive thread runs until the process ends, and tearing down
// static state underneath it is a race. So leave at once, as the appliance's process would, after
// the leak check that a normal exit would have run.
[[noreturn]] void leave(int code) {
    std::fflush(stdout);
    std::fflush(stderr);
#if defined(__SANITIZE_ADDRESS__)
    if (__lsan_do_recoverable_leak_check() != 0 && code == 0) code = 23;
#endif
    std::_Exit(code);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{
        "eswctl - bring the switch driver up on the simulated host and drive it.\n"
        "Without -f or -c it reads commands from the terminal (with line editing), or from standard\n"
        "input when that is not a terminal. Type 'help' inside for the commands.\n"
        "Exit status: 0 all commands succeeded, 1 a command failed, 2 bad input, 3 no driver."};
    std::string file, commands, library = ESWCTL_DEFAULT_DRIVER;
    eswctl::ShellOptions options;
    bool noCapture = false;
    app.add_option("-f,--file", file, "run the commands of FILE, stopping at the first failure")
        ->check(CLI::ExistingFile);
    app.add_option("-c,--command", commands, "run these commands ('cmd; cmd'), after FILE if both are given");
    app.add_option("--lib", library, "the driver library to load")->capture_default_str();
    app.add_flag("-q,--quiet", options.quiet, "do not print the bring-up report");
    app.add_flag("-x,--echo", options.echo, "print each command before running it");
    app.add_flag("-k,--keep-going", options.keepGoing,
                 "go on after a failed command (exit status stays non-zero)");
    app.add_flag("--trace", options.traceFromStart, "print every host call from the bring-up on");
    app.add_flag("--no-capture", noCapture, "do not create the capture interfaces");
    CLI11_PARSE(app, argc, argv);
    options.wantCapture = !noCapture;

    eswctl::Printer printer;
    eswctl::Shell shell(printer, options);
    // Before the driver starts its receive thread: a namespace can only be entered single-threaded.
    shell.prepare_network();
    std::string why;
    if (!shell.start(library, &why)) {
        printer.err("eswctl: cannot load the driver: " + why);
        leave(3);
    }

    int status = 0;
    if (!file.empty()) {
        std::ifstream in(file);
        status = shell.run_script(in, file);
    }
    if (status == 0 && !commands.empty()) status = shell.run_commands(commands);
    if (file.empty() && commands.empty())
        status = isatty(STDIN_FILENO) ? shell.run_interactive() : shell.run_script(std::cin, "stdin");
    leave(status);
}
