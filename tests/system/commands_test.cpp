/* SPDX-License-Identifier: MIT */
/* Commands and services, run by the daemon as it is: with its reaper and its two-second tick. */
#include "support/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

class Commands : public vorn::tests::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        install_plugin("commands.vorn");
        write_file(startup, "<config/>");
    }

    static void tell(const std::string &verb, const std::string &argument)
    {
        lsql("<lsql><update><Commands><" + verb + ">" + argument + "</" + verb +
             "></Commands></update></lsql>");
    }

    static constexpr char startup[] = "/etc/config/config.xml";
};

TEST_F(Commands, KeepTheirStatusWhileOtherChildrenEnd)
{
    boot();

    for (int round = 1; round <= 10; round++) {
        tell("serve", "exit 0");
        tell("run", "sleep 0.02; exit 3");
        ASSERT_TRUE(console_shows("vorn: commands: run 768\n", round));
    }
}

TEST_F(Commands, KeepTheirStatusDuringTheBootWhereTheReaperRunsAtOnce)
{
    write_file(startup, "<config><Commands><serve>exit 0</serve>"
                        "<run>sleep 0.1; exit 3</run></Commands></config>");

    boot();

    EXPECT_THAT(console(), HasSubstr("vorn: commands: serve 0\nvorn: commands: run 768\n"));
}

TEST_F(Commands, TellTheSignalThatEndedThem)
{
    boot();

    tell("run", "kill -9 $$");

    EXPECT_TRUE(console_shows("vorn: commands: run 9\n"));
}

TEST_F(Commands, AreSilentWithoutDebugging)
{
    boot();

    tell("run", "echo out; echo err &gt;&amp;2");

    EXPECT_TRUE(console_shows("vorn: commands: run 0\n"));
    EXPECT_EQ(standard_error(), "vorn: /dev/vorn_watchdog_ack stat: No such file or directory\n");
    EXPECT_THAT(console(), Not(HasSubstr("Running")));
}

TEST_F(Commands, AreHeardWithDebugging)
{
    boot({"-f", "-d"});

    tell("run", "echo out; echo err &gt;&amp;2");

    EXPECT_TRUE(console_shows("vorn: commands: run 0\n"));
    EXPECT_THAT(standard_error(), EndsWith("out\nerr\n"));
    EXPECT_THAT(console_without_ids(),
                HasSubstr("vorn: Running \"/bin/sh -c echo out; echo err >&2\" -> pid = N "
                          "-> status = 0\n"));
}

TEST_F(Commands, CanBeHeardAlwaysAndRunElsewhere)
{
    std::filesystem::create_directory("/tmp/elsewhere");
    boot();

    tell("run-loudly", "pwd");

    EXPECT_TRUE(console_shows("vorn: commands: run loudly 0\n"));
    EXPECT_THAT(standard_error(), EndsWith("/tmp/elsewhere\n"));
}

TEST_F(Commands, RunWhereTheyAreWithoutTheirDirectory)
{
    std::filesystem::current_path("/usr");
    boot();

    tell("run-loudly", "pwd");

    EXPECT_TRUE(console_shows("vorn: commands: run loudly 0\n"));
    EXPECT_THAT(standard_error(),
                EndsWith("vorn: Unable to change directories to \"/tmp/elsewhere\" while executing "
                         "\"/bin/sh\": No such file or directory\n/usr\n"));
}

TEST_F(Commands, BlockNeitherTerminationNorChildSignalsForThoseTheyRun)
{
    boot();

    tell("run", "grep -E &apos;^Sig(Blk|Ign)&apos; /proc/self/status &gt;/tmp/mask");

    ASSERT_TRUE(console_shows("vorn: commands: run 0\n"));
    EXPECT_EQ(read_file("/tmp/mask"), "SigBlk:\t0000000000000000\nSigIgn:\t0000000000001000\n");
}

using Services = Commands;

TEST_F(Services, AreWatchedAndTheirEndIsTold)
{
    boot({"-f", "-d"});
    tell("serve", "exec sleep 1000");
    tell("look", "worker");
    ASSERT_TRUE(console_shows("vorn: commands: worker is running: 1\n"));

    const std::string sleeper = "cat /proc/*/stat 2>/dev/null | sed -n 's/ (sleep) .*//p'";
    ASSERT_TRUE(comes_true([&] { return !shell(sleeper).empty(); }));
    shell("kill $(" + sleeper + ")");

    EXPECT_TRUE(console_shows("vorn: commands: worker ended\n"));
    EXPECT_THAT(console_without_ids(),
                HasSubstr("vorn: Service worker with pid N is no longer running. "
                          "Service has no callback.\n"
                          "vorn: commands: worker ended\n"));
}

TEST_F(Services, StopWhenTold)
{
    boot();
    tell("serve", "exec sleep 1000");

    tell("stop", "15");
    tell("look", "worker");

    EXPECT_TRUE(console_shows("vorn: commands: stop 1\nvorn: commands: worker is running: 0\n"));
}

TEST_F(Services, ThatWereStoppedStayKnownUntilAnotherChildEnds)
{
    boot();
    tell("serve", "exec sleep 1000");
    tell("stop", "15");
    tell("run", "true");
    kill(daemon_pid(), SIGHUP);
    ASSERT_TRUE(console_shows("worker               stopp"));

    ASSERT_TRUE(comes_true([&] {
        kill(daemon_pid(), SIGHUP);
        return console().find("worker               stopped ") != std::string::npos;
    }));
    kill(daemon_pid(), SIGCHLD);

    EXPECT_TRUE(console_shows("vorn: commands: worker ended\n"));
}

TEST_F(Services, ThatDoNotStopInTimeAreTold)
{
    boot({"-f", "-d"});
    tell("serve", "trap &apos;&apos; TERM; touch /tmp/up; while :; do sleep 0.01; done");
    ASSERT_TRUE(comes_true([] { return exists("/tmp/up"); }));

    tell("stop", "15");

    EXPECT_TRUE(console_shows("vorn: commands: stop -1\n"));
    EXPECT_THAT(console_without_ids(), HasSubstr("vorn: Timeout while sending signal 15 to service "
                                                 "worker with pid N.\n"));
    tell("stop", "9");
    EXPECT_TRUE(console_shows("vorn: commands: stop 1\n"));
}

TEST_F(Services, AreOnlyWrittenDownWithoutActions)
{
    boot({"-f", "-n", "-d"});

    tell("serve", "touch /tmp/ran");
    tell("stop", "15");

    EXPECT_TRUE(console_shows("vorn: Running \"/bin/sh -c touch /tmp/ran\" -> (no actions) \n"
                              "vorn: commands: serve 0\n"));
    EXPECT_TRUE(console_shows("vorn: Sending signal 15 to service worker with pid 0.\n"
                              "vorn: (no actions)\n"
                              "vorn: commands: stop 0\n"));
    EXPECT_FALSE(exists("/tmp/ran"));
}

} // namespace
