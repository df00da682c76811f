/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/limits.h"

#include <cstddef>

namespace vorn {

/*
 * What somebody else wrote, as one line of the log may show it: control characters and bytes that
 * are no UTF-8 as \n, \t, \r or \x1B, so that nobody forges lines or steers a terminal, and at most
 * so much of it, followed by "... (70000 bytes)" with the length of the whole.
 */
class Quoted {
public:
    explicit Quoted(const char *text);

    const char *get() const { return text_; }

private:
    static constexpr std::size_t tail_room = 40;

    char text_[longest_quotation + tail_room];
};

} // namespace vorn
