/* SPDX-License-Identifier: MIT */
#pragma once

#include "model/lazy/home.h"

#include <cstddef>
#include <cstdint>

namespace vorn {

/* Where the instances are that a transaction replaced or took out, and that plugins may hold. */
extern Shelf left_behind_shelf;

/* What they take that nobody else would need, about: what is shared later on is not followed. */
extern std::size_t left_behind_bytes;

inline std::uint32_t left_behind_instances()
{
    return left_behind_shelf.holders - 1;
}

} // namespace vorn
