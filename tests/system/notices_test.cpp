/* SPDX-License-Identifier: MIT */
/* The notify port and the inform socket of a running daemon, with clients good and bad. */
#include "support/device.h"
#include "support/raw_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>

namespace {

using testing::HasSubstr;
using vorn::tests::Device;
using vorn::tests::native;
using vorn::tests::RawClient;

constexpr int port = 8001;
constexpr char inform_door[] = "vorn_sock_inform";

class NotifyPorts : public Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        install_plugin("board.vorn");
        install_plugin("save.vorn");
        write_file("/etc/config/config.xml", "<config/>");
        boot({"-f", "-d"});
    }

    static void change(const std::string &origin = "")
    {
        const std::string attribute = origin.empty() ? "" : " origin=\"" + origin + "\"";
        lsql("<lsql" + attribute + "><update><Board><label>x</label></Board></update></lsql>");
    }

    /*
     * Accepting takes one pass of the loop and the first byte another; a request that comes after
     * them is answered in the same pass at the earliest, so two of them see both done.
     */
    static void settle()
    {
        lsql("<lsql/>");
        lsql("<lsql/>");
    }

    /* So little that the kernel keeps for a connection that a few notices fill it. */
    static void let_connections_hold_little()
    {
        write_file("/proc/sys/net/ipv4/tcp_wmem", "4096 8192 8192");
        write_file("/proc/sys/net/ipv4/tcp_rmem", "4096 8192 8192");
    }

    static void subscribe(RawClient &client)
    {
        client.send("x");
        settle();
    }

    static std::string notice(const std::string &text)
    {
        return "<?xml version=\"1.0\"?>" + text + "\n" + std::string(1, '\0');
    }

    static int number_in(const std::string &text)
    {
        const auto behind_tag = text.find("\">");
        return behind_tag == std::string::npos ? -1 : std::atoi(text.c_str() + behind_tag + 2);
    }

    int resident_kib()
    {
        return std::stoi(
            shell("sed -n 's/^VmRSS: *//p' /proc/" + std::to_string(daemon_pid()) + "/status"));
    }

    static std::string next(RawClient &client)
    {
        return client.receive_until(std::string(1, '\0'));
    }
};

TEST_F(NotifyPorts, TellWhoSentAByte)
{
    RawClient silent(port);
    settle();
    RawClient subscriber(port);
    subscribe(subscriber);

    change("cli");
    change();

    EXPECT_EQ(next(subscriber), notice("<conf_changed origin=\"cli\">2</conf_changed>"));
    EXPECT_EQ(next(subscriber), notice("<conf_changed>3</conf_changed>"));
    subscribe(silent);
    change();
    EXPECT_EQ(next(silent), notice("<conf_changed>4</conf_changed>"));
}

TEST_F(NotifyPorts, DropTheNinthAndKeepTheEight)
{
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 8; i++) {
        clients.push_back(std::make_unique<RawClient>(port));
        subscribe(*clients.back());
    }

    RawClient ninth(port);
    ninth.send("x");

    EXPECT_TRUE(ninth.closed_within(20));
    EXPECT_TRUE(console_shows("vorn: Unable to add notify connection.\n"));
    change();
    for (auto &client : clients) {
        EXPECT_EQ(next(*client), notice("<conf_changed>2</conf_changed>"));
    }
}

TEST_F(NotifyPorts, ReuseASlotAfterAClose)
{
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 8; i++) {
        clients.push_back(std::make_unique<RawClient>(port));
        subscribe(*clients.back());
    }
    clients.front().reset();
    ASSERT_TRUE(console_shows("vorn: Notify connection ended (fd "));

    RawClient late(port);
    subscribe(late);
    change();

    EXPECT_EQ(next(late), notice("<conf_changed>2</conf_changed>"));
}

TEST_F(NotifyPorts, LeaveDescriptorsForOthersHoweverManyConnect)
{
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 64; i++)
        clients.push_back(std::make_unique<RawClient>(port));
    settle();

    RawClient late(port);
    EXPECT_TRUE(late.closed_within(20));
    EXPECT_TRUE(console_shows("vorn: Unable to add notify connection.\n"));

    clients.pop_back();
    ASSERT_TRUE(console_shows("vorn: Notify connection ended (fd "));
    RawClient subscriber(port);
    subscribe(subscriber);
    change();
    EXPECT_EQ(next(subscriber), notice("<conf_changed>2</conf_changed>"));
}

TEST_F(NotifyPorts, OutliveAReset)
{
    RawClient rude(port);
    subscribe(rude);

    rude.reset();

    EXPECT_TRUE(console_shows("vorn: Notify connection ended (fd "));
    change();
    EXPECT_THAT(lsql("<lsql><select><Board/></select></lsql>"), HasSubstr("<rc>0</rc>"));
}

TEST_F(NotifyPorts, EndAHalfClosedConnection)
{
    RawClient half(port);
    subscribe(half);

    half.half_close();

    EXPECT_TRUE(half.closed_within(20));
}

TEST_F(NotifyPorts, AreNotHeldUpByASubscriberThatNeverReads)
{
    let_connections_hold_little();
    RawClient deaf(port);
    subscribe(deaf);
    RawClient subscriber(port);
    subscribe(subscriber);
    const std::string origin(1000, 'o');

    for (int i = 0; i < 400; i++) {
        change(origin);
        ASSERT_THAT(next(subscriber), HasSubstr("conf_changed")) << i;
    }
}

/* Some get lost while nobody reads; what arrives is whole, and in order. */
TEST_F(NotifyPorts, SendWholeNoticesToASubscriberThatReadsAgain)
{
    let_connections_hold_little();
    RawClient lazy(port);
    subscribe(lazy);
    const std::string origin(1000, 'o');
    for (int i = 0; i < 300; i++)
        change(origin);

    int received = 0;
    int number = 1;
    while (number <= 301) {
        change(origin);
        const std::string text = next(lazy);
        const int earlier = std::exchange(number, number_in(text));
        ASSERT_EQ(text, notice("<conf_changed origin=\"" + origin + "\">" + std::to_string(number) +
                               "</conf_changed>"));
        ASSERT_GT(number, earlier);
        received++;
    }
    EXPECT_LT(received, 300);
}

/* The sanitizer would keep what is freed. */
void without_quarantine()
{
    setenv("ASAN_OPTIONS", "quarantine_size_mb=0:thread_local_quarantine_size_kb=0", 1);
}

TEST_F(NotifyPorts, CostNoMemoryForASubscriberThatNeverReads)
{
    shut_down();
    let_connections_hold_little();
    boot({"-f"}, without_quarantine);
    RawClient deaf(port);
    subscribe(deaf);
    const std::string origin(1000, 'o');
    for (int i = 0; i < 100; i++)
        change(origin);
    const int before = resident_kib();

    for (int i = 0; i < 3000; i++)
        change(origin);

    EXPECT_LT(resident_kib() - before, 2000);
}

TEST_F(NotifyPorts, AreNotHeldUpByASubscriberThatWritesForEver)
{
    RawClient talker(port);
    subscribe(talker);
    fcntl(talker.descriptor(), F_SETFL, O_NONBLOCK);
    const std::string noise(100000, 'n');

    for (int i = 0; i < 50; i++) {
        talker.send(noise);
        change();
    }

    EXPECT_THAT(lsql("<lsql><select><Board/></select></lsql>"), HasSubstr("<rc>0</rc>"));
}

TEST_F(NotifyPorts, ListenOnTheLoopbackAddressOnly)
{
    EXPECT_EQ(
        shell("grep ':1F41 00000000:0000 0A' /proc/net/tcp | grep -cE '(0100007F|7F000001):1F41'"),
        "1\n");
}

class InformSockets : public Device {
protected:
    void start_board(const char *plugin)
    {
        if (plugin) install_plugin(plugin);
        write_file("/etc/config/config.xml", "<config/>");
        boot();
    }

    static std::string ask(const std::string &body)
    {
        RawClient client(inform_door);
        client.send(native(0) + native(static_cast<std::uint32_t>(body.size())) + body);
        return client.receive_all();
    }
};

TEST_F(InformSockets, CallTheHandlerAndAnswer)
{
    start_board("rescan.vorn");

    EXPECT_EQ(ask("object=radio&action=now"), "OK\n");
    EXPECT_EQ(ask("object=radio&action=fail"), "ERR returned by handler\n");
    EXPECT_EQ(ask("action=now"), "ERR no object parameter\n");
    EXPECT_EQ(ask("object=toaster"), "ERR no handler\n");
    EXPECT_EQ(ask("object=radio&"), "OK\n");

    EXPECT_THAT(console(), HasSubstr("vorn: rescan: now\nvorn: rescan: fail\n"
                                     "vorn: Bad inform request.\nvorn: rescan: (none)\n"));
}

TEST_F(InformSockets, AnswerBeforeAnyHandlerExists)
{
    start_board(nullptr);

    EXPECT_EQ(ask("object=radio"), "ERR no handler\n");
}

TEST_F(InformSockets, RefuseAnotherVersion)
{
    start_board("rescan.vorn");
    RawClient client(inform_door);
    client.send(native(1) + native(12) + "object=radio");

    EXPECT_EQ(client.receive_all(), "");
    EXPECT_TRUE(console_shows("vorn: Inform version number unrecognized.\n"));
}

TEST_F(InformSockets, AnswerNothingToNothing)
{
    start_board("rescan.vorn");
    RawClient empty(inform_door);
    empty.send(native(0) + native(0));
    RawClient gone(inform_door);
    gone.half_close();

    EXPECT_EQ(empty.receive_all(), "");
    EXPECT_EQ(gone.receive_all(), "");
}

TEST_F(InformSockets, AnswerABodyOfWhichTheEndIsMissing)
{
    start_board("rescan.vorn");
    RawClient client(inform_door);
    client.send(native(0) + native(100) + "object=radio");
    client.half_close();

    EXPECT_EQ(client.receive_all(), "OK\n");
}

TEST_F(InformSockets, RefuseABodyThatIsTooLong)
{
    start_board("rescan.vorn");
    RawClient client(inform_door);
    client.send(native(0) + native((16u << 20) + 1));

    EXPECT_EQ(client.receive_all(), "");
    EXPECT_TRUE(console_shows("vorn: inform request of 16777217 bytes is too long.\n"));
}

TEST_F(InformSockets, GiveUpOnAClientThatSaysNothing)
{
    start_board("rescan.vorn");
    RawClient silent(inform_door);

    EXPECT_TRUE(silent.closed_within(20));
    EXPECT_EQ(ask("object=radio"), "OK\n");
}

} // namespace
