/* SPDX-License-Identifier: MIT */
#pragma once

#include "asking.h"
#include "request.h"

namespace vorn::gate {

/* GET /commits. */
Answer get_commits(Desk &desk, const Caller &caller, const Request &request);
/* GET /status. */
Answer get_status(Desk &desk, const Caller &caller, const Request &request);

/* The last commits, the oldest first; none without the plugin. */
std::vector<client::Instance> last_commits(Desk &desk, const Caller &caller);
Json json_of_commit(const client::Instance &commit);

/* One value of a property "state". */
struct State {
    std::string class_name;
    std::string name;
    std::string value;
    bool operator==(const State &) const = default;
};

std::vector<State> states(Desk &desk, const Caller &caller);
Json json_of_state(const State &state);

} // namespace vorn::gate
