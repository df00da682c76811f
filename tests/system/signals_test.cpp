/* SPDX-License-Identifier: MIT */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <sstream>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

#include "bare_device.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using vorn::tests::BareDevice;

using Signals = BareDevice;

/* What the console says of levels; at level 1 other things have their say in between. */
std::string level_changes(const std::string &console)
{
    std::istringstream lines(console);
    std::string found;
    for (std::string line; std::getline(lines, line);)
        if (line.rfind("vorn: Debug level is now ", 0) == 0) found += line + "\n";
    return found;
}

TEST_F(Signals, WindowChangeWalksTheLevels)
{
    boot();

    std::string levels;
    for (const char *level : {"1", "2", "3", "4", "5", "6", "0", "1", "2"}) {
        levels += std::string("vorn: Debug level is now ") + level + ".\n";
        kill(daemon_pid(), SIGWINCH);
        ASSERT_TRUE(comes_true([&] { return level_changes(console()) == levels; })) << console();
    }
}

TEST_F(Signals, HangupDumpsClassesInstancesAndServices)
{
    install_plugin("board.vorn");
    write_file("/etc/config/config.xml",
               "<config><Radio name=\"r0\"><channel>6</channel></Radio></config>");
    write_script("/tmp/migrate", "sleep 1000");
    boot();

    kill(daemon_pid(), SIGHUP);

    ASSERT_TRUE(console_shows("ng_migrate           running "));
    const std::string text = console();
    const auto classes = text.find("Class: Radio                Type: unique-named  "
                                   "Persistence: 1\n");
    const auto instances = text.find("Instance name: r0\tclass: Radio\n   channel =\t6\n");
    const auto services = text.find("Service              State        PID\n"
                                    "ng_migrate           running ");
    EXPECT_LT(classes, instances);
    EXPECT_LT(instances, services);
    EXPECT_NE(services, std::string::npos);
}

TEST_F(Signals, HangupReloadsNothing)
{
    install_plugin("board.vorn");
    boot();
    write_file("/etc/config/config.xml", "<config><Radio name=\"new\"/></config>");

    kill(daemon_pid(), SIGHUP);

    ASSERT_TRUE(console_shows("Service              State        PID\n"));
    EXPECT_THAT(console(), Not(HasSubstr("Instance name: new")));
}

TEST_F(Signals, TerminationAndInterruptEndTheDaemonAndLeaveThePidFile)
{
    for (const int number : {SIGTERM, SIGINT}) {
        boot();

        kill(daemon_pid(), number);

        EXPECT_EQ(exit_status(), 0);
        EXPECT_THAT(console(),
                    EndsWith("vorn: Exit due to signal " + std::to_string(number) + ".\n"));
        EXPECT_TRUE(exists("/var/run/vorn.pid"));
        unlink("/var/run/vorn.pid");
    }
}

TEST_F(Signals, TerminationReachesTheProcessGroup)
{
    const pid_t daemon = fork();
    if (daemon == 0) {
        setsid();
        setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
        execl("/bin/sh", "sh", "-c", "sleep 1000 & echo $! >/tmp/member; exec /usr/sbin/vorn -f",
              nullptr);
    }
    await_service();
    const pid_t member = std::stoi(read_file("/tmp/member"));

    kill(daemon, SIGTERM);

    EXPECT_EQ(wait_for_exit(daemon), 0);
    EXPECT_EQ(WTERMSIG(wait_for_exit(member)), SIGTERM);
}

TEST_F(Signals, TerminationStopsTheServices)
{
    write_script("/tmp/migrate", "trap 'echo stopped >/tmp/migrate.log; exit' TERM\n"
                                 "echo up >/tmp/migrate.log\n"
                                 "while :; do sleep 0.01; done");
    boot({"-f", "-d"});
    ASSERT_TRUE(comes_true([] { return read_file("/tmp/migrate.log") == "up\n"; }));

    kill(daemon_pid(), SIGTERM);

    EXPECT_EQ(exit_status(), 0);
    EXPECT_EQ(read_file("/tmp/migrate.log"), "stopped\n");
    EXPECT_THAT(console_without_ids(),
                EndsWith("vorn: Stopping ng_migrate (N)...\n"
                         "vorn: Sending signal 15 to service ng_migrate with pid N.\n"
                         "vorn: Exit due to signal 15.\n"));
}

TEST_F(Signals, TerminationKillsAServiceThatDoesNotStop)
{
    write_script("/tmp/migrate", "trap '' TERM\n"
                                 "echo up >/tmp/migrate.log\n"
                                 "while :; do sleep 0.01; done");
    boot({"-f", "-d"});
    ASSERT_TRUE(comes_true([] { return read_file("/tmp/migrate.log") == "up\n"; }));

    kill(daemon_pid(), SIGTERM);

    EXPECT_EQ(exit_status(), 0);
    EXPECT_THAT(console_without_ids(),
                EndsWith("vorn: Stopping ng_migrate (N)...\n"
                         "vorn: Sending signal 15 to service ng_migrate with pid N.\n"
                         "vorn: Timeout while sending signal 15 to service ng_migrate with pid N.\n"
                         "vorn: Sending signal 9 to service ng_migrate with pid N.\n"
                         "vorn: Exit due to signal 15.\n"));
}

TEST_F(Signals, BrokenPipesAreIgnored)
{
    boot();

    kill(daemon_pid(), SIGPIPE);

    EXPECT_THAT(lsql("<lsql/>"), HasSubstr("<rc>1</rc>"));
}

TEST_F(Signals, DeadChildrenAreReapedAndTheirServicesDropped)
{
    write_script("/tmp/migrate", "exit 0");

    boot({"-f", "-d"});

    ASSERT_TRUE(console_shows("is no longer running. Running callback.\n"));
    EXPECT_THAT(console_without_ids(),
                HasSubstr("vorn: Service ng_migrate with pid N is no longer running. "
                          "Running callback.\n"));
    EXPECT_EQ(shell("grep -l '^State:.Z' /proc/[0-9]*/status 2>/dev/null"), "");
}

/* A boot that stays in its first commit until it is told to go on. */
class SignalsDuringTheBoot : public BareDevice {
protected:
    void SetUp() override
    {
        BareDevice::SetUp();
        install_plugin("commands.vorn");
        write_file("/etc/config/config.xml",
                   "<config><Commands><run>touch /tmp/reached; "
                   "while [ ! -e /tmp/go ]; do sleep 0.01; done</run></Commands></config>");
        start({"-f"});
        ASSERT_TRUE(comes_true([] { return exists("/tmp/reached"); }));
    }

    void go_on()
    {
        write_file("/tmp/go", "");
        await_service();
    }
};

TEST_F(SignalsDuringTheBoot, TerminationEndsItAtOnce)
{
    kill(daemon_pid(), SIGTERM);

    EXPECT_EQ(exit_status(), 0);
    EXPECT_EQ(console(), "vorn: Watchdog stopped (before start).\n"
                         "vorn: Exit due to signal 15.\n");
    EXPECT_FALSE(exists("/var/run/vorn.pid"));
}

TEST_F(SignalsDuringTheBoot, WindowChangeActsAtOnce)
{
    kill(daemon_pid(), SIGWINCH);

    EXPECT_TRUE(console_shows("vorn: Debug level is now 1.\n"));
    EXPECT_THAT(console(), Not(HasSubstr("Initialization")));
    go_on();
}

TEST_F(SignalsDuringTheBoot, HangupDumpsTheConfigurationSoFar)
{
    kill(daemon_pid(), SIGHUP);

    EXPECT_TRUE(console_shows("Instance name: n/a\tclass: Commands\n   run =\ttouch "));
    EXPECT_THAT(console(), Not(HasSubstr("Initialization")));
    go_on();
}

TEST_F(SignalsDuringTheBoot, User1StopsTheWatchdogAtOnce)
{
    kill(daemon_pid(), SIGUSR1);

    EXPECT_TRUE(console_shows("vorn: Watchdog already stopped.\n"));
    go_on();
}

TEST_F(SignalsDuringTheBoot, DoNotCutTheWaitForACommandShort)
{
    for (int i = 0; i < 20; i++) {
        kill(daemon_pid(), SIGWINCH);
        kill(daemon_pid(), SIGCHLD);
        ASSERT_TRUE(console_shows("vorn: Debug level is now ", i + 1));
    }

    go_on();

    EXPECT_TRUE(console_shows("vorn: commands: run 0\n"));
}

/* A signal that strikes while an instance is being made, and while a provider commits. */
/* Attack. */
class SignalsIntoTheBootLoad : public BareDevice {
protected:
    void boot_with(int signal_number)
    {
        install_plugin("strikes.vorn");
        write_file("/etc/config/config.xml", "<config><Strikes><with>" +
                                                 std::to_string(signal_number) +
                                                 "</with></Strikes></config>");
        start({"-f"});
    }
};

TEST_F(SignalsIntoTheBootLoad, HangupDumpsWhenNothingIsHalfDone)
{
    boot_with(SIGHUP);
    await_service();

    const std::string text = console();
    EXPECT_THAT(text, HasSubstr("vorn: strikes: a value is judged\nvorn: strikes: it is good\n"));
    EXPECT_THAT(text, HasSubstr("vorn: strikes: a commit begins\nvorn: strikes: it ends\n"
                                "Class: Strikes"));
    EXPECT_THAT(text, HasSubstr("   with =\t1\n"));
}

TEST_F(SignalsIntoTheBootLoad, TerminationEndsItWhereverItStrikes)
{
    boot_with(SIGTERM);

    EXPECT_EQ(exit_status(), 0);
    EXPECT_THAT(console(), EndsWith("vorn: strikes: a value is judged\n"
                                    "vorn: Exit due to signal 15.\n"));
}

TEST_F(SignalsIntoTheBootLoad, WindowChangeActsWhereItStrikes)
{
    boot_with(SIGWINCH);
    await_service();

    EXPECT_THAT(console(), HasSubstr("vorn: strikes: a value is judged\n"
                                     "vorn: Debug level is now 1.\nvorn: strikes: it is good\n"));
}

using Reboots = BareDevice;

volatile std::sig_atomic_t terminations = 0;

TEST_F(Reboots, RemoveThePidFileAndAskProcess1)
{
    install_plugin("reboot.vorn");
    terminations = 0;
    std::signal(SIGTERM, [](int) { terminations = terminations + 1; });
    boot();

    lsql("<lsql><update><Reboot><now>yes</now></Reboot></update></lsql>");

    EXPECT_EQ(exit_status(), 1);
    EXPECT_THAT(console(), EndsWith("vorn: Rebooting the system.\n"));
    EXPECT_FALSE(exists("/var/run/vorn.pid"));
    EXPECT_EQ(terminations, 1);
    std::signal(SIGTERM, SIG_DFL);
}

TEST_F(Reboots, AreDisabledWithoutActions)
{
    install_plugin("reboot.vorn");
    boot({"-f", "-n"});

    lsql("<lsql><update><Reboot><now>yes</now></Reboot></update></lsql>");

    EXPECT_TRUE(console_shows("vorn: Rebooting the system is disabled.\n"));
    EXPECT_EQ(kill(daemon_pid(), 0), 0);
    EXPECT_TRUE(exists("/var/run/vorn.pid"));
}

} // namespace
