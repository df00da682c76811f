/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "asking.h"
#include "commits.h"
#include "request.h"
#include "tickets.h"

namespace vorn::gate {

/* One event, as it is sent; the number is a commit's, or 0. */
struct Event {
    enum class Kind { change, trial, other } kind;
    long long number;
    std::string text;
};

/* Where a stream stands when it is handed over to the loop. */
struct StreamStart {
    Caller caller;
    long long number; /* the last commit that it was told of */
    std::string trial;
    std::uint64_t place = 0; /* among all streams, in the order in which they came */
    std::unique_ptr<Tickets::Ticket> ticket = {};
};

/* Which life of the daemon this is: another word after each start. */
std::string present_epoch();

/* GET /events: the head and what was missed. */
Answer begin_stream(Desk &desk, const Caller &caller, const Request &request, StreamStart &start);

Event event_of_commit(const client::Instance &commit, const std::string &epoch);
Event event_of_trial(const std::vector<client::Instance> &trials);
Event event_of_state(const State &state);
Event event_of_reset(const std::string &epoch, long long number);
long long number_of(const client::Instance &commit);
std::vector<client::Instance> present_trial(Desk &desk, const Caller &caller);
/* Another text for each trial, and each time that one is prolonged; empty for none. */
std::string mark_of_trial(const std::vector<client::Instance> &trials);

extern const char keep_alive[];
extern const char farewell[];
extern const char give_way[];

} // namespace vorn::gate
