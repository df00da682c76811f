/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/file.h"
#include "core/base/text.h"

#include <cstdio>

namespace vorn {

/*
 * A kept file has the mode of the one it replaces, or else the usual one. A scratch file lies where
 * others can plant one: it takes nothing over from what lies there, and only the daemon reads it.
 */
enum class FileKind { kept, scratch };

/*
 * A file that is replaced whole or not at all. It is written beside the target, which stays what
 * it is until commit() has everything on the disk; then the new one takes its name. A target that
 * is a symbolic link is replaced itself; what it points to is left alone.
 */
class FileReplacement {
public:
    explicit FileReplacement(const char *target, FileKind kind = FileKind::kept);
    FileReplacement(const FileReplacement &) = delete;
    ~FileReplacement();

    /* False when the new file can't be made; nothing has been reported then. */
    explicit operator bool() const { return static_cast<bool>(file_); }
    std::FILE *stream() const { return file_.get(); }
    /* What the system said when the file could not be made, or commit() failed. */
    int error() const { return error_; }
    /* False, with the reason in the log, when anything went wrong since the file was opened. */
    bool commit();

private:
    bool flush_to_disk();

    const char *target_;
    Text beside_;
    File file_;
    int error_ = 0;
};

/* Copies up to the given number of bytes. Returns how many the source had. */
long copy_bytes(std::FILE *source, std::FILE *target, long count);

/* Makes an empty scratch file; a link planted there is removed. */
bool make_scratch_file(const char *path);

/* vorn_config_cp: replaces the target by a copy of the source; false after a message. */
bool copy_file(const char *source, const char *target);
/*
 * The same, but the copy may be read by whoever may read the source, and at first by nobody else.
 * Returns 0, or what the system said, after a message.
 */
int copy_file_with_mode(const char *source, const char *target);

} // namespace vorn
