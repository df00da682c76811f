/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn {

/* The two answers of a public function that reports success; predicates answer plain 1 and 0. */
constexpr int ok = 0;
constexpr int failed = 1;

} // namespace vorn
