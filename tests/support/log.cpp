/* SPDX-License-Identifier: MIT */
/* The log and standard error, captured by giving them another stream. */
#include "support/log.h"

#include "support/allocation.h"
#include "support/leak_check.h"

#include <cstdlib>

#include <unistd.h>

namespace vorn::tests {

CapturedLog::CapturedLog(int level) : before_(debug_state)
{
    const AllocationsAllowed allowed;
    const LeftOnPurpose by_those_who_exit;
    debug_state = {level, 0, 0, open_memstream(&memory_, &size_)};
}

CapturedLog::~CapturedLog()
{
    std::fclose(debug_state.stream);
    std::free(memory_);
    debug_state = before_;
}

std::string CapturedLog::text()
{
    const AllocationsAllowed allowed;
    std::fflush(debug_state.stream);
    return std::string(memory_ + taken_, size_ - taken_);
}

std::string CapturedLog::take()
{
    std::string text = this->text();
    taken_ = size_;
    return text;
}

void CapturedLog::set_level(int level)
{
    debug_state.level = level;
}

std::FILE *CapturedLog::stream()
{
    return debug_state.stream;
}

CapturedStandardError::CapturedStandardError()
    : original_(dup(STDERR_FILENO)), scratch_(std::tmpfile())
{
    std::fflush(stderr);
    dup2(fileno(scratch_), STDERR_FILENO);
}

CapturedStandardError::~CapturedStandardError()
{
    std::fflush(stderr);
    dup2(original_, STDERR_FILENO);
    close(original_);
    std::fclose(scratch_);
}

std::string CapturedStandardError::text()
{
    std::fflush(stderr);
    return text_of(fileno(scratch_));
}

std::string text_of(int file)
{
    const long size = lseek(file, 0, SEEK_END);
    std::string text(static_cast<std::size_t>(size), '\0');
    if (pread(file, text.data(), text.size(), 0) != size) text.clear();
    return text;
}

} // namespace vorn::tests
