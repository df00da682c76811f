/* SPDX-License-Identifier: MIT */
/* The client as people use it: what goes to the daemon as it is, and what can go wrong. */
#include "support/raw_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include <unistd.h>

#include "vornctl_device.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;
using vorn::tests::vornctl_config;

class Clients : public vorn::tests::VornctlDevice {
protected:
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

    EXPECT_EQ(query("<get_conf/>"), std::string(vornctl_config) + "[0]\n");
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
    const std::string more = "\nRun with --help for more information.\n";

    EXPECT_EQ(vornctl(""), "[2]\nA subcommand is required" + more);
    EXPECT_EQ(vornctl("dance"),
              "[2]\nvornctl: unknown command \"dance\"; vornctl --help lists them\n");
    EXPECT_EQ(vornctl("query"), "[2]\nFILE is required" + more);
    EXPECT_EQ(vornctl("query a b"), "[2]\nThe following argument was not expected: b" + more);
    EXPECT_EQ(vornctl("query /no/such/file"),
              "[2]\nvornctl: /no/such/file: No such file or directory\n");
    EXPECT_EQ(vornctl("query /tmp"), "[2]\nvornctl: /tmp: Is a directory\n");
    EXPECT_EQ(vornctl("query /dev/null"), "[2]\nvornctl: /dev/null: the request is empty\n");
    EXPECT_EQ(vornctl("inform"), "[2]\nOBJECT is required" + more);
    EXPECT_EQ(vornctl("inform radio now"),
              "[2]\nvornctl: a parameter is name=value without \"&\"\n");
    EXPECT_EQ(vornctl("inform 'a&b'"), "[2]\nvornctl: an object has a name without \"&\"\n");
    EXPECT_EQ(vornctl("watch never"), "[2]\nCOUNT: Value never not in range 1 to 1000000" + more);
    EXPECT_EQ(vornctl("watch 0"), "[2]\nCOUNT: Value 0 not in range 1 to 1000000" + more);
    EXPECT_THAT(vornctl("--json --xml list"), StartsWith("[2]\n"));
    EXPECT_THAT(vornctl("--color blue list"), StartsWith("[2]\n--color: "));
    EXPECT_THAT(vornctl("--timeout 0 list"), StartsWith("[2]\n--timeout: "));
}

TEST_F(Clients, EndWithTwoWhenNobodyTakesTheirOutput)
{
    boot();

    EXPECT_EQ(vornctl("show Radio >/dev/full"), "[2]\nvornctl: the output can't be written\n");
}

TEST_F(Clients, EndWithThreeWithoutADaemon)
{
    const char *answer =
        "[3]\nvornctl: no daemon is listening on this machine (Connection refused)\n";

    EXPECT_EQ(query("<lsql/>"), answer);
    for (const char *command : {"inform radio", "watch", "list", "show Radio", "set Radio a=b",
                                "startup", "diff", "export"}) {
        EXPECT_EQ(vornctl(command), answer) << command;
    }
}

TEST_F(Clients, EndWithThreeWhenTheDaemonTakesTooLong)
{
    const vorn::tests::Listener silent("vorn_sock_lsql");

    EXPECT_EQ(vornctl("--timeout 0.1 list"), "[3]\nvornctl: the daemon did not answer in time\n");
}

TEST_F(Clients, EndWithFourWithoutAnAnswer)
{
    boot();

    EXPECT_EQ(query("no XML"), "[4]\nvornctl: no answer: the request is not well-formed XML\n");
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
class Watchers : public Clients {
protected:
    /* What `vornctl ARGUMENTS` prints while changes are made that way. */
    std::string watch(const std::string &arguments, const std::string &request)
    {
        std::string seen;
        std::atomic<bool> done = false;
        std::thread watcher([&] {
            seen = vornctl(arguments);
            done = true;
        });
        EXPECT_TRUE(comes_true([&] {
            lsql(request);
            return done.load();
        }));
        watcher.join();
        return seen;
    }

    static constexpr char change[] =
        "<lsql origin=\"me\"><update><Radio><mode>g</mode></Radio></update></lsql>";
};

TEST_F(Watchers, TellWhatChangedAndWho)
{
    boot();

    EXPECT_THAT(watch("watch 2", change),
                MatchesRegex("([0-9:]+  configuration changed \\([0-9]+\\) by me\n){2}\\[0\\]\n"));
}

TEST_F(Watchers, TellProgramsTheSame)
{
    boot();

    EXPECT_THAT(
        watch("--json watch 1", change),
        MatchesRegex("\\{\"event\":\"conf_changed\",\"origin\":\"me\",\"number\":[0-9]+\\}\n"
                     "\\[0\\]\n"));
    EXPECT_THAT(watch("--xml watch 1", change),
                MatchesRegex("<\\?xml version=\"1.0\"\\?><conf_changed origin=\"me\">[0-9]+"
                             "</conf_changed>\n\\[0\\]\n"));
}

TEST_F(Watchers, NameTheClientThatMadeAChange)
{
    boot();
    const auto seen_of = [&](const std::string &command) {
        std::string seen;
        std::atomic<bool> done = false;
        std::thread watcher([&] {
            seen = vornctl("watch 1");
            done = true;
        });
        while (!done)
            shell("vornctl " + command);
        watcher.join();
        return seen;
    };

    EXPECT_THAT(seen_of("set Radio r0 mode=g"), HasSubstr(" by vornctl\n"));
    EXPECT_THAT(seen_of("--origin me set Radio r0 mode=g"), EndsWith(" by me\n[0]\n"));
    EXPECT_THAT(seen_of("--origin '' set Radio r0 mode=g"), EndsWith(")\n[0]\n"));
}

TEST_F(Watchers, TellOfNoOriginWhenThereIsNone)
{
    boot();

    EXPECT_THAT(
        watch("--json watch 1", "<lsql><update><Radio><mode>g</mode></Radio></update></lsql>"),
        MatchesRegex("\\{\"event\":\"conf_changed\",\"number\":[0-9]+\\}\n\\[0\\]\n"));
}

/* Notices are not escaped: what a plugin says in one may be anything. */
TEST_F(Watchers, DoNotLetANoticeDriveTheTerminal)
{
    vorn::tests::Listener daemon(8001);
    std::string seen;
    std::thread watcher([&] { seen = vornctl("watch 2"); });
    const int client = daemon.accept_client();
    constexpr char notices[] = "<a \033[2J\n\0"
                               "<object_changed><Radio name=\"r\"><mode>a\nb</mode></Radio>"
                               "</object_changed>\n";
    EXPECT_EQ(write(client, notices, sizeof notices), ssize_t{sizeof notices});

    watcher.join();
    close(client);
    EXPECT_THAT(seen, MatchesRegex("<a \\[2J\n[0-9:]+  Radio \"r\" mode = a\\\\nb\n\\[0\\]\n"));
}

TEST_F(Watchers, EndWithTheDaemonWhenTheyAreToldTo)
{
    boot({"-f", "-d"});
    std::string seen;
    std::thread watcher([&] { seen = vornctl("watch --once"); });
    EXPECT_TRUE(console_shows("vorn: Notify connection started"));

    shut_down();

    watcher.join();
    EXPECT_EQ(seen, "[4]\nvornctl: the daemon dropped the connection\n");
}

TEST_F(Watchers, WaitForTheNextDaemon)
{
    boot({"-f", "-d"});
    std::string seen;
    std::atomic<bool> done = false;
    std::thread watcher([&] {
        seen = vornctl("--json watch 1");
        done = true;
    });
    EXPECT_TRUE(console_shows("vorn: Notify connection started"));
    shut_down();

    boot();
    EXPECT_TRUE(comes_true([&] {
        lsql(change);
        return done.load();
    }));

    watcher.join();
    EXPECT_THAT(seen,
                MatchesRegex("\\{.*\\}\n\\[0\\]\nvornctl: the daemon is gone; waiting for it\n"
                             "vornctl: the daemon is back\n"));
}

TEST_F(Clients, ExplainThemselves)
{
    EXPECT_THAT(vornctl("--help"), HasSubstr("\n4 connection closed without an answer"));
    EXPECT_THAT(vornctl("set --help"), HasSubstr("give instances new values"));
    EXPECT_THAT(vornctl("--version"), MatchesRegex("vornctl [0-9.]+\n\\[0\\]\n"));
}

} // namespace
