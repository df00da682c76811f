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
    int trial_seconds = 0; /* after which a change is taken back; 0 for none */
    std::string joins;     /* the id of the trial that a change belongs to */
    bool asks = false;     /* whether to keep it */

    int timeout_ms() const { return static_cast<int>(timeout_seconds * 1000); }
};

} // namespace vorn::client
