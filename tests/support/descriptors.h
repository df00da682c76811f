/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn::tests {

/* How many descriptors this process has open. */
int open_descriptors();

} // namespace vorn::tests
