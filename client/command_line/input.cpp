/* SPDX-License-Identifier: MIT */
#include "input.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "failure.h"

namespace vorn::client {

namespace {

[[noreturn]] void fail_with(const std::string &name)
{
    fail(misused, {name, ": ", std::strerror(errno)});
}

bool write_and_flush(int file, const std::string &text)
{
    for (std::size_t written = 0; written < text.size();) {
        const ssize_t count = write(file, text.data() + written, text.size() - written);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        written += static_cast<std::size_t>(count);
    }
    return fsync(file) == 0;
}

} // namespace

std::string read_input(const std::string &name)
{
    std::FILE *file = name == "-" ? stdin : std::fopen(name.c_str(), "rbe");
    if (!file) fail_with(name);
    std::string text;
    char block[65536];
    while (const std::size_t count = std::fread(block, 1, sizeof block, file))
        text.append(block, count);
    const bool failed = std::ferror(file) != 0;
    const int reason = errno;
    if (file != stdin) std::fclose(file);
    errno = reason;
    if (failed) fail_with(name);
    return text;
}

void write_output(const std::string &name, const std::string &text)
{
    if (name == "-") {
        std::cout << text;
        return;
    }
    /* What takes its place would be a file, whatever a device, a pipe or a terminal was there for.
     */
    struct stat present = {};
    if (stat(name.c_str(), &present) == 0 && !S_ISREG(present.st_mode)) {
        fail(misused, {name, ": not a regular file; - is standard output"});
    }
    std::string scratch = name + ".XXXXXX";
    const int file = mkostemp(scratch.data(), O_CLOEXEC);
    if (file < 0) fail_with(name);
    const bool written = write_and_flush(file, text);
    const int reason = errno;
    close(file);
    if (written && std::rename(scratch.c_str(), name.c_str()) == 0) return;
    if (!written) errno = reason;
    const int final_reason = errno;
    unlink(scratch.c_str());
    errno = final_reason;
    fail_with(name);
}

} // namespace vorn::client
