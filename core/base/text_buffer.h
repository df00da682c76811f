/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/text.h"

#include <cstddef>

namespace vorn {

/* A text that grows at its end. Once memory has failed it takes nothing more and has no text. */
class TextBuffer {
public:
    void append(const char *text);
    void append(const char *text, std::size_t length);
    /* Someone who appends has failed. */
    void fail() { failed_ = true; }
    bool failed() const { return failed_; }
    std::size_t size() const { return size_; }
    /* What it holds so far, not terminated. */
    const char *get() const { return text_.get(); }
    /* Empty again, with its room kept for what comes next. */
    void clear() { size_ = 0; }
    /* The text so far, terminated; the buffer is empty again. Empty when memory has failed. */
    Text take();

private:
    bool make_room(std::size_t more);

    Allocated<char> text_;
    std::size_t size_ = 0;
    std::size_t room_ = 0;
    bool failed_ = false;
};

} // namespace vorn
