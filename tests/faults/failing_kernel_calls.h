/* SPDX-License-Identifier: MIT */
#pragma once

#include <linux/filter.h>
#include <linux/seccomp.h>

#include "faults/failing_kernel.h"

namespace vorn::tests {

constexpr unsigned short max_filter_length = 64;

/* The kind of a system call, by its number. */
Call kind_of(int number);
bool waits_for_somebody(Call call);
bool transfers(Call call);

/* Notifies of all calls that have a kind. Returns the number of instructions. */
unsigned short make_filter(sock_filter (&filter)[max_filter_length]);

/*
 * Does in the daemon's place what it asked for, with one byte: on its descriptor and its memory.
 * Returns what the call returned.
 */
ssize_t move_one_byte(pid_t daemon, const seccomp_notif &asked);

} // namespace vorn::tests
