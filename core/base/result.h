/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn {

/* The two answers of a public function that reports success; predicates answer plain 1 and 0. */
constexpr int ok = 0;
constexpr int failed = 1;

/* What comes of a call that may be refused. Whoever is refused need not try again with more memory.
 */
enum class Outcome { done, refused, out_of_memory };

/* As public functions tell it. */
constexpr int flattened(Outcome outcome)
{
    return outcome == Outcome::done ? ok : failed;
}

} // namespace vorn
