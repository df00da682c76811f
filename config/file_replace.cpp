/* SPDX-License-Identifier: MIT */
/*
 * Replacing files whole. The order is what survives a power cut: the new content reaches the disk
 * before its name does, and the name before anybody is told.
 */
#include "config/file_replace.h"

#include "vorn/debug.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vorn {

namespace {

constexpr mode_t usual_mode = 0644;
constexpr std::size_t block_size = 1024;

mode_t mode_of(const char *path)
{
    struct stat status;
    return stat(path, &status) == 0 ? status.st_mode & 07777 : usual_mode;
}

/* What lies there is a left-over of an earlier attempt, or somebody's trap. */
Fd make_own_file(const char *path, mode_t mode)
{
    unlink(path);
    Fd file(open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    if (file) fchmod(file.get(), mode);
    return file;
}

bool flush_directory_of(const char *path)
{
    const Text folder = copy_of(path);
    if (!folder) return false;
    char *slash = std::strrchr(const_cast<char *>(folder.get()), '/');
    if (slash) slash[slash == folder.get() ? 1 : 0] = '\0';

    const Fd directory(open(slash ? folder.get() : ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return directory && fsync(directory.get()) == 0;
}

} // namespace

FileReplacement::FileReplacement(const char *target)
    : target_(target), beside_(format("%s.new", target))
{
    if (!beside_) return;
    Fd file = make_own_file(beside_.get(), mode_of(target));
    if (!file) return;
    file_.reset(fdopen(file.get(), "w"));
    if (file_) file.release();
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

bool FileReplacement::commit()
{
    if (!flush_to_disk() || rename(beside_.get(), target_) != 0) {
        const int error = errno;
        vorn_debug_eprintf("Can't write %s: %s.\n", target_, std::strerror(error));
        return false;
    }
    file_.reset();
    if (!flush_directory_of(target_)) {
        vorn_debug_eprintf("Can't flush the directory of %s.\n", target_);
        return false;
    }
    return true;
}

void copy_bytes(std::FILE *source, std::FILE *target, long count)
{
    char block[block_size];
    while (count > 0) {
        const std::size_t wanted = std::min(static_cast<std::size_t>(count), sizeof block);
        const std::size_t taken = std::fread(block, 1, wanted, source);
        if (taken == 0) return;
        std::fwrite(block, 1, taken, target);
        count -= static_cast<long>(taken);
    }
}

bool make_scratch_file(const char *path)
{
    return static_cast<bool>(make_own_file(path, 0600));
}

bool copy_file(const char *source, const char *target)
{
    const File from(std::fopen(source, "re"));
    if (!from) {
        vorn_debug_eprintf("vorn_config_cp: Can't open %s\n", source);
        return false;
    }
    FileReplacement to(target);
    if (!to) {
        vorn_debug_eprintf("vorn_config_cp: Can't open %s\n", target);
        return false;
    }
    copy_bytes(from.get(), to.stream(), __LONG_MAX__);
    if (std::ferror(from.get())) {
        vorn_debug_eprintf("Can't read %s.\n", source);
        return false;
    }
    return to.commit();
}

} // namespace vorn
