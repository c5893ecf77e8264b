#include "tests/cpu/lab_support.h"

#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace esw_lab {

namespace {

std::string& problem() {
    static std::string text = "not entered";
    return text;
}

enum ChildExit : int { kPassed = 0, kFailed = 1, kNoNetns = 2, kNoLab = 3, kLeaked = 4 };

[[noreturn]] void finish_child(int code) {
#if defined(__SANITIZE_ADDRESS__)
    // _exit skips the leak check that exit would run; run it here on what the body left behind.
    if (code == kPassed && __lsan_do_recoverable_leak_check() != 0) code = kLeaked;
#endif
    std::fflush(stdout);
    std::fflush(stderr);
    _exit(code);
}

[[noreturn]] void child(const ChildOptions& options,
                        const std::function<void(esw_testbed::CaptureLab*)>& body) {
    alarm(options.timeoutSeconds);
    if ((options.freshNetns || options.withLab) && ::unshare(CLONE_NEWNET) != 0) {
        std::printf("child: unshare(CLONE_NEWNET): %s\n", std::strerror(errno));
        finish_child(kNoNetns);
    }
    std::unique_ptr<esw_testbed::CaptureLab> lab;
    if (options.withLab) {
        std::string why;
        lab = esw_testbed::CaptureLab::create(&why);
        if (lab == nullptr) {
            std::printf("child: no capture lab: %s\n", why.c_str());
            finish_child(kNoLab);
        }
    }
    body(lab.get());
    finish_child(::testing::Test::HasFailure() ? kFailed : kPassed);
}

}  // namespace

const std::string& netns_problem() { return problem(); }

void run_in_child(const ChildOptions& options, const std::function<void(esw_testbed::CaptureLab*)>& body) {
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t pid = fork();
    ASSERT_GE(pid, 0) << "fork: " << std::strerror(errno);
    if (pid == 0) child(options, body);
    int status = 0;
    pid_t waited = 0;
    do {
        waited = waitpid(pid, &status, 0);
    } while (waited < 0 && errno == EINTR);
    ASSERT_EQ(waited, pid) << "waitpid: " << std::strerror(errno);
    if (WIFSIGNALED(status)) {
        ADD_FAILURE() << "child killed by signal " << WTERMSIG(status)
                      << (WTERMSIG(status) == SIGALRM ? " (ran out of time)" : "");
        return;
    }
    const int code = WEXITSTATUS(status);
    EXPECT_EQ(code, kPassed) << (code == kFailed   ? "child reported failures (printed above)"
                                 : code == kLeaked ? "child leaked memory (report printed above)"
                                                   : "child could not set up its network namespace");
}

}  // namespace esw_lab

int main(int argc, char** argv) {
    // Before GoogleTest or anything else can start a thread: a user namespace needs a
    // single-threaded caller.
    std::string why;
    esw_lab::problem() = esw_testbed::enter_private_netns(&why) ? std::string() : why;
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
