/* SPDX-License-Identifier: MIT */
#pragma once

#include <sys/types.h>

namespace vorn {

/* Whether the number is that of a child of this process, which it stays until it is reaped. */
bool is_our_child(pid_t pid);

/* The letter by which the kernel calls its state; NUL when there is none such, or no way to look.
 */
char process_state(pid_t pid);

/* When a process began, by the kernel's count; 0 when that is not known. */
unsigned long long birth_of(pid_t pid);

/* Whether the process that was born then still runs, be it a child or not. */
bool is_the_one_born(pid_t pid, unsigned long long birth);

} // namespace vorn
