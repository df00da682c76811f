/* SPDX-License-Identifier: MIT */
/* The client as people use it, and the exchanges it is made of. */
#include "support/device.h"
#include "support/raw_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include <unistd.h>

#include "client/wire.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using vorn::client::Exchange;
using vorn::client::exchange_lsql;
using vorn::client::Failure;
using vorn::tests::Listener;

constexpr char config[] = "<config><Radio name=\"r0\"><channel>6</channel></Radio></config>";

class Clients : public vorn::tests::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        for (const char *name : {"board.vorn", "rescan.vorn", "save.vorn"})
            install_plugin(name);
        write_file("/etc/config/config.xml", config);
    }

    /* Standard output, then the exit status in a line of its own, then standard error. */
    static std::string vornctl(const std::string &arguments)
    {
        return shell(std::string(VORN_CLIENT) + " " + arguments +
                     " 2>/tmp/vornctl.err; echo \"[$?]\"; cat /tmp/vornctl.err");
    }

    /* The same for a query with the request on standard input. */
    static std::string query(const std::string &request)
    {
        write_file("/tmp/request", request);
        return vornctl("query - </tmp/request");
    }
};

TEST_F(Clients, PrintTheReplyAndEndWithZeroWhenAllIsDone)
{
    boot();

    EXPECT_EQ(query("<lsql><select><Radio><channel/></Radio></select></lsql>"),
              "<?xml version=\"1.0\"?>\n<lsql_result><dataset><Radio name=\"r0\"><channel>6"
              "</channel></Radio></dataset><rc>0</rc><counter>1</counter></lsql_result>\n[0]\n");
    EXPECT_THAT(vornctl("query /tmp/request"), EndsWith("</lsql_result>\n[0]\n"));
}

TEST_F(Clients, EndWithOneWhenAnyOperationFailed)
{
    boot();

    EXPECT_THAT(query("<lsql><update><nothing/></update><select><Radio/></select></lsql>"),
                EndsWith("</lsql_result>\n[1]\n"));
}

TEST_F(Clients, EndWithOneForARequestThatIsNone)
{
    boot();

    EXPECT_THAT(query("<sql/>"),
                HasSubstr("<error>Top level name is not lsql.</error><rc>1</rc><counter>0</counter>"
                          "</lsql_result>\n[1]\n"));
}

TEST_F(Clients, GiveTheSavedConfiguration)
{
    boot();

    EXPECT_EQ(query("<get_conf/>"), std::string(config) + "[0]\n");
}

TEST_F(Clients, EndWithOneWhenNothingWasSaved)
{
    boot();
    unlink("/etc/config/config.xml");

    EXPECT_EQ(query("<get_conf/>"),
              "<?xml version=\"1.0\"?><error>Can't read config file.</error>\n[1]\n");
}

TEST_F(Clients, EndWithTwoWhenTheyAreMisused)
{
    EXPECT_THAT(vornctl(""), StartsWith("[2]\nusage: vornctl COMMAND"));
    EXPECT_EQ(vornctl("dance"),
              "[2]\nvornctl: unknown command \"dance\"; vornctl help lists them\n");
    EXPECT_EQ(vornctl("query"), "[2]\nusage: vornctl query FILE|-\n");
    EXPECT_EQ(vornctl("query a b"), "[2]\nusage: vornctl query FILE|-\n");
    EXPECT_EQ(vornctl("query /no/such/file"),
              "[2]\nvornctl: /no/such/file: No such file or directory\n");
    EXPECT_EQ(vornctl("query /dev/null"), "[2]\nvornctl: /dev/null: the request is empty\n");
    EXPECT_EQ(vornctl("inform"), "[2]\nusage: vornctl inform OBJECT [NAME=VALUE...]\n");
    EXPECT_EQ(vornctl("inform radio now"),
              "[2]\nvornctl: \"now\" is not NAME=VALUE, or holds a \"&\"\n");
    EXPECT_EQ(vornctl("inform radio 'action=a&b'"),
              "[2]\nvornctl: \"action=a&b\" is not NAME=VALUE, or holds a \"&\"\n");
    EXPECT_EQ(vornctl("watch never"), "[2]\nusage: vornctl watch [COUNT]\n");
    EXPECT_EQ(vornctl("watch 0"), "[2]\nusage: vornctl watch [COUNT]\n");
}

TEST_F(Clients, EndWithThreeWithoutADaemon)
{
    const char *answer =
        "[3]\nvornctl: no daemon is listening on this machine (Connection refused)\n";

    EXPECT_EQ(query("<lsql/>"), answer);
    EXPECT_EQ(vornctl("inform radio"), answer);
    EXPECT_EQ(vornctl("watch"), answer);
}

TEST_F(Clients, EndWithFourWithoutAnAnswer)
{
    boot();

    EXPECT_EQ(query("no XML"), "[4]\nvornctl: no answer: the request is not well-formed XML\n");
}

TEST_F(Clients, EndWithFourWhenTheConnectionIsDropped)
{
    boot();

    EXPECT_EQ(query(std::string((16u << 20) + 1, ' ')),
              "[4]\nvornctl: the daemon dropped the connection\n");
}

TEST_F(Clients, InformPluginsAndPrintTheirAnswer)
{
    boot();

    EXPECT_EQ(vornctl("inform radio action=now"), "OK\n[0]\n");
    EXPECT_EQ(vornctl("inform radio 'action=a=b c'"), "OK\n[0]\n");
    EXPECT_EQ(vornctl("inform radio action=fail"), "ERR returned by handler\n[1]\n");
    EXPECT_EQ(vornctl("inform toaster"), "ERR no handler\n[1]\n");
    EXPECT_THAT(console(),
                HasSubstr("vorn: rescan: now\nvorn: rescan: a=b c\nvorn: rescan: fail\n"));
}

/* Nothing tells when the watcher's first byte has subscribed it, so changes come until it ends. */
TEST_F(Clients, WatchUntilTheyHaveSeenEnough)
{
    boot();
    const std::string change = "<update><Radio><mode>g</mode></Radio></update></lsql>";
    std::string seen;
    std::atomic<bool> done = false;
    std::thread watcher([&] {
        seen = vornctl("watch 2");
        done = true;
    });

    EXPECT_TRUE(comes_true([&] {
        lsql("<lsql origin=\"a\">" + change);
        lsql("<lsql>" + change);
        return done.load();
    }));

    watcher.join();
    const std::string head = "<\\?xml version=\"1.0\"\\?>";
    const std::string known = head + "<conf_changed origin=\"a\">[0-9]+</conf_changed>\n";
    const std::string unknown = head + "<conf_changed>[0-9]+</conf_changed>\n";
    EXPECT_THAT(
        seen, testing::MatchesRegex("(" + known + unknown + "|" + unknown + known + ")\\[0\\]\n"));
}

TEST_F(Clients, StopWatchingWhenTheDaemonEnds)
{
    boot({"-f", "-d"});
    std::string seen;
    std::thread watcher([&] { seen = vornctl("watch"); });
    EXPECT_TRUE(console_shows("vorn: Notify connection started"));

    shut_down();

    watcher.join();
    EXPECT_EQ(seen, "[4]\nvornctl: the daemon dropped the connection\n");
}

TEST_F(Clients, ExplainThemselves)
{
    EXPECT_THAT(vornctl("help"), StartsWith("usage: vornctl COMMAND"));
    EXPECT_THAT(vornctl("--help"), EndsWith("4 no answer.\n[0]\n"));
}

TEST_F(Clients, WaitNoLongerThanTheirLimit)
{
    const Listener silent("vorn_sock_lsql");

    EXPECT_EQ(exchange_lsql("<lsql/>", 1).failure, Failure::too_slow);
    EXPECT_EQ(exchange_lsql(std::string(4 << 20, ' '), 1).failure, Failure::too_slow);
}

TEST_F(Clients, TakeWhatWasSaidBeforeAnEarlyEnd)
{
    Listener early("vorn_sock_lsql");
    std::thread daemon([&] {
        const int client = early.accept_client();
        EXPECT_EQ(write(client, "no", 2), 2);
        close(client);
    });

    const Exchange exchange = exchange_lsql(std::string(4 << 20, ' '), 20);

    daemon.join();
    EXPECT_EQ(exchange.reply, "no");
}

} // namespace
