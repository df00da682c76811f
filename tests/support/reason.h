/* SPDX-License-Identifier: MIT */
#pragma once

#include <cerrno>
#include <cstring>
#include <string>

namespace vorn::tests {

/* What the C library calls an error: each has words of its own. */
inline std::string reason(int error)
{
    return std::strerror(error);
}

} // namespace vorn::tests
