/* SPDX-License-Identifier: MIT */
#pragma once

#include "wire.h"

namespace vorn::client {

/* What vornctl ends with. */
enum ExitStatus {
    done = 0,      /* everything that was asked for was done */
    refused = 1,   /* the daemon answered, with an error */
    misused = 2,   /* the command line or the input was not understood */
    not_there = 3, /* no daemon, or it did not answer in time */
    no_answer = 4, /* the daemon closed the connection without an answer */
};

/* How long a daemon may take. */
constexpr int limit_seconds = 30;

/* Each gets the words behind its name. */
int query_command(int argc, char **argv);
int inform_command(int argc, char **argv);
int watch_command(int argc, char **argv);

/* Explains a failed exchange on standard error and says what to end with. */
int report_failure(const Exchange &exchange);

} // namespace vorn::client
