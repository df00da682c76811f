/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"

#include <cstdarg>
#include <cstddef>

namespace vorn {

/* A variable list that may be read further by whoever comes after. */
struct Arguments {
    std::va_list list;
};

/* A null-terminated argument vector, grown one slot at a time; the strings are the caller's. */
class ArgumentVector {
public:
    /* The program and what follows it in the list, up to and with the null. */
    ArgumentVector(const char *program, Arguments &more);

    /* Null when memory ran out, which has been reported then. */
    char *const *get() const { return slots_.get(); }

private:
    bool append(const char *argument);

    Allocated<char *> slots_;
    std::size_t count_ = 0;
};

} // namespace vorn
