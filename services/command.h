/* SPDX-License-Identifier: MIT */
#pragma once

#include <sys/types.h>

namespace vorn {

/* Where a child's standard output and standard error go. */
constexpr int output_discarded = 0;
constexpr int output_when_debugging = 1;

/*
 * Starts a child. Returns its process id, 0 when no actions are taken, -1 when the fork failed.
 * When debugging it leaves an unfinished line in the log, which the caller ends.
 */
pid_t vorn_command_spawn(char *const arguments[], int output_mode, const char *directory);

/* True while what commands do is shown in the log. */
bool shows_commands();

} // namespace vorn
