/* SPDX-License-Identifier: MIT */
#include "core/base/memory.h"

namespace vorn {

constinit unsigned long refused_allocations = 0;

} // namespace vorn
