/* SPDX-License-Identifier: MIT */
/*
 * Replacing files whole. The order is what survives a power cut: the new content reaches the disk
 * before its name does, and the name before anybody is told.
 */
#include "config/file_replace.h"

#include "vorn/debug.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vorn {

namespace {

constexpr mode_t usual_mode = 0644; /* less the umask */
constexpr mode_t private_mode = 0600;
constexpr long block_size = 1024;

/* What lies there is a left-over of an earlier attempt, or somebody's trap. */
Fd make_own_file(const char *path, mode_t mode)
{
    unlink(path);
    return Fd(open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
}

void take_mode(int file, int source)
{
    struct stat status;
    if (fstat(source, &status) == 0) fchmod(file, status.st_mode & 07777);
}

void keep_mode(const Fd &file, const char *replaced)
{
    struct stat status;
    if (stat(replaced, &status) == 0 && S_ISREG(status.st_mode)) {
        fchmod(file.get(), status.st_mode & 07777);
    }
}

Fd open_folder_of(const char *path)
{
    const char *slash = std::strrchr(path, '/');
    const Text folder =
        slash ? format("%.*s", static_cast<int>(slash + 1 - path), path) : copy_of(".");
    return Fd(folder ? open(folder.get(), O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1);
}

} // namespace

FileReplacement::FileReplacement(const char *target, FileKind kind)
    : target_(target), beside_(format("%s.new", target))
{
    error_ = ENOMEM;
    if (!beside_) return;
    const bool kept = kind == FileKind::kept;
    Fd file = make_own_file(beside_.get(), kept ? usual_mode : private_mode);
    error_ = errno;
    if (!file) return;
    if (kept) keep_mode(file, target);

    file_.reset(fdopen(file.get(), "w"));
    error_ = errno;
    if (file_) {
        file.release();
    } else {
        unlink(beside_.get());
    }
}

FileReplacement::~FileReplacement()
{
    if (file_) unlink(beside_.get());
}

bool FileReplacement::flush_to_disk()
{
    return std::fflush(file_.get()) == 0 && !std::ferror(file_.get()) &&
           fsync(fileno(file_.get())) == 0;
}

/* The folder is opened first: once the new file has its name there is no way back. */
bool FileReplacement::commit()
{
    const Fd folder = open_folder_of(target_);
    if (!folder || !flush_to_disk() || std::rename(beside_.get(), target_) != 0) {
        error_ = errno;
        vorn_debug_eprintf("Can't write %s: %s.\n", target_, std::strerror(error_));
        return false;
    }
    file_.reset();
    if (fsync(folder.get()) != 0) {
        error_ = errno;
        vorn_debug_eprintf("Can't flush the directory of %s.\n", target_);
        return false;
    }
    return true;
}

long copy_bytes(std::FILE *source, std::FILE *target, long count)
{
    char block[block_size];
    long copied = 0;
    while (copied < count) {
        const auto wanted = static_cast<std::size_t>(std::min(count - copied, block_size));
        const std::size_t taken = std::fread(block, 1, wanted, source);
        if (taken == 0) break;
        std::fwrite(block, 1, taken, target);
        copied += static_cast<long>(taken);
    }
    return copied;
}

bool make_scratch_file(const char *path)
{
    return static_cast<bool>(make_own_file(path, private_mode));
}

namespace {

/* 0, or what the system said. */
int copy_as(FileKind kind, const char *source, const char *target)
{
    const File from = read_regular(source);
    if (!from) {
        const int error = errno;
        vorn_debug_eprintf("vorn_config_cp: Can't open %s\n", source);
        return error;
    }
    FileReplacement to(target, kind);
    if (!to) {
        vorn_debug_eprintf("vorn_config_cp: Can't open %s\n", target);
        return to.error();
    }
    copy_bytes(from.get(), to.stream(), LONG_MAX);
    if (std::ferror(from.get())) {
        vorn_debug_eprintf("Can't read %s.\n", source);
        return EIO;
    }
    if (kind == FileKind::scratch) take_mode(fileno(to.stream()), fileno(from.get()));
    return to.commit() ? 0 : to.error();
}

} // namespace

bool copy_file(const char *source, const char *target)
{
    return copy_as(FileKind::kept, source, target) == 0;
}

int copy_file_with_mode(const char *source, const char *target)
{
    return copy_as(FileKind::scratch, source, target);
}

} // namespace vorn
