/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/debug_state.h"

#include <cstdio>
#include <string>

namespace vorn::tests {

/*
 * While alive, the log goes into memory, at the level given; the state of before comes back at
 * the end. Level 1 shows what a null or misused argument is answered with.
 */
class CapturedLog {
public:
    explicit CapturedLog(int level = 1);
    CapturedLog(const CapturedLog &) = delete;
    ~CapturedLog();

    /* Everything logged so far, "vorn: " prefixes included. */
    std::string text();
    /* The same, forgetting it. */
    std::string take();
    void set_level(int level);
    std::FILE *stream();

private:
    DebugState before_;
    char *memory_ = nullptr;
    std::size_t size_ = 0;
    std::size_t taken_ = 0;
};

/* While alive, standard error goes to a scratch file. */
class CapturedStandardError {
public:
    CapturedStandardError();
    CapturedStandardError(const CapturedStandardError &) = delete;
    ~CapturedStandardError();

    std::string text();

private:
    int original_;
    std::FILE *scratch_;
};

/* All of a file that is open for reading too. */
std::string text_of(int file);

/* What a function prints to the stream it is given. */
template <typename Print>
std::string printed(Print print)
{
    char *memory = nullptr;
    std::size_t size = 0;
    std::FILE *stream = open_memstream(&memory, &size);
    print(stream);
    std::fclose(stream);
    std::string text(memory, size);
    std::free(memory);
    return text;
}

} // namespace vorn::tests
