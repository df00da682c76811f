/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

/* What every target defines: takes any bytes, and stops the process when something is wrong. */
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace vorn::fuzz {

inline std::string_view as_text(const std::uint8_t *data, std::size_t size)
{
    return {reinterpret_cast<const char *>(data), size};
}

[[noreturn]] void stop(const char *what);

/* Ends the process with a message when something that must hold does not. */
inline void require(bool holds, const char *what)
{
    if (!holds) stop(what);
}

/* A copy in a block of just its size, so that one byte too far is noticed. */
class ExactCopy {
public:
    explicit ExactCopy(std::string_view text);

    char *get() { return bytes_.get(); }
    int length() const { return length_; }

private:
    int length_;
    std::unique_ptr<char[]> bytes_;
};

/* The same with a NUL after it; what follows a NUL in the text itself is left out. */
class ExactString {
public:
    explicit ExactString(std::string_view text);

    char *get() { return bytes_.get(); }

private:
    std::unique_ptr<char[]> bytes_;
};

/* Takes off the next piece of an input whose pieces stand between lines of three hyphens. */
std::string_view next_piece(std::string_view &rest);

} // namespace vorn::fuzz
