/* SPDX-License-Identifier: MIT */
#include "core/base/file.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

namespace vorn {

/* Truncating waits until it is known to be a file: what else it may be is not the daemon's. */
Fd open_regular(const char *path, int flags, mode_t mode)
{
    Fd file(open(path, (flags & ~O_TRUNC) | O_NONBLOCK | O_CLOEXEC, mode));
    if (!file) return file;

    struct stat status;
    if (fstat(file.get(), &status) != 0) return {};
    if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
        errno = EINVAL;
        return {};
    }
    if ((flags & O_TRUNC) && ftruncate(file.get(), 0) != 0) return {};
    return file;
}

File read_regular(const char *path)
{
    Fd descriptor = open_regular(path, O_RDONLY);
    File file(descriptor ? fdopen(descriptor.get(), "r") : nullptr);
    if (file) descriptor.release();
    return file;
}

} // namespace vorn
