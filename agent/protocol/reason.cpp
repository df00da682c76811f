/* SPDX-License-Identifier: MIT */
#include "reason.h"

#include <array>

namespace vorn::fleet {

namespace {

constexpr std::array words = {
    "",         "too-large", "unsigned", "unknown-key", "damaged",     "malformed", "other-device",
    "older",    "reused",    "not-yet",  "clock",       "expired",     "schema",    "unknown-class",
    "rejected", "busy",      "no-note",  "unreached",   "interrupted", "not-saved", "off",
};
static_assert(words.size() == static_cast<std::size_t>(Reason::off) + 1);

} // namespace

const char *word_of(Reason reason)
{
    return words[static_cast<std::size_t>(reason)];
}

} // namespace vorn::fleet
