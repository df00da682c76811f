/* SPDX-License-Identifier: MIT */
/* Everybody at the doors: whose turn it is, who has to go, and that nobody waits for another. */
#include "api/sockets/client.h"
#include "api/sockets/clients.h"
#include "core/base/limits.h"
#include "support/allocation.h"
#include "support/descriptors.h"
#include "support/log.h"
#include "support/reason.h"
#include "vorn/eloop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "door_loop.h"
#include "doors.h"

namespace {

using vorn::Client;
using vorn::Door;
using vorn::Fd;
using vorn::tests::AllocationsAllowed;
using vorn::tests::CapturedLog;
using vorn::tests::CapturedStandardError;
using vorn::tests::connect_to;
using vorn::tests::network_word;
using vorn::tests::own;
using vorn::tests::reason;
using vorn::tests::send_to;
using vorn::tests::word;

std::vector<std::string> served;
std::function<void(const std::string &)> within = [](const std::string &) {};

/* A request is its own reply; a number asks for so many bytes. */
void echo(Client &client, char *text)
{
    const AllocationsAllowed allowed;
    served.emplace_back(text);
    within(text);
    const std::size_t size = std::strtoul(text, nullptr, 10);
    client.reply(vorn::copy_of(size > 0 ? std::string(size, 'x').c_str() : text));
}

constexpr Door echoing = {"Test", "test accept", "test fcntl", 4, nullptr, false, echo};
constexpr Door echoing_on = {"Lasting", "test accept", "test fcntl", 8, nullptr, true, echo};

std::string framed(const std::string &text)
{
    return word(static_cast<std::uint32_t>(text.size())) + text;
}

std::string numbered(std::uint32_t number, const std::string &text)
{
    return network_word(number) + network_word(static_cast<std::uint32_t>(text.size())) + text;
}

class Doors : public testing::Test, protected vorn::tests::DoorLoop {
protected:
    Doors() : listener_(own("doors")), lasting_listener_(own("lasting_doors"))
    {
        served.clear();
        within = [](const std::string &) {};
        EXPECT_TRUE(vorn::look_after_clients());
        for (const auto &[name, at] :
             {std::pair(&listener_, &echoing), {&lasting_listener_, &echoing_on}})
            eloop_register_read_sock(name->fd.get(), arrive, const_cast<Door *>(at), nullptr);
    }
    static void arrive(int listener, void *at, void *)
    {
        vorn::take_client(listener, *static_cast<const Door *>(at));
    }

    static Fd come(const std::string &bytes = "")
    {
        Fd client = connect_to(own("doors"));
        EXPECT_EQ(send_to(client, bytes), bytes.size());
        return client;
    }
    static Fd stay(const std::string &bytes = "")
    {
        Fd client = connect_to(own("lasting_doors"));
        EXPECT_EQ(send_to(client, bytes), bytes.size());
        return client;
    }
    static std::vector<Fd> come(unsigned int count, const std::string &bytes)
    {
        std::vector<Fd> clients;
        for (unsigned int i = 0; i < count; i++) {
            clients.push_back(come(bytes));
            run();
        }
        return clients;
    }
    /* What is there to be read, and whether there will be no more. */
    static std::string heard(const Fd &client)
    {
        std::string text;
        char block[65536];
        ssize_t count;
        while ((count = recv(client.get(), block, sizeof block, MSG_DONTWAIT)) > 0)
            text.append(block, static_cast<std::size_t>(count));
        return text + (count == 0 ? "|" : "");
    }

    struct Name {
        explicit Name(const std::string &name) : fd(vorn_socket_get_unix(name.c_str(), 1)) {}
        Fd fd;
    };
    CapturedLog log{0};
    Name listener_;
    Name lasting_listener_;
};

TEST_F(Doors, ServeWhoeverIsCompleteWhileOthersAreSilent)
{
    const Fd silent = come();
    const Fd half = come(framed("half").substr(0, 5));
    run();

    const Fd client = come(framed("whole"));
    run();

    EXPECT_EQ(heard(client), "whole|");
    EXPECT_EQ(heard(silent), "");
    EXPECT_EQ(heard(half), "");
}

TEST_F(Doors, ServeInTheOrderInWhichRequestsBecameComplete)
{
    const Fd first = come(framed("first").substr(0, 5));
    const Fd second = come(framed("second").substr(0, 5));
    run();
    send_to(second, framed("second").substr(5));
    send_to(first, framed("first").substr(5));
    const Fd third = come(framed("third"));

    run();

    EXPECT_THAT(served, testing::ElementsAre("second", "first", "third"));
}

TEST_F(Doors, LetNobodyWhoWaitsBeOvertakenAgainAndAgain)
{
    const Fd staying = stay();
    run();
    std::vector<Fd> clients;
    for (int i = 0; i < 10; i++)
        clients.push_back(come(framed("comes")));
    for (std::uint32_t i = 0; i < 10; i++)
        send_to(staying, numbered(i, "stays"));

    run();

    const auto last = std::find(served.rbegin(), served.rend(), "comes");
    EXPECT_LE(std::count(last, served.rend(), "stays"), 2);
    EXPECT_EQ(served.size(), 20u);
}

TEST_F(Doors, ServeOneRequestInAPassOfEachDoor)
{
    const Fd silent = come();
    run();
    std::vector<Fd> clients;
    for (int i = 0; i < 3; i++)
        clients.push_back(come(framed("x")));

    for (std::size_t passes = 1; passes <= 3; passes++) {
        pass();
        EXPECT_LE(served.size(), 2 * passes);
    }
}

TEST_F(Doors, ServeOneRequestInAPassOfThoseWhoStay)
{
    const Fd silent = come();
    run();
    std::vector<Fd> clients;
    for (std::uint32_t i = 0; i < 6; i++)
        clients.push_back(stay(numbered(1, "x") + numbered(2, "y") + numbered(3, "z")));

    for (std::size_t passes = 1; passes <= 9; passes++) {
        pass();
        EXPECT_LE(served.size(), 2 * passes);
    }
    run();
    EXPECT_EQ(served.size(), 18u);
}

TEST_F(Doors, ServeOneRequestOfEachDoorAndOneMoreInAPass)
{
    const Fd silent = come();
    run();
    std::vector<Fd> clients;
    for (int i = 0; i < 6; i++) {
        clients.push_back(come(framed("x")));
        clients.push_back(stay(numbered(1, "y")));
    }

    for (std::size_t passes = 1; passes <= 4; passes++) {
        pass();
        EXPECT_LE(served.size(), 3 * passes);
    }
    run();
    EXPECT_EQ(served.size(), 12u);
}

/* Other C libraries than GNU's give it back by themselves. */
#ifdef __GLIBC__
constexpr int once = 1;
#else
constexpr int once = 0;
#endif

TEST_F(Doors, GiveBackTheMemoryOfALargeExchangeAtItsEnd)
{
    const Fd small = come(framed("small"));
    run();
    EXPECT_EQ(heard(small), "small|");
    EXPECT_EQ(calls.memory_given_back, 0);

    const Fd large = come(framed("70000"));
    run();
    EXPECT_EQ(heard(large).size(), 70001u);
    run();

    EXPECT_EQ(calls.memory_given_back, once);
}

TEST_F(Doors, GiveBackTheMemoryOfHalfRequestsOnceForAll)
{
    for (int i = 0; i < 3; i++) {
        const std::string whole = numbered(1, std::string(300000, 'x'));
        const Fd half = stay();
        for (std::size_t sent = 0; sent < 100000; sent += 10000) {
            send_to(half, whole.substr(sent, 10000));
            run();
        }
    }
    run();
    EXPECT_EQ(calls.memory_given_back, 0);

    wait(100);

    EXPECT_EQ(calls.memory_given_back, once);
    wait(100);
    EXPECT_EQ(calls.memory_given_back, once);
}

/* Many small halves leave as much as a large one. */
TEST_F(Doors, GiveBackTheMemoryOfSmallHalfRequests)
{
    const auto leave_halves = [](const std::function<Fd()> &arrive) {
        std::vector<Fd> halves;
        for (int i = 0; i < 10; i++) {
            halves.push_back(arrive());
            run();
        }
    };
    leave_halves([] { return stay(numbered(1, std::string(30000, 'x')).substr(0, 10000)); });
    run();
    wait(100);
    EXPECT_EQ(calls.memory_given_back, once);

    const Fd silent = come();
    leave_halves([] { return come(framed(std::string(30000, 'x')).substr(0, 10000)); });
    run();
    wait(100);
    EXPECT_EQ(served.size(), 10u) << "with what came";
    EXPECT_EQ(calls.memory_given_back, 2 * once);
}

TEST_F(Doors, GiveBackTheMemoryOfARequestWhileItsReplyIsNotTaken)
{
    const Fd deaf = come(framed("3000000"));
    run();

    EXPECT_EQ(calls.memory_given_back, once);
}

TEST_F(Doors, GiveBackTheMemoryOfThoseWhoStayWhenTheyAreSilent)
{
    const Fd large = stay(numbered(1, "70000"));
    run();
    EXPECT_EQ(heard(large).size(), 70008u);
    run();
    EXPECT_EQ(calls.memory_given_back, 0);
    const Fd silent = come(); /* whose deadline lets the clients be looked at */
    run();

    wait(200);

    EXPECT_EQ(calls.memory_given_back, once);
    EXPECT_EQ(heard(large), "");
}

TEST_F(Doors, GiveUpOnWhoTakesTooLong)
{
    const Fd early = come();
    run();
    wait(3000);
    const Fd late = come(framed("late").substr(0, 5));
    run();
    wait(1900);
    EXPECT_EQ(heard(early), "");

    wait(200);

    EXPECT_EQ(heard(early), "|");
    EXPECT_EQ(heard(late), "");
    EXPECT_EQ(log.take(), "vorn: Test client took too long to send its request.\n");
    wait(3000);
    EXPECT_EQ(heard(late), "|");
    EXPECT_EQ(log.take(), "vorn: Test client took too long to send its request.\n");
    wait(100);
    EXPECT_FALSE(someone_is_waited_for());
}

TEST_F(Doors, ServeWhoWasInTimeAlsoWhenTheyLookTooLate)
{
    const Fd client = come();
    run();
    send_to(client, framed("in time"));

    wait(6000);

    EXPECT_EQ(heard(client), "in time|");
    EXPECT_EQ(log.text(), "");
}

TEST_F(Doors, LetTheLoopGoOnBetweenThoseWhoLookTooLate)
{
    const std::vector<Fd> clients = come(4, "");
    for (const Fd &client : clients)
        send_to(client, framed("late"));
    calls.now_ms += 6000;

    call_on_time();

    EXPECT_EQ(served.size(), 1u);
    EXPECT_TRUE(someone_is_waited_for());
    run();
    EXPECT_EQ(served.size(), 4u);
    for (const Fd &client : clients)
        EXPECT_EQ(heard(client), "late|");
}

TEST_F(Doors, ServeOthersWhileSomebodyDoesNotTakeAReply)
{
    const Fd deaf = come(framed("3000000"));
    run();
    const Fd client = come(framed("hello"));
    run();

    EXPECT_EQ(heard(client), "hello|");
    EXPECT_GT(heard(deaf).size(), 1000u);
    wait(5100);
    EXPECT_EQ(log.text(), "vorn: Test client took too long to take its reply.\n");
}

TEST_F(Doors, SendTheRestOfAReplyAsItIsTaken)
{
    const Fd client = come(framed("3000000"));
    std::string text;
    while (text.empty() || text.back() != '|') {
        run();
        text += heard(client);
        ASSERT_FALSE(text.empty());
    }

    EXPECT_EQ(text, std::string(3000000, 'x') + "|");
    EXPECT_EQ(log.text(), "");
}

TEST_F(Doors, CloseTheOneThatWasSilentForLongestWhenTheyAreFull)
{
    std::vector<Fd> silent = come(vorn::most_clients, "");
    EXPECT_EQ(heard(silent[0]), "");
    send_to(silent[0], "x");
    run();

    const Fd client = come(framed("hello"));
    run();

    EXPECT_EQ(heard(client), "hello|");
    EXPECT_EQ(heard(silent[0]), "") << "it has just been heard";
    EXPECT_EQ(heard(silent[1]), "|");
    EXPECT_EQ(heard(silent[2]), "");
}

TEST_F(Doors, CloseNobodyWhoseRequestIsWholeWhenTheyAreFull)
{
    std::vector<Fd> clients = come(vorn::most_clients, "");
    for (const Fd &each : clients)
        send_to(each, framed("whole"));
    for (int i = 0; i < 10; i++)
        clients.push_back(come(framed("whole")));

    vorn::take_client(listener_.fd.get(), echoing);
    run();

    EXPECT_EQ(served.size(), vorn::most_clients + 10);
}

TEST_F(Doors, CloseWhoPoursOnAfterItsReplyForTheNextOne)
{
    const std::vector<Fd> clients =
        come(vorn::most_clients, framed("hello") + std::string(10000, 'y'));
    for (const Fd &each : clients)
        send_to(each, "and more");
    const Fd another = come(framed("another"));

    vorn::take_client(listener_.fd.get(), echoing);

    EXPECT_EQ(send_to(clients[0], "x"), 0u) << "it is still there";
    run();
    EXPECT_EQ(heard(another), "another|");
}

TEST_F(Doors, CloseSomebodyWhoStaysWhenAllOfThemAskOn)
{
    std::vector<Fd> clients;
    for (unsigned int i = 0; i < vorn::most_staying_clients; i++) {
        clients.push_back(stay());
        run();
    }
    for (const Fd &each : clients)
        send_to(each, numbered(1, "x"));

    const Fd another = stay(numbered(1, "another"));
    vorn::take_client(lasting_listener_.fd.get(), echoing_on);
    run();

    EXPECT_EQ(heard(clients[0]), "|");
    EXPECT_EQ(heard(another), numbered(1, "another"));
    EXPECT_EQ(served.size(), vorn::most_staying_clients);
}

TEST_F(Doors, CloseASilentOneRatherThanOneThatTakesItsReplyAndADeafOneRatherThanOneThatCame)
{
    const Fd slow = come(framed("3000000"));
    const Fd deaf = come(framed("3000000"));
    run();
    std::vector<Fd> silent = come(vorn::most_clients - 2, "");
    char sip[300000];
    EXPECT_GT(recv(slow.get(), sip, sizeof sip, 0), 0);
    run();

    const std::vector<Fd> others = come(2, "");

    EXPECT_THAT(heard(deaf), testing::EndsWith("|"));
    EXPECT_EQ(heard(silent[0]), "|");
    EXPECT_EQ(heard(silent[1]), "");
    EXPECT_THAT(heard(slow), testing::EndsWith("x"));
}

TEST_F(Doors, KeepNoMoreOfHalfRequestsThanTheirBound)
{
    const std::string part = word(vorn::longest_request) + std::string(130000, 'x');
    constexpr std::size_t each = 262144; /* memory grows in steps */
    std::vector<Fd> clients = come(vorn::most_half_requests / each, part);
    EXPECT_EQ(heard(clients[0]), "");

    const Fd one_more = come(part);
    run();

    EXPECT_EQ(heard(clients[0]), "|");
    EXPECT_EQ(heard(clients[1]), "");
    EXPECT_EQ(heard(one_more), "");
}

TEST_F(Doors, KeepNoMoreOfRepliesThanTheirBoundAndAlwaysOne)
{
    const Fd first = come(framed("20000000"));
    run();
    const Fd second = come(framed("20000000"));
    run();
    EXPECT_THAT(heard(first), testing::EndsWith("|"));
    const Fd third = come(framed("40000000"));
    run();

    EXPECT_THAT(heard(second), testing::EndsWith("|"));
    EXPECT_THAT(heard(third), testing::EndsWith("x"));
}

TEST_F(Doors, KeepThoseWhoStayForAsLongAsTheyLike)
{
    const Fd client = stay(numbered(1, "one"));
    run();
    EXPECT_EQ(heard(client), numbered(1, "one"));
    EXPECT_FALSE(someone_is_waited_for());
    wait(3600000);
    send_to(client, numbered(2, "two"));
    run();

    EXPECT_EQ(heard(client), numbered(2, "two"));
    send_to(client, numbered(3, "half").substr(0, 9));
    run();
    wait(5100);
    EXPECT_EQ(heard(client), "|");
    EXPECT_EQ(log.text(), "vorn: Lasting client took too long to send its request.\n");
}

TEST_F(Doors, CloseTheOneThatStaysAndWasIdleForLongestWhenTooManyDo)
{
    std::vector<Fd> idle;
    for (unsigned int i = 0; i < vorn::most_staying_clients; i++) {
        idle.push_back(stay());
        run();
    }
    send_to(idle[0], numbered(1, "one"));
    run();
    const Fd guest = come();

    const Fd client = stay(numbered(2, "two"));
    run();

    EXPECT_EQ(heard(client), numbered(2, "two"));
    EXPECT_EQ(heard(idle[0]), numbered(1, "one"));
    EXPECT_EQ(heard(idle[1]), "|");
    EXPECT_EQ(heard(idle[2]), "");
    EXPECT_EQ(heard(guest), "");
}

TEST_F(Doors, LetOneOfThoseWhoStayHaveManyRequestsOnlyInTurn)
{
    std::string many;
    for (std::uint32_t i = 0; i < 10; i++)
        many += numbered(i, "many");
    const Fd client = stay(many);
    const Fd other = stay(numbered(0, "other"));

    run();

    ASSERT_EQ(served.size(), 11u);
    EXPECT_LT(std::find(served.begin(), served.end(), "other") - served.begin(), 4);
}

TEST_F(Doors, CloseOneThatStaysAndAsksOnWithoutTakingReplies)
{
    std::string many;
    for (std::uint32_t i = 0; i < 2000; i++)
        many += numbered(i, "many");
    const Fd client = stay(many);
    run();
    const std::size_t before = served.size();
    EXPECT_LT(before, 2000u);

    wait(5100);

    EXPECT_EQ(served.size(), before);
    EXPECT_THAT(heard(client), testing::EndsWith("|"));
    EXPECT_EQ(log.text(), "vorn: Lasting client took too long to take its reply.\n");
}

TEST_F(Doors, ServeAClientInTheMiddleOfAnothersRequest)
{
    const Fd staying = stay(numbered(1, "outer") + numbered(2, "outer again"));
    Fd inner;
    within = [&](const std::string &text) {
        if (text != "outer") return;
        inner = come(framed("inner"));
        run();
        EXPECT_EQ(heard(inner), "inner|");
        const std::vector<Fd> silent = come(2 * vorn::most_staying_clients, "");
    };

    run();

    EXPECT_THAT(served, testing::ElementsAre("outer", "inner", "outer again"));
    EXPECT_EQ(heard(staying), numbered(1, "outer") + numbered(2, "outer again"));
}

TEST_F(Doors, AreNotWokenInTheMiddleOfARequestByItsOwnClient)
{
    const Fd silent = come();
    run();
    const Fd staying = stay(numbered(1, "outer") + numbered(2, std::string(2000, 'y')));
    within = [&](const std::string &text) {
        if (text == "outer") run(); /* comes to rest */
    };

    run();

    EXPECT_EQ(served.size(), 2u);
}

TEST_F(Doors, LeaveEverybodyButOneAloneWithoutMemory)
{
    Fd other;
    unsigned long refused = 0;
    vorn::tests::FailEachAllocation(
        [&] {
            Fd silent, client;
            {
                const AllocationsAllowed allowed;
                wait(5100);
                silent = come();
                other = stay(numbered(1, "before"));
            }
            run();
            {
                const AllocationsAllowed allowed;
                client = come(framed("hello"));
            }
            run();

            const AllocationsAllowed allowed;
            send_to(other, numbered(2, "after"));
            run();
            const std::string all = heard(client) + heard(other) + heard(silent);
            if (vorn::tests::AllocationFailed()) refused++;
            EXPECT_GE(std::count(all.begin(), all.end(), '|'), 1);
            EXPECT_LE(std::count(all.begin(), all.end(), '|'), 2);
            log.take();
        },
        4);
    EXPECT_GE(refused, 4u);
}

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

/* As a child holds it that is being forked meanwhile. */
TEST_F(Doors, AreNotWokenByOneWhoHasLeftThoughItsDescriptorIsHeldElsewhere)
{
    Fd client = come();
    const int next = dup(client.get());
    close(next);
    run();
    const Fd held(dup(next));

    client = Fd();
    run();

    EXPECT_FALSE(pass());
}

TEST_F(Doors, KeepNoDescriptor)
{
    run();
    const int before = vorn::tests::open_descriptors();
    {
        const Fd silent = come();
        const Fd staying = stay(numbered(1, "x"));
        const Fd client = come(framed("hello"));
        run();
        wait(5100);
    }
    run();

    EXPECT_EQ(vorn::tests::open_descriptors(), before);
}

/* The end of the daemon. */
TEST_F(Doors, SendAtTheEndWhatIsTakenAtOnce)
{
    const Fd silent = come();
    const Fd client = come(framed("300000"));
    run();
    std::string text;
    std::thread reader([&] { text = vorn::tests::receive_all(client); });

    vorn::end_clients();
    reader.join();

    EXPECT_EQ(text, std::string(300000, 'x'));
    EXPECT_EQ(heard(silent), "|");
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
