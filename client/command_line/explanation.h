/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <vector>

#include "configuration.h"
#include "output.h"

namespace vorn::client {

/* What the daemon says that a change would do. */
struct Explanation {
    struct Told {
        std::string action; /* "insert", "update" or "delete" */
        Instance instance;  /* without values */
    };
    struct Error {
        std::size_t operation; /* from 1 on; 0 for a daemon that does not say which */
        std::string sentence;
    };
    struct Effect {
        std::string weight;
        std::string provider;
        std::string sentence;
    };
    struct Provider {
        std::string name;
        std::vector<Told> told;
        std::vector<Effect> effects;
    };

    std::vector<Difference> changes;
    std::vector<Error> errors;        /* of operations */
    std::vector<std::string> refused; /* by checks */
    std::vector<Provider> providers;  /* in the order in which a commit calls them */

    /* Throws a Failure for what is none. */
    static Explanation of(const std::string &answer);
    /* Whether the answer is one at all; a daemon that knows no explanations gives another. */
    static bool is_one(const std::string &answer);
};

/* For people with what weighs most first; XML is the answer as it came. */
void print(const Output &output, const Explanation &explanation, const std::string &answer);

} // namespace vorn::client
