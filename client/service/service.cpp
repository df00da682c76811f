/* SPDX-License-Identifier: MIT */
#include "service.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <grp.h>
#include <malloc.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace vorn::service {

namespace {

bool become(const char *program, const char *name)
{
    const passwd *user = getpwnam(name);
    const bool is_done =
        user &&
        (user->pw_uid == getuid() ||
         (setgroups(0, nullptr) == 0 && setgid(user->pw_gid) == 0 && setuid(user->pw_uid) == 0));
    if (!is_done)
        std::fprintf(stderr, "%s: %s: %s\n", program, name,
                     user ? std::strerror(errno) : "there is no such user");
    return is_done;
}

} // namespace

bool give_up_rights(const char *program, const char *user)
{
    if (user && !become(program, user)) return false;
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
}

void stay_small()
{
    constexpr int large = 64 * 1024;
    mallopt(M_ARENA_MAX, 1);
    mallopt(M_MMAP_THRESHOLD, large);
    mallopt(M_TRIM_THRESHOLD, large);
}

void give_back()
{
    malloc_trim(0);
}

} // namespace vorn::service
