/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace vorn::tests {

/*
 * While one lives, calls that the doors make can be refused or answered by the test, and time
 * passes only when the test says so. The calls are wrapped at link time.
 */
class FakeCalls {
public:
    FakeCalls();
    FakeCalls(const FakeCalls &) = delete;
    ~FakeCalls();

    static FakeCalls *current();

    /* The request of fcntl to refuse, and what happens once, before the next. */
    int refused_fcntl = -1;
    std::function<void()> at_fcntl = [] {};
    bool refuses_listen = false;

    /* What happens once, after the next send. */
    std::function<void()> after_send = [] {};
    /* The most bytes that one send was asked for. */
    std::size_t longest_send = 0;
    /* So many reads are cut short by a signal first. */
    int interrupted_reads = 0;
    /* How much a read gets at most, and what happens before it. */
    std::size_t most_read = SIZE_MAX;
    std::function<void()> at_read = [] {};
    std::int64_t now_ms = 1000000;
    /* How often free memory was to go back to the system. */
    int memory_given_back = 0;
    /* How often somebody was put into a set to wait for, or taken out. */
    int sets_changed = 0;

    /* What a listener was asked for; the answer is the listener that is put here. */
    bool answers_listeners = false;
    int listener = -1;
    std::string asked;

    /* What was evaluated; the answer is null without a reply. */
    std::string request;
    int asker = 0; /* its process */
    const char *reply = nullptr;
};

} // namespace vorn::tests
