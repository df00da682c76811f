/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "vorn/input.h"

#include <cstdint>

struct vorn_input_set : vorn::Record {
    vorn::Allocated<std::int32_t> entries;
    std::int32_t count = 0;
};

namespace vorn {

bool contains(const vorn_input_set &set, std::int32_t entry);

} // namespace vorn
