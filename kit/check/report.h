/* SPDX-License-Identifier: MIT */
#pragma once

#include "boot.h"
#include "loading.h"

namespace vorn::check {

/* Prints what the plugins registered and everything that is wrong; the number of problems. */
int report(const Loading &loading);

/* Only what is wrong, on the error output. */
int report_problems(const Loading &loading);

/* The same for one configuration file, and for the boot as a whole. */
int report(const CheckedFile &file);
void report(const Boot &boot);

} // namespace vorn::check
