/* SPDX-License-Identifier: MIT */
#include "core/base/text_buffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace vorn {

namespace {

constexpr std::size_t first_room = 256;

} // namespace

bool TextBuffer::make_room(std::size_t more)
{
    if (failed_) return false;
    if (more > longest_ - size_) {
        is_too_long_ = true;
        failed_ = true;
        return false;
    }
    const std::size_t needed = size_ + more + 1;
    if (needed <= room_) return true;

    const std::size_t room = std::min(std::max({needed, 2 * room_, first_room}), longest_ + 1);
    auto *grown = static_cast<char *>(noted(std::realloc(text_.get(), room)));
    if (!grown) {
        failed_ = true;
        return false;
    }
    text_.release();
    text_.reset(grown);
    room_ = room;
    return true;
}

void TextBuffer::append(const char *text)
{
    append(text, std::strlen(text));
}

void TextBuffer::append(const char *text, std::size_t length)
{
    const bool has_room = length < room_ - size_ && !failed_; /* as nearly every time */
    if (!has_room && !make_room(length)) return;
    std::memcpy(text_.get() + size_, text, length);
    size_ += length;
}

Text TextBuffer::take()
{
    if (!make_room(0)) return {};
    text_.get()[size_] = '\0';
    size_ = 0;
    room_ = 0;
    return Text(text_.release());
}

} // namespace vorn
