/* SPDX-License-Identifier: MIT */
#include "config/broken_file.h"

#include "config/file_replace.h"
#include "core/base/paths.h"
#include "core/base/result.h"
#include "vorn/config.h"
#include "vorn/debug.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

namespace vorn {

namespace {

/* Whether the startup file is the only copy of what could not be read. */
constinit bool is_still_to_be_kept = false;

bool is_regular(const char *path)
{
    struct stat status;
    return lstat(path, &status) == 0 && S_ISREG(status.st_mode);
}

} // namespace

/* A second name takes no room on a disk that may be full; not every file system has them. */
BrokenFile::BrokenFile() : is_there_(is_regular(paths::startup_config))
{
    unlink(paths::broken_config_so_far);
    if (!is_there_ || link(paths::startup_config, paths::broken_config_so_far) == 0) return;
    error_ = errno;
    if (error_ == EROFS) return;
    error_ = copy_file_with_mode(paths::startup_config, paths::broken_config_so_far);
}

/* Of two names of one file, rename leaves both. */
BrokenFile::~BrokenFile()
{
    unlink(paths::broken_config_so_far);
}

int BrokenFile::keep()
{
    is_still_to_be_kept = false;
    if (!is_there_) return 0;
    if (error_ == 0 && std::rename(paths::broken_config_so_far, paths::broken_config) != 0) {
        error_ = errno;
    }
    is_still_to_be_kept = error_ != 0;
    if (is_still_to_be_kept) {
        vorn_debug_eprintf("Can't write %s: %s.\n", paths::broken_config, std::strerror(error_));
    } else {
        vorn_debug_eprintf("What could not be read is kept as %s.\n", paths::broken_config);
    }
    return error_;
}

bool keep_broken_file_first(SaveReason &reason)
{
    if (!is_still_to_be_kept) return true;
    const int error = BrokenFile().keep();
    if (error == 0) return true;
    reason.set("%s, which could not be read, can't be kept as %s: %s", paths::startup_config,
               paths::broken_config, std::strerror(error));
    vorn_debug_eprintf("Not saving: %s.\n", reason.get());
    return false;
}

void startup_file_is_good()
{
    is_still_to_be_kept = false;
}

} // namespace vorn

using namespace vorn;

const char *vorn_config_get_broken()
{
    if (is_still_to_be_kept && is_regular(paths::startup_config)) return paths::startup_config;
    return is_regular(paths::broken_config) ? paths::broken_config : nullptr;
}

/* A disk that is read-only answers so for a file that is not there, too. */
int vorn_config_forget_broken()
{
    is_still_to_be_kept = false;
    if (!is_regular(paths::broken_config) || unlink(paths::broken_config) == 0) return ok;
    vorn_debug_eprintf("Can't remove %s: %s.\n", paths::broken_config, std::strerror(errno));
    return failed;
}
