/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdio>

namespace vorn {

struct DebugState {
    int level;
    int timestamp;
    int exit_on_fatal;
    std::FILE *stream; /* opened once by vorn_debug_init, never closed */
};

extern DebugState debug_state;

/* What perror would write, where reports of failed calls go. */
void report_error(int error, const char *message);

} // namespace vorn
