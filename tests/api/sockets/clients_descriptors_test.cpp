/* SPDX-License-Identifier: MIT */
/* How clients arrive, also when no descriptor is left. */
#include "api/sockets/clients.h"
#include "support/descriptors.h"
#include "support/log.h"
#include "support/reason.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <string>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "clients_fixture.h"

namespace {

using namespace vorn::tests;
using vorn::Fd;

TEST_F(Doors, LeaveDescriptorsToTheWorkAlsoWhenEverybodyStays)
{
    const Fd first = stay();
    const Fd second = stay();
    run();
    rlimit before;
    getrlimit(RLIMIT_NOFILE, &before);
    const int next = dup(first.get());
    close(next);
    const rlimit few = {static_cast<rlim_t>(next + 1 + 16), before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);

    const Fd third = stay();
    run();

    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(heard(first), "|");
    EXPECT_EQ(heard(second), "");
    EXPECT_EQ(heard(third), "");
}

TEST_F(Doors, TakeTheirReserveAgainWhenItHasServed)
{
    run();
    const int before = vorn::tests::open_descriptors();
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    {
        const Fd client = come(framed("hello"));
        const int next = dup(client.get());
        close(next);
        const rlimit none_left = {static_cast<rlim_t>(next), limit.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none_left);

        run();

        setrlimit(RLIMIT_NOFILE, &limit);
        EXPECT_EQ(heard(client), "hello|");
    }
    EXPECT_EQ(vorn::tests::open_descriptors(), before);
}

int lowest_free_descriptor()
{
    const int next = dup(STDERR_FILENO);
    close(next);
    return next;
}

/* As many descriptors as there are now, and no more. */
class NoMoreDescriptors {
public:
    explicit NoMoreDescriptors(int end = lowest_free_descriptor())
    {
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit none_left = {static_cast<rlim_t>(end), before_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none_left);
    }
    NoMoreDescriptors(const NoMoreDescriptors &) = delete;
    ~NoMoreDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }

private:
    rlimit before_ = {};
};

TEST_F(Doors, TakeAClientWithTheReserveWhileAnotherIsThere)
{
    const Fd silent = come();
    run();
    const Fd client = come(framed("hello"));
    {
        const NoMoreDescriptors until_it_is_served;
        run();
    }
    EXPECT_EQ(heard(client), "hello|");
}

TEST_F(Doors, TakeAClientInThePlaceOfTheOneWhoHasTheReserve)
{
    const Fd silent = come();
    const Fd client = come(framed("hello"));
    {
        const NoMoreDescriptors until_it_is_served;
        run();
    }
    EXPECT_EQ(heard(silent), "|");
    EXPECT_EQ(heard(client), "hello|");
}

/* The kernel's last one went to another program, or the limit has sunk below the reserve's number.
 */
TEST_F(Doors, TakeAClientWithTheDescriptorOfTheMostSilentWhenTheReserveDoesNotHelp)
{
    vorn::end_clients();
    const int for_the_silent = dup(STDERR_FILENO);
    ASSERT_TRUE(vorn::look_after_clients());
    const Fd silent = come();
    close(for_the_silent);
    run();
    const Fd client = come(framed("hello"));
    {
        const NoMoreDescriptors than_those_until(for_the_silent + 1);
        run();
    }
    EXPECT_EQ(heard(silent), "|");
    EXPECT_EQ(heard(client), "hello|");
}

class Arrivals : public Doors {
protected:
    CapturedStandardError errors;
};

TEST_F(Arrivals, AreMarkedCloseOnExec)
{
    const Fd clients[] = {come(), come(), come()};
    run();

    for (int descriptor = 0; descriptor < 1024; descriptor++) {
        sockaddr_un peer = {};
        socklen_t size = sizeof peer;
        int type = 0;
        socklen_t type_size = sizeof type;
        if (std::any_of(std::begin(clients), std::end(clients),
                        [&](const Fd &client) { return descriptor == client.get(); }) ||
            getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &type_size) != 0 ||
            getpeername(descriptor, reinterpret_cast<sockaddr *>(&peer), &size) != 0) {
            continue;
        }
        EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC) << descriptor;
    }
}

TEST_F(Arrivals, ThatFailAreReported)
{
    const Fd no_listener(socket(AF_UNIX, SOCK_STREAM, 0));

    vorn::take_client(no_listener.get(), echoing);

    EXPECT_EQ(errors.text(), "vorn: test accept: Invalid argument\n");
}

TEST_F(Arrivals, CannotBeWaitedForWithoutADescriptorForThat)
{
    vorn::end_clients();
    {
        const NoMoreDescriptors left;
        EXPECT_FALSE(vorn::look_after_clients());
    }
    EXPECT_EQ(errors.text(), "vorn: epoll_create1: " + reason(EMFILE) + "\n");
    EXPECT_TRUE(vorn::look_after_clients());
}

/* What would fail the same way at once, for ever, would keep the daemon from everything else. */
TEST_F(Arrivals, ThatWillFailAgainRestAndThoseWithoutAClientDoNot)
{
    const Name nobody_there(own("rest"));
    const Fd no_listener(socket(AF_UNIX, SOCK_STREAM, 0));
    const auto ignore = [](int, void *, void *) {};
    const auto before = static_cast<std::size_t>(vorn::eloop_data.reader_count);
    eloop_register_read_sock(nobody_there.fd.get(), ignore, nullptr, nullptr);
    eloop_register_read_sock(no_listener.get(), ignore, nullptr, nullptr);

    EXPECT_EQ(vorn::accept_or_rest(nobody_there.fd.get()), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(vorn::accept_or_rest(no_listener.get()), -1);
    EXPECT_EQ(errno, EINVAL);

    EXPECT_FALSE(vorn::eloop_data.readers[before].rests);
    EXPECT_TRUE(vorn::eloop_data.readers[before + 1].rests);
}

TEST_F(Arrivals, ThatCannotBeMarkedAreReportedAndClosed)
{
    const Fd client = come(framed("hello"));
    calls.refused_fcntl = F_SETFD;

    run();

    EXPECT_EQ(errors.text(), "vorn: test fcntl: " + reason(EIO) + "\n");
    EXPECT_TRUE(served.empty());
    calls.refused_fcntl = -1;
}

} // namespace
