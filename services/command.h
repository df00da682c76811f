/* SPDX-License-Identifier: MIT */
#pragma once

#include <sys/types.h>

namespace vorn {

/* Where a child's standard output and standard error go. */
constexpr int output_discarded = 0;
constexpr int output_when_debugging = 1;

/* The same, as whoever starts the child has chosen it. */
struct Output {
    int mode = output_when_debugging;
    int descriptor = -1; /* takes the place of the mode unless it is -1 */
};

/*
 * Starts a child. Returns its process id, 0 when no actions are taken, -1 when the fork failed.
 * When debugging it leaves an unfinished line in the log, which the caller ends.
 */
pid_t vorn_command_spawn(char *const arguments[], Output output, const char *directory);

/* Puts the handler of SIGTERM back that a failed fork took away. */
void hear_termination_again();

/* True while what commands do is shown in the log. */
bool shows_commands();

} // namespace vorn
