/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <string>

#include <sys/types.h>

namespace vorn::tests {

/*
 * While one lives, forks can be refused, signals are written down as they are sent, and the clock
 * can be made to leap. The calls are wrapped at link time.
 */
class FakeCalls {
public:
    FakeCalls();
    FakeCalls(const FakeCalls &) = delete;
    ~FakeCalls();

    bool refuses_fork = false;
    /* Strikes just before each fork. */
    int signal_in_fork = 0;
    /* Strikes in the child, which is the daemon's twin until it has become something else. */
    int signal_in_child = 0;
    /* The daemon goes on from a fork only when the child has come to its end. */
    bool awaits_children = false;
    /* Takes on the number of each child, before who forks has it. */
    pid_t *taker_of_number = nullptr;
    /* So many waits for a child are cut short by a signal first. */
    int interrupted_waits = 0;
    bool refuses_null_device = false;

    /* "15 to 1234\n" for each but signal 0, which only asks. */
    std::string signals;

    /* How far a clock of the test's own jumps each time it is read, until a SIGKILL is sent. */
    std::int64_t leap_us = 0;
    std::int64_t now_us = 0;
};

} // namespace vorn::tests
