/* SPDX-License-Identifier: MIT */
#include "model/lazy/left_behind.h"

namespace vorn {

constinit Shelf left_behind_shelf;
constinit std::size_t left_behind_bytes = 0;

} // namespace vorn
