/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>

#include "output.h"

namespace vorn::client {

/* What may stand before or after every command. */
struct Options {
    Output output;
    double timeout_seconds = 30;
    std::string origin = "vornctl";
    bool waits = true;     /* for what a change has begun */
    bool explains = false; /* what a change would do, instead of doing it */
    std::string comment;   /* on what is changed, for the history */

    int timeout_ms() const { return static_cast<int>(timeout_seconds * 1000); }
};

} // namespace vorn::client
