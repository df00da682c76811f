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

namespace {

File stream_of(Fd descriptor, const char *mode)
{
    File file(descriptor ? fdopen(descriptor.get(), mode) : nullptr);
    if (file) descriptor.release();
    return file;
}

} // namespace

File read_regular(const char *path)
{
    return stream_of(open_regular(path, O_RDONLY), "r");
}

File write_regular(const char *path)
{
    constexpr mode_t usual_mode = 0666; /* less the umask */
    return stream_of(open_regular(path, O_WRONLY | O_CREAT | O_TRUNC, usual_mode), "w");
}

} // namespace vorn
