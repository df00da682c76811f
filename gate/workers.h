/* SPDX-License-Identifier: MIT */
#pragma once

#include <atomic>

#include "bounds.h"
#include "inbox.h"
#include "router.h"

namespace vorn::gate {

/* What the loop and those who answer share. */
struct Office {
    Office(House &its_house, int its_listener, int wake)
        : house(its_house), listener(its_listener), inbox(wake)
    {}

    House &house;
    int listener;
    Inbox inbox;
    Queue requests{most_jobs};
    Queue logins{most_logins};
    /* Of those who accept: how many wait for a connection, and what all have answered. */
    std::atomic<unsigned> idle = 0;
    std::atomic<unsigned> answered = 0;
};

/* Gives a whole request to those who answer it, or tells the client that too many wait. */
void hand_over(Office &office, Owned connection);

/* Begins the threads that answer, which end with the process. */
void start_workers(Office &office);

} // namespace vorn::gate
