/* SPDX-License-Identifier: MIT */
#include "core/base/file.h"
#include "support/log.h"
#include "support/reason.h"
#include "vorn/socket.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "doors.h"
#include "fake_calls.h"

namespace {

using vorn::Fd;
using vorn::tests::CapturedLog;
using vorn::tests::CapturedStandardError;
using vorn::tests::connect_to;
using vorn::tests::FakeCalls;
using vorn::tests::own;
using vorn::tests::reason;

int flag(const Fd &descriptor, int request)
{
    return fcntl(descriptor.get(), request);
}

void expect_listener(const Fd &listener)
{
    ASSERT_TRUE(listener);
    EXPECT_EQ(flag(listener, F_GETFD), FD_CLOEXEC);
    EXPECT_TRUE(flag(listener, F_GETFL) & O_NONBLOCK);
    EXPECT_EQ(accept(listener.get(), nullptr, nullptr), -1);
    EXPECT_EQ(errno, EAGAIN);
}

TEST(BlockingModes, AreSwitchedAndLeaveOtherFlagsAlone)
{
    const Fd descriptor(open("/dev/null", O_WRONLY | O_APPEND));

    EXPECT_EQ(vorn_socket_set_nonblock(descriptor.get()), 0);
    EXPECT_EQ(flag(descriptor, F_GETFL) & (O_NONBLOCK | O_APPEND), O_NONBLOCK | O_APPEND);
    EXPECT_EQ(vorn_socket_set_block(descriptor.get()), 0);
    EXPECT_EQ(flag(descriptor, F_GETFL) & (O_NONBLOCK | O_APPEND), O_APPEND);
}

TEST(BlockingModes, OfAnInvalidDescriptorFailWithAReport)
{
    CapturedStandardError errors;

    EXPECT_EQ(vorn_socket_set_block(-1), 1);
    EXPECT_EQ(vorn_socket_set_nonblock(987), 1);

    EXPECT_EQ(errors.text(),
              "vorn: fcntl: Bad file descriptor\nvorn: fcntl: Bad file descriptor\n");
}

TEST(UnixListeners, ListenOnAnAbstractName)
{
    const Fd listener(vorn_socket_get_unix(own("a").c_str(), VORN_SOCKET_ABSTRACT));

    expect_listener(listener);
    EXPECT_TRUE(connect_to(own("a")));
    EXPECT_FALSE(connect_to(own("b")));
}

TEST(UnixListeners, LookAtTheFirstBitOfTheFlagsOnly)
{
    const std::string path = "/tmp/" + own("flags");

    const Fd abstract(vorn_socket_get_unix(own("flags").c_str(), 0xFFFFFFFFu));
    const Fd file(vorn_socket_get_unix(path.c_str(), 0xFFFFFFFEu));

    EXPECT_TRUE(connect_to(own("flags")));
    EXPECT_TRUE(file);
    EXPECT_EQ(unlink(path.c_str()), 0);
}

TEST(UnixListeners, AreRefusedAPathInNoFolder)
{
    CapturedStandardError errors;

    EXPECT_EQ(vorn_socket_get_unix("/tmp/vorn_no_such_folder/door", 0), -1);

    EXPECT_EQ(errors.text(), "vorn: Unable to bind to domain /tmp/vorn_no_such_folder/door: "
                             "No such file or directory\n");
}

TEST(UnixListeners, CutAnAbstractNameAt106Characters)
{
    const std::string name = own(std::string(200, 'n'));

    const Fd listener(vorn_socket_get_unix(name.c_str(), VORN_SOCKET_ABSTRACT));

    ASSERT_TRUE(listener);
    EXPECT_TRUE(connect_to(name.substr(0, 106)));
}

TEST(UnixListeners, AreRefusedANameThatIsTaken)
{
    const Fd first(vorn_socket_get_unix(own("taken").c_str(), VORN_SOCKET_ABSTRACT));
    CapturedStandardError errors;

    EXPECT_EQ(vorn_socket_get_unix(own("taken").c_str(), VORN_SOCKET_ABSTRACT), -1);

    EXPECT_EQ(errors.text(),
              "vorn: Unable to bind to domain " + own("taken") + ": " + reason(EADDRINUSE) + "\n");
}

TEST(UnixListeners, ReportALongNameCut)
{
    const std::string name = own(std::string(300, 'n'));
    const Fd first(vorn_socket_get_unix(name.c_str(), VORN_SOCKET_ABSTRACT));
    CapturedStandardError errors;

    EXPECT_EQ(vorn_socket_get_unix(name.c_str(), VORN_SOCKET_ABSTRACT), -1);

    EXPECT_EQ(errors.text(), "vorn: " + ("Unable to bind to domain " + name).substr(0, 159) + ": " +
                                 reason(EADDRINUSE) + "\n");
}

TEST(UnixListeners, HoldFiftyClientsThatWait)
{
    const Fd listener(vorn_socket_get_unix(own("crowd").c_str(), VORN_SOCKET_ABSTRACT));

    std::vector<Fd> clients;
    for (int i = 0; i < 50; i++)
        clients.push_back(connect_to(own("crowd")));

    for (const Fd &client : clients)
        EXPECT_TRUE(client);
}

TEST(UnixListeners, BindAPathThatDoesNotExistAsItIsGiven)
{
    const std::string path = "/tmp/" + own("new");

    const Fd listener(vorn_socket_get_unix(path.c_str(), 0));

    expect_listener(listener);
    struct stat status;
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    unlink(path.c_str());
}

TEST(UnixListeners, CutAPathAt107Characters)
{
    const std::string path = "/tmp/" + own(std::string(200, 'p'));

    const Fd listener(vorn_socket_get_unix(path.c_str(), 0));

    struct stat status;
    EXPECT_TRUE(listener);
    EXPECT_EQ(stat(path.substr(0, 107).c_str(), &status), 0);
    unlink(path.substr(0, 107).c_str());
}

TEST(UnixListeners, ReplaceAFile)
{
    const std::string path = "/tmp/" + own("file");
    const Fd before(vorn_socket_get_unix(path.c_str(), 0));
    ASSERT_TRUE(before);

    const Fd listener(vorn_socket_get_unix(path.c_str(), 0));

    expect_listener(listener);
    struct stat status;
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_TRUE(S_ISSOCK(status.st_mode));
    unlink(path.c_str());
}

TEST(UnixListeners, ReplaceWhatALinkPointsTo)
{
    const std::string target = "/tmp/" + own("target");
    const std::string link = "/tmp/" + own("link");
    close(open(target.c_str(), O_CREAT | O_WRONLY, 0600));
    ASSERT_EQ(symlink(target.c_str(), link.c_str()), 0);

    const Fd listener(vorn_socket_get_unix(link.c_str(), 0));

    struct stat status;
    ASSERT_TRUE(listener);
    EXPECT_EQ(lstat(target.c_str(), &status), 0);
    EXPECT_TRUE(S_ISSOCK(status.st_mode));
    unlink(target.c_str());
    unlink(link.c_str());
}

TEST(UnixListeners, NeedAName)
{
    CapturedLog log;

    EXPECT_EQ(vorn_socket_get_unix(nullptr, VORN_SOCKET_ABSTRACT), -1);

    EXPECT_EQ(log.text(), "vorn: Null name.\n");
}

sockaddr_in address_of(const Fd &descriptor)
{
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    getsockname(descriptor.get(), reinterpret_cast<sockaddr *>(&address), &size);
    return address;
}

TEST(TcpListeners, ListenOnTheLoopbackAddressOnly)
{
    const Fd listener(vorn_socket_get_tcp(0, 1));

    expect_listener(listener);
    EXPECT_EQ(address_of(listener).sin_addr.s_addr, htonl(INADDR_LOOPBACK));
}

TEST(TcpListeners, ListenOnEveryAddressWhenTold)
{
    const Fd listener(vorn_socket_get_tcp(0, 0));

    expect_listener(listener);
    EXPECT_EQ(address_of(listener).sin_addr.s_addr, htonl(INADDR_ANY));
}

TEST(TcpListeners, MayReuseAnAddress)
{
    const Fd listener(vorn_socket_get_tcp(0, 1));

    int reuse = 0;
    socklen_t size = sizeof reuse;
    getsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &reuse, &size);
    EXPECT_EQ(reuse, 1);
}

TEST(TcpListeners, AreRefusedAPortThatIsTaken)
{
    const Fd first(vorn_socket_get_tcp(0, 1));
    const int port = ntohs(address_of(first).sin_port);
    CapturedStandardError errors;

    EXPECT_EQ(vorn_socket_get_tcp(port, 1), -1);

    EXPECT_EQ(errors.text(), "vorn: Unable to bind to port " + std::to_string(port) + ": " +
                                 reason(EADDRINUSE) + "\n");
}

TEST(UdpSockets, AreUnboundAndBlocking)
{
    const Fd descriptor(vorn_socket_get_udp());

    ASSERT_TRUE(descriptor);
    EXPECT_EQ(flag(descriptor, F_GETFD), FD_CLOEXEC);
    EXPECT_FALSE(flag(descriptor, F_GETFL) & O_NONBLOCK);
    EXPECT_EQ(address_of(descriptor).sin_port, 0);
}

/* Every kind of socket, and what is said when one step of its making fails. */
struct Kind {
    const char *name;
    int (*open)();
    bool listens;
};

void PrintTo(const Kind &kind, std::ostream *stream)
{
    *stream << kind.name;
}

class SocketFailures : public testing::TestWithParam<Kind> {
protected:
    CapturedStandardError errors;
    FakeCalls calls;
};

TEST_P(SocketFailures, AreReportedWithoutADescriptor)
{
    rlimit before;
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none = {0, before.rlim_max};

    setrlimit(RLIMIT_NOFILE, &none);
    const int descriptor = GetParam().open();
    setrlimit(RLIMIT_NOFILE, &before);

    EXPECT_EQ(descriptor, -1);
    EXPECT_EQ(errors.text(), "vorn: socket: " + reason(EMFILE) + "\n");
}

TEST_P(SocketFailures, AreReportedWithoutCloseOnExec)
{
    calls.refused_fcntl = F_SETFD;

    EXPECT_EQ(GetParam().open(), -1);

    EXPECT_EQ(errors.text(), "vorn: fcntl: " + reason(EIO) + "\n");
}

TEST_P(SocketFailures, AreReportedWhenItCannotListen)
{
    if (!GetParam().listens) return;
    calls.refuses_listen = true;

    EXPECT_EQ(GetParam().open(), -1);

    EXPECT_EQ(errors.text(), "vorn: listen: " + reason(EIO) + "\n");
}

int open_unix()
{
    return vorn_socket_get_unix(own("failing").c_str(), VORN_SOCKET_ABSTRACT);
}

int open_tcp()
{
    return vorn_socket_get_tcp(0, 1);
}

INSTANTIATE_TEST_SUITE_P(Of, SocketFailures,
                         testing::Values(Kind{"unix", open_unix, true}, Kind{"tcp", open_tcp, true},
                                         Kind{"udp", vorn_socket_get_udp, false}),
                         [](const auto &each) { return std::string(each.param.name); });

/* A mode that can't be switched costs the caller its descriptor. */
class ModeFailures : public testing::TestWithParam<int> {};

TEST_P(ModeFailures, CloseTheDescriptor)
{
    CapturedStandardError errors;
    for (const auto switch_mode : {vorn_socket_set_nonblock, vorn_socket_set_block}) {
        const int descriptor = open("/dev/null", O_WRONLY);
        FakeCalls calls;
        calls.refused_fcntl = GetParam();

        EXPECT_EQ(switch_mode(descriptor), 1);

        EXPECT_EQ(close(descriptor), -1);
        EXPECT_EQ(errno, EBADF);
    }
    EXPECT_EQ(errors.text(),
              "vorn: fcntl: " + reason(EIO) + "\nvorn: fcntl: " + reason(EIO) + "\n");
}

INSTANTIATE_TEST_SUITE_P(Of, ModeFailures, testing::Values(F_GETFL, F_SETFL));

} // namespace
