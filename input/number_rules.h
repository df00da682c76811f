/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"

#include <cstdint>
#include <optional>

namespace vorn {

/*
 * A terminated copy of the bytes that count, so that the C library's conversions never look past
 * them. Short values, which nearly all are, need no allocation.
 */
class TerminatedCopy {
public:
    TerminatedCopy(const char *value, int length);

    /* Null when there was nothing to copy from, or no memory. */
    const char *get() const { return text_; }

private:
    char small_[64];
    Allocated<char> large_;
    const char *text_ = nullptr;
};

/* The integer rule that every integer validator shares; empty when the value is no integer. */
std::optional<std::int32_t> integer_of(const char *value, int length);

} // namespace vorn
