/* SPDX-License-Identifier: MIT */
/* Assertions that stay in every build; see the header for why the macro is not used. */
#include "core/base/assert.h"

#include <cstdio>
#include <cstdlib>

namespace vorn {

void assert_that(bool holds, const char *expression, const char *source, unsigned int line,
                 const char *function)
{
    if (holds) return;

    std::fprintf(stderr, "%s:%u: %s: Assertion `%s' failed.\n", source, line, function, expression);
    std::abort();
}

} // namespace vorn
