/* SPDX-License-Identifier: MIT */
/* Rules about groups, to somebody of whom the kernel may not tell them. */
#include "api/access_fixture.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string>

#include <sys/socket.h>
#include <unistd.h>

namespace {

constinit bool tells_groups = true;

}

extern "C" {

int __real_getsockopt(int fd, int level, int name, void *value, socklen_t *size);

int __wrap_getsockopt(int fd, int level, int name, void *value, socklen_t *size)
{
    if (tells_groups || name != SO_PEERGROUPS)
        return __real_getsockopt(fd, level, name, value, size);
    errno = ENOPROTOOPT;
    return -1;
}

} // extern "C"

namespace {

using testing::HasSubstr;

class AccessByGroups : public vorn::tests::AccessTest {
protected:
    AccessByGroups()
    {
        const bool becomes_another = geteuid() == 0 && seteuid(1000) == 0;
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        one_ = vorn::Fd(ends[0]);
        other_ = vorn::Fd(ends[1]);
        if (becomes_another) {
            EXPECT_EQ(seteuid(0), 0);
        }
    }
    ~AccessByGroups() override { tells_groups = true; }

    std::string ask_as_him(const std::string &request)
    {
        const vorn::PeerOfRequest asked_for_by(one_.get());
        vorn::PeerOfRequest::asks();
        return ask(request);
    }

private:
    vorn::Fd one_;
    vorn::Fd other_;
};

TEST_F(AccessByGroups, DeniesWhatAnyOfThemMayNotWhenTheKernelDoesNotTellThem)
{
    rule("r", 1, "group:nobody-here", "Radio", "", "read", "deny");
    rule("s", 2, ("group:" + std::to_string(getegid())).c_str(), "Board", "", "read", "permit");
    rule("t", 3, "any", "Board", "", "read", "deny");
    const std::string radios = "<lsql><select><Radio/></select></lsql>";
    const std::string board = "<lsql><select><Board/></select></lsql>";
    EXPECT_THAT(ask_as_him(radios), HasSubstr("<counter>2</counter>"));
    EXPECT_THAT(ask_as_him(board), HasSubstr("<counter>1</counter>"));
    tells_groups = false;
    EXPECT_THAT(ask_as_him(radios), HasSubstr("<counter>0</counter>"));
    EXPECT_THAT(ask_as_him(board), HasSubstr("<counter>0</counter>"));
}

} // namespace
