/* SPDX-License-Identifier: MIT */
/* Assertions that stay in every build; see the header for why the macro is not used. */
#include "core/base/assert.h"

#include "core/base/signals_held.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <unistd.h>

namespace vorn {

namespace {

/* Whoever does not take the last words, such as a stopped console, must not keep the end waiting.
 */
void abort_in_a_second()
{
    std::signal(SIGALRM, [](int) { std::abort(); });
    hear_all_signals();
    alarm(1);
}

} // namespace

void assert_that(bool holds, const char *expression, const char *source, unsigned int line,
                 const char *function)
{
    if (holds) return;

    abort_in_a_second();
    std::fprintf(stderr, "%s:%u: %s: Assertion `%s' failed.\n", source, line, function, expression);
    std::abort();
}

} // namespace vorn
