// Running driver code against real interfaces from a test: a private network namespace for the
// whole test process (entered by this library's main before GoogleTest starts), and forked children
// for everything that must not outlive one test (capture handles, the receive thread).
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "testbed/capture_lab.h"

namespace esw_lab {

// Why this process could not enter a private network namespace; empty when it did.
const std::string& netns_problem();

struct ChildOptions {
    bool freshNetns = false;  // the child gets a namespace of its own, empty but for lo
    bool withLab = false;     // ... holding a CaptureLab (implies freshNetns)
    unsigned timeoutSeconds = 60;
};

// Runs body in a forked child and waits for it. Failures inside the child are printed by the
// child's GoogleTest as they happen; the parent adds one failure when the child reported any,
// crashed or ran out of time. Capture handles, threads and interfaces of the child die with it.
void run_in_child(const ChildOptions& options, const std::function<void(esw_testbed::CaptureLab* lab)>& body);

}  // namespace esw_lab

// Skips the current test when interfaces cannot be created in this process.
#define ESW_REQUIRE_NETNS()                                                               \
    do {                                                                                  \
        if (!esw_lab::netns_problem().empty())                                            \
            GTEST_SKIP() << "no private network namespace: " << esw_lab::netns_problem(); \
    } while (0)
