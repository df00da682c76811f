/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/text.h"

#include <cstddef>
#include <cstdint>

namespace vorn {

/*
 * A text that grows at its end, up to a length if one is given. Once that or memory did not suffice
 * it takes nothing more and has no text.
 */
class TextBuffer {
public:
    static constexpr std::size_t unbounded = SIZE_MAX - 1; /* with its end, all there can be */

    explicit TextBuffer(std::size_t longest = unbounded) : longest_(longest) {}

    void append(const char *text);
    void append(const char *text, std::size_t length);
    /* Someone who appends has failed. */
    void fail() { failed_ = true; }
    bool failed() const { return failed_; }
    /* It failed because it would have been too long. */
    bool is_too_long() const { return is_too_long_; }
    std::size_t size() const { return size_; }
    /* What it holds so far, not terminated. */
    const char *get() const { return text_.get(); }
    /* The same, to be changed in place. */
    char *data() { return text_.get(); }
    /* Without what stands after the size. */
    void cut(std::size_t size) { size_ = size; }
    /* Empty again, with its room kept for what comes next. */
    void clear() { size_ = 0; }
    /* The text so far, terminated; the buffer is empty again. Empty when it has failed. */
    Text take();

private:
    bool make_room(std::size_t more);

    Allocated<char> text_;
    std::size_t size_ = 0;
    std::size_t room_ = 0;
    std::size_t longest_;
    bool failed_ = false;
    bool is_too_long_ = false;
};

} // namespace vorn
