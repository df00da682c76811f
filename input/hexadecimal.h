/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/input.h"

namespace vorn {

/* Of either case, and nothing else. */
inline bool is_hexadecimal(const char *value, int length)
{
    return vorn_input_is_string_in_ranges(value, length, "09AFaf", 3);
}

} // namespace vorn
