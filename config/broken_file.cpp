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

bool is_regular(const char *path)
{
    struct stat status;
    return lstat(path, &status) == 0 && S_ISREG(status.st_mode);
}

} // namespace

/* A second name takes no room on a disk that may be full; not every file system has them. */
BrokenFile::BrokenFile()
{
    unlink(paths::broken_config_so_far);
    if (!is_regular(paths::startup_config)) return;
    if (link(paths::startup_config, paths::broken_config_so_far) == 0) return;
    if (errno == EROFS) return;
    copy_file_with_mode(paths::startup_config, paths::broken_config_so_far);
}

/* Of two names of one file, rename leaves both. */
BrokenFile::~BrokenFile()
{
    unlink(paths::broken_config_so_far);
}

void BrokenFile::keep()
{
    if (!is_regular(paths::broken_config_so_far)) return;
    if (std::rename(paths::broken_config_so_far, paths::broken_config) == 0) {
        vorn_debug_eprintf("What could not be read is kept as %s.\n", paths::broken_config);
    } else {
        vorn_debug_eprintf("Can't write %s: %s.\n", paths::broken_config, std::strerror(errno));
    }
}

} // namespace vorn

using namespace vorn;

const char *vorn_config_get_broken()
{
    return is_regular(paths::broken_config) ? paths::broken_config : nullptr;
}

int vorn_config_forget_broken()
{
    if (unlink(paths::broken_config) == 0 || errno == ENOENT) return ok;
    vorn_debug_eprintf("Can't remove %s: %s.\n", paths::broken_config, std::strerror(errno));
    return failed;
}
