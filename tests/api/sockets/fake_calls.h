/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace vorn::tests {

/*
 * While one lives, calls that the doors make can be refused or answered by the test, and time
 * passes only when the daemon waits or looks at the clock, so that nothing takes as long as it
 * says. The calls are wrapped at link time.
 */
class FakeCalls {
public:
    FakeCalls();
    FakeCalls(const FakeCalls &) = delete;
    ~FakeCalls();

    /* The request of fcntl to refuse. */
    int refused_fcntl = -1;
    bool refuses_listen = false;

    /* A wait that finds nothing lasts so long, or as long as it may if that is less. */
    int pause_ms = 1000;
    /* What happens during such a pause. */
    std::function<void()> in_pause = [] {};
    /* What happens whenever the clock is read, and once, after the next send. */
    std::function<void()> at_clock = [] {};
    std::function<void()> after_send = [] {};
    /* So many waits, and so many reads, are cut short by a signal first. */
    int interruptions = 0;
    int interrupted_reads = 0;
    /* How much a read gets at most, how long it takes, and what happens before it. */
    std::size_t most_read = SIZE_MAX;
    int read_ms = 0;
    std::function<void()> at_read = [] {};
    std::int64_t now_ms = 1000000;

    /* What a listener was asked for; the answer is the listener that is put here. */
    bool answers_listeners = false;
    int listener = -1;
    std::string asked;

    /* What was evaluated; the answer is null without a reply. */
    std::string request;
    const char *reply = nullptr;
};

} // namespace vorn::tests
