/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdio>
#include <memory>
#include <utility>

#include <dirent.h>
#include <sys/types.h>
#include <unistd.h>

namespace vorn {

struct CloseFile {
    void operator()(std::FILE *file) const noexcept { std::fclose(file); }
};
struct CloseDirectory {
    void operator()(DIR *directory) const noexcept { closedir(directory); }
};

using File = std::unique_ptr<std::FILE, CloseFile>;
using Directory = std::unique_ptr<DIR, CloseDirectory>;

/* An owned descriptor; negative means none. */
class Fd {
public:
    Fd() = default;
    explicit Fd(int descriptor) : descriptor_(descriptor) {}
    Fd(Fd &&other) noexcept : descriptor_(other.release()) {}
    Fd &operator=(Fd &&other) noexcept
    {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~Fd()
    {
        if (descriptor_ >= 0) close(descriptor_);
    }

    int get() const { return descriptor_; }
    int release() { return std::exchange(descriptor_, -1); }
    explicit operator bool() const { return descriptor_ >= 0; }

private:
    int descriptor_ = -1;
};

/*
 * Opens a regular file, without waiting for anybody: what lies where the daemon looks for a file of
 * its own may be a FIFO, which would be waited for until somebody opens its other end. Empty, with
 * errno, for anything else too, but for a directory, of which each read fails at once.
 */
Fd open_regular(const char *path, int flags, mode_t mode = 0);

/* The same as a stream, for reading, and for writing from the beginning. */
File read_regular(const char *path);
File write_regular(const char *path);

} // namespace vorn
