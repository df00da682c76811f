/* SPDX-License-Identifier: MIT */
#include "change/short_text.h"

#include <cstring>

namespace vorn {

namespace {

constexpr char more[] = "...";

bool is_inside_character(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xc0) == 0x80;
}

bool is_control(char byte)
{
    return static_cast<unsigned char>(byte) < ' ' || byte == '\x7f';
}

} // namespace

void ShortText::add(const char *text)
{
    for (; *text && !is_full_; text++) {
        if (length_ + 1 < size_) {
            room_[length_++] = is_control(*text) ? '?' : *text;
            continue;
        }
        is_full_ = true;
        length_ = size_ - sizeof more;
        while (length_ > 0 && is_inside_character(room_[length_]))
            length_--;
        std::memcpy(room_ + length_, more, sizeof more);
        return;
    }
    if (!is_full_) room_[length_] = '\0';
}

} // namespace vorn
