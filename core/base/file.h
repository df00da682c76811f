/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdio>
#include <memory>
#include <utility>

#include <dirent.h>
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

} // namespace vorn
