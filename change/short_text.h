/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstddef>

namespace vorn {

/*
 * Writes a line of bounded length into somebody's room: what has no place any more becomes "...",
 * never within a character, and what would begin another line becomes "?".
 */
class ShortText {
public:
    template <std::size_t size>
    explicit ShortText(char (&room)[size]) : room_(room), size_(size)
    {
        room_[0] = '\0';
    }

    void add(const char *text);
    bool is_empty() const { return length_ == 0; }
    bool is_full() const { return is_full_; }

private:
    char *room_;
    std::size_t size_;
    std::size_t length_ = 0;
    bool is_full_ = false;
};

} // namespace vorn
