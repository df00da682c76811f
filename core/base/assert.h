/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn {

/*
 * An assertion whose text, source and function are part of what the operator sees, so none of
 * them is left to the preprocessor. Never compiled out; a failure aborts the process.
 */
void assert_that(bool holds, const char *expression, const char *source, unsigned int line,
                 const char *function);

} // namespace vorn
