/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn::client {

/* What vornctl ends with. */
enum ExitStatus {
    done = 0,      /* every operation of the request was done */
    refused = 1,   /* the daemon answered, with an error in at least one operation */
    misused = 2,   /* the command line or the input was not understood */
    not_there = 3, /* no daemon, or it did not answer in time */
    no_answer = 4, /* the daemon closed the connection without an answer */
};

int query_command(int argc, char **argv);

} // namespace vorn::client
