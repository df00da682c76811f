/* SPDX-License-Identifier: MIT */
/* Counting what a test might leave open. */
#include "support/descriptors.h"

#include <filesystem>
#include <iterator>

namespace vorn::tests {

int open_descriptors()
{
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return static_cast<int>(std::distance(begin(entries), end(entries)));
}

} // namespace vorn::tests
