/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/debug.h"

namespace vorn {

/* True for a null pointer, after saying "Null class." or whatever the argument is called. */
inline bool absent(const void *argument, const char *what)
{
    if (argument) return false;
    vorn_debug_1printf("Null %s.\n", what);
    return true;
}

/* The same for an instance, whose message names the function that was called. */
inline bool absent_instance(const void *instance, const char *function)
{
    if (instance) return false;
    vorn_debug_1printf("Null instance. (%s)\n", function);
    return true;
}

} // namespace vorn
