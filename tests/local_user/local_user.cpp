/* SPDX-License-Identifier: MIT */
#include "local_user/local_user.h"

#include <cerrno>

#include <grp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vorn::tests {

namespace {

constexpr unsigned int user = 1000;
constexpr int no_such_user = 99;

bool give_up_all_rights(const std::vector<gid_t> &groups)
{
    return setgroups(groups.size(), groups.data()) == 0 && setresgid(user, user, user) == 0 &&
           setresuid(user, user, user) == 0 && prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
}

} // namespace

void LocalUsers::SetUp()
{
    ConfiguredDevice::SetUp();
    if (as_local_user([] { return 0; }) == no_such_user) {
        GTEST_SKIP() << "only root can let somebody into the sandbox";
    }
    ASSERT_EQ(mode_of("/tmp"), 01777U);
}

int LocalUsers::as_local_user(const std::function<int()> &act, const std::vector<gid_t> &groups)
{
    const pid_t child = fork();
    if (child == 0) _exit(give_up_all_rights(groups) ? act() : no_such_user);
    const int status = wait_for_exit(child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int LocalUsers::opening_ends_with(const std::string &path, int flags)
{
    return as_local_user([&] { return open(path.c_str(), flags | O_CLOEXEC) < 0 ? errno : 0; });
}

unsigned int LocalUsers::mode_of(const std::string &path)
{
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

} // namespace vorn::tests
