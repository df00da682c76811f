/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "asking.h"
#include "request.h"

namespace vorn::gate {

/* What is to happen, or to be explained, in one transaction. */
struct Wish {
    struct Change {
        enum class Kind { update, insert, remove } kind;
        client::Target target;
        client::Values values;
        std::string tag; /* that the object must still have; empty for any */
    };
    std::vector<Change> changes;
    long long trial_seconds = 0;
    std::string join;
    std::string comment;
    std::string commit; /* that the configuration must still be; empty for any */
    bool explains = false;
};

/* POST /changes. */
Answer post_changes(Desk &desk, const Caller &caller, const Request &request);

/* The options that a wish has besides its changes; the names say which are allowed. */
void read_options(const Json &json, std::initializer_list<const char *> allowed, Wish &wish);

/* Carries it out, or explains it. */
Answer carry_out(Desk &desk, const Caller &caller, Wish wish);

/* A body that has to be a JSON object; "{}" for none. */
Json body_of(const Request &request);

/* For differences of any source: {"action","class","name","values"}. */
Json json_of_change(std::string_view action, const client::Instance &named,
                    const client::Values &before, const client::Values &after);

} // namespace vorn::gate
