/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace vorn {

/*
 * A text that never changes and may have several holders; the last one frees it. A copy of an
 * instance holds the texts of the original, so that it costs no more than a reference.
 */
class SharedText {
public:
    SharedText() = default;
    SharedText(const SharedText &other) : text_(other.text_)
    {
        if (text_) block()->holders++;
    }
    SharedText(SharedText &&other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
    SharedText &operator=(SharedText other) noexcept
    {
        std::swap(text_, other.text_);
        return *this;
    }
    ~SharedText()
    {
        if (text_ && --block()->holders == 0) std::free(block());
    }

    /* A copy of the characters; empty for null and when memory is gone. */
    static SharedText of(const char *text)
    {
        SharedText made;
        if (!text) return made;
        const std::size_t size = std::strlen(text) + 1;
        void *memory = noted(std::malloc(sizeof(Block) + size));
        if (memory)
            made.text_ = static_cast<char *>(std::memcpy(new (memory) Block{1} + 1, text, size));
        return made;
    }

    const char *get() const { return text_; }
    std::uint32_t holders() const { return text_ ? block()->holders : 0; }
    /* What a text takes. */
    std::size_t bytes() const { return text_ ? sizeof(Block) + std::strlen(text_) + 1 : 0; }
    explicit operator bool() const { return text_ != nullptr; }

private:
    /* Stands right before the characters. */
    struct Block {
        std::uint32_t holders;
    };

    Block *block() const { return reinterpret_cast<Block *>(text_) - 1; }

    char *text_ = nullptr;
};

} // namespace vorn
