/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>

namespace vorn::bench {

/* Put together in place: GCC 12 warns of the plain sum at -O3, wrongly. */
inline std::string numbered(const char *text, int number)
{
    return std::string(text).append(std::to_string(number));
}

} // namespace vorn::bench
