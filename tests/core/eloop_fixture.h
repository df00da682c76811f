/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/eloop_state.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace vorn::tests {

/* The clock and the wait of a loop, both in the test's hand. */
struct World {
    std::uint32_t ticks = 1000;
    bool clock_is_short = false; /* as where the count has 32 bits, with a sign */
    bool clock_in_errno = false; /* as some C libraries answer shortly before the wrap */
    /* What each wait does: raises signals, moves the clock, says which sockets are ready. */
    std::deque<std::function<int(std::set<int> &ready)>> waits;
    std::vector<long long> waited_us; /* -1 for an unbounded wait */
    std::set<int> asked;              /* the sockets of the last wait */
    std::set<int> takers;             /* those it waits for to write the log to; most often none */
    int highest = 0;                  /* what it was told, one above the highest descriptor */
    bool has_logs_to_write = false;
};

/*
 * A loop of 100 ticks per second in a world of its own. When the world has no more waits to offer
 * it ends the loop.
 */
class EventLoops : public testing::Test {
protected:
    EventLoops();
    ~EventLoops() override;

    /* One wait in which nothing happens but that time passes. */
    void let_pass(std::uint32_t ticks);
    void make_ready(std::set<int> sockets);
    /* One wait that is interrupted by these signals. */
    void raise_signals(std::vector<int> signals);

    World mine;
};

/* What the handlers below were called for, in order. */
extern std::vector<std::string> events;

void note_timeout(void *eloop_data, void *user_data);
void note_socket(int sock, void *eloop_data, void *user_data);
void note_signal(int sig, void *eloop_data, void *user_data);

/* Registers note_timeout; the name is what it notes. */
int timeout(const char *name, int secs, unsigned int usecs = 0);

/* Registers note_socket without data. */
int watch(int sock);

void *text(const char *value);

} // namespace vorn::tests
