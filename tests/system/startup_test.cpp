/* SPDX-License-Identifier: MIT */
#include "support/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using vorn::tests::Device;

constexpr char empty_config[] = "<?xml version=\"1.0\"?>\n<config/>\n";

constexpr char usage[] =
    "\n\nUsage: vorn [-hfned]\n\nOptions:\n"
    "   -h   show this usage\n"
    "   -f   run in foreground (do not become a daemon)\n"
    "   -n   no actions (executing processes, rebooting, watchdog, etc.)\n"
    "   -e   exit on fatal errors\n"
    "   -d   show debug messages - can be repeated up to 6 times for more messages\n";

/* A device that has something to boot from and nothing to run afterwards. */
class BareDevices : public Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        write_file("/etc/config/config.xml", empty_config);
    }

    void expect_usage(const std::vector<std::string> &options)
    {
        start(options);

        EXPECT_EQ(exit_status(), 1);
        EXPECT_THAT(standard_error(), EndsWith(usage));
        EXPECT_THAT(console(), Not(HasSubstr("Initialization")));
    }
};

using CommandLines = BareDevices;

TEST_F(CommandLines, ShowTheUsageWhenAsked)
{
    expect_usage({"-h"});
}

TEST_F(CommandLines, ShowTheUsageForAnUnknownOption)
{
    expect_usage({"-x"});
}

TEST_F(CommandLines, ShowTheUsageForATrailingArgument)
{
    expect_usage({"-f", "now"});
}

TEST_F(CommandLines, ShowTheUsageForASeventhDebugOption)
{
    expect_usage({"-ddddddd"});
}

TEST_F(CommandLines, PutThreeLinesOfBannerBeforeTheUsage)
{
    start({"-h"});
    exit_status();

    const std::string text = standard_error();
    const std::string banner = text.substr(text.find("vorn 0."), text.find("\n\n") + 1);
    EXPECT_THAT(banner, StartsWith("vorn 0.1.0\nConfiguration and management daemon\n"
                                   "Plugin interface 1.0\n\nUsage:"));
}

TEST_F(CommandLines, RaiseTheLevelToSixAtMost)
{
    boot({"-f", "-dddddd"});

    EXPECT_THAT(console(), HasSubstr("vorn: Debug level is now 6.\n"));
}

TEST_F(CommandLines, SayNothingOfTheLevelWhenItStaysAtZero)
{
    boot({"-f"});

    EXPECT_THAT(console(), Not(HasSubstr("Debug level")));
}

using Starts = BareDevices;

TEST_F(Starts, WriteTheProcessIdOnceEverythingIsUp)
{
    boot({"-f"});

    EXPECT_EQ(read_file("/var/run/vorn.pid"), std::to_string(daemon_pid()) + "\n");
}

TEST_F(Starts, TellTheKernelToRebootFiveSecondsAfterAPanic)
{
    boot({"-f"});

    EXPECT_EQ(read_file("/proc/sys/kernel/panic"), "5\n");
}

TEST_F(Starts, BecomeADaemonWithoutInputWhoseLogStaysOnTheConsole)
{
    start({});
    adopt_daemon();

    const std::string descriptors = "/proc/" + std::to_string(daemon_pid()) + "/fd/0";
    EXPECT_EQ(std::filesystem::read_symlink(descriptors), "/dev/null");
    EXPECT_THAT(console(), HasSubstr("vorn: Daemonizing...\nvorn: Daemonized.\n"));
    kill(daemon_pid(), SIGWINCH);
    EXPECT_TRUE(console_shows("vorn: Debug level is now 1.\n"));
}

TEST_F(Starts, StayInTheForegroundWhenTold)
{
    boot({"-f"});

    EXPECT_THAT(console(), Not(HasSubstr("Daemonizing")));
    EXPECT_EQ(kill(daemon_pid(), 0), 0);
}

TEST_F(Starts, KeepTheWorkingDirectory)
{
    std::filesystem::current_path("/tmp");
    start({});
    adopt_daemon();

    const std::string link = "/proc/" + std::to_string(daemon_pid()) + "/cwd";
    EXPECT_EQ(std::filesystem::read_symlink(link), "/tmp");
}

TEST_F(Starts, RunPostInitOnceAfterEverythingElse)
{
    write_file("/etc/post-init", "#!/bin/sh\ntail -n 1 /dev/console >>/tmp/post-init.log\n");
    std::filesystem::permissions("/etc/post-init", std::filesystem::perms::owner_all);

    boot({"-f"});

    EXPECT_TRUE(comes_true([] { return !read_file("/tmp/post-init.log").empty(); }));
    EXPECT_EQ(read_file("/tmp/post-init.log"), "vorn: Initialization complete.\n");
}

TEST_F(Starts, SuperviseTheMigrationProgram)
{
    write_file("/tmp/migrate", "#!/bin/sh\necho migrating >/tmp/migrate.log\nsleep 1000\n");
    std::filesystem::permissions("/tmp/migrate", std::filesystem::perms::owner_all);

    boot({"-f"});
    EXPECT_TRUE(comes_true([] { return read_file("/tmp/migrate.log") == "migrating\n"; }));
    kill(daemon_pid(), SIGHUP);

    EXPECT_TRUE(console_shows("ng_migrate           running    "));
}

TEST_F(Starts, GoOnWithoutPlugins)
{
    std::filesystem::remove("/usr/lib/vorn/plugins");

    boot({"-f"});

    EXPECT_THAT(standard_error(),
                HasSubstr("vorn: Unable to open plugins directory \"/usr/lib/vorn/plugins/\": "
                          "No such file or directory\n"));
    EXPECT_THAT(console(), HasSubstr("vorn: Fatal error: Plugins were invalid.\n"
                                     "vorn: Attempting to continue operation.\n"));
}

struct Obstacle {
    const char *name;
    const char *plugin;
    void (*arrange)();
    const char *message;
};

void without_any_configuration()
{
    std::filesystem::remove("/etc/config/config.xml");
}

void with_a_folder_for_a_pid_file()
{
    std::filesystem::create_directory("/var/run/vorn.pid");
}

void nothing_more()
{}

const Obstacle obstacles[] = {
    {"APluginThatIsNone", "without_entry.vorn", nothing_more, "Plugins were invalid."},
    {"AnInvalidClass", "broken_class.vorn", nothing_more, "Classes were invalid."},
    {"ALoopOfProviders", "provider_loop.vorn", nothing_more, "Providers were invalid."},
    {"NoConfiguration", nullptr, without_any_configuration, "Unable to read config."},
    {"NoPidFile", nullptr, with_a_folder_for_a_pid_file, "Unable to create pid file"},
};

class Obstacles : public BareDevices, public testing::WithParamInterface<Obstacle> {
protected:
    void SetUp() override
    {
        BareDevices::SetUp();
        if (GetParam().plugin) install_plugin(GetParam().plugin);
        GetParam().arrange();
    }

    static std::string message()
    {
        return std::string("vorn: Fatal error: ") + GetParam().message + "\n";
    }
};

TEST_P(Obstacles, AreReportedAndPassed)
{
    boot({"-f"});

    EXPECT_THAT(console(), HasSubstr(message() + "vorn: Attempting to continue operation.\n"));
}

TEST_P(Obstacles, EndTheProcessWhenTheyMust)
{
    start({"-f", "-e"});

    EXPECT_EQ(exit_status(), 1);
    EXPECT_THAT(console(), EndsWith(message() + "vorn: Exiting due to fatal error.\n"));
}

INSTANTIATE_TEST_SUITE_P(At, Obstacles, testing::ValuesIn(obstacles),
                         [](const auto &each) { return std::string(each.param.name); });

TEST_F(Starts, AreRefusedASocketThatAnotherDaemonHas)
{
    boot({"-f"});
    const pid_t first = daemon_pid();

    start({"-f", "-e"});

    EXPECT_EQ(exit_status(), 1);
    EXPECT_THAT(console(), HasSubstr("vorn: Fatal error: Unable to initialize"));
    EXPECT_EQ(kill(first, 0), 0);
}

TEST_F(Starts, LogEachStepInOrder)
{
    install_plugin("board.vorn");

    boot({"-f", "-d"});

    EXPECT_THAT(console(), StartsWith("vorn: Watchdog stopped (before start).\n"
                                      "vorn: Debug level is now 1.\n"
                                      "vorn: Reading plugins.\n"
                                      "vorn: Loading board.vorn.\n"
                                      "Class: Board                Type: singleton     "
                                      "Persistence: 1\n"));
    EXPECT_THAT(console(), HasSubstr("Providers, in order (*** = not present):\n     board\n"));
    EXPECT_THAT(console(), HasSubstr("vorn: board: changed - -\nvorn: board: deleted\n"
                                     "vorn: Initialization complete.\n"));
    EXPECT_THAT(console(),
                ContainsRegex("vorn: Running \"/usr/bin/ng_migrate\" -> pid = [0-9]+ \n"));
}

TEST_F(Starts, RefuseAPluginBuiltForAnotherInterface)
{
    install_plugin("old_version.vorn");

    boot({"-f"});

    EXPECT_THAT(console(), HasSubstr("vorn: Plugin \"old_version.vorn\" version \"1.1\" "
                                     "is unsupported.\n"));
    EXPECT_THAT(console(), Not(HasSubstr("accepted all the same")));
    EXPECT_THAT(console(), Not(HasSubstr("Fatal")));
}

TEST_F(Starts, WithoutActionsRunNothingAndStopTheWatchdog)
{
    write_file("/etc/post-init", "#!/bin/sh\ntouch /tmp/ran\n");
    std::filesystem::permissions("/etc/post-init", std::filesystem::perms::owner_all);

    boot({"-f", "-n", "-d"});
    ASSERT_TRUE(console_shows("-> (no actions) \n"));

    EXPECT_THAT(console(), StartsWith("vorn: Watchdog stopped (before start).\n"
                                      "vorn: Watchdog already stopped.\n"));
    EXPECT_THAT(console(), HasSubstr("vorn: Running \"/etc/post-init\" -> (no actions) "
                                     "-> errno = 10\n"
                                     "vorn: Running \"/usr/bin/ng_migrate\" -> (no actions) \n"));
    EXPECT_FALSE(exists("/tmp/ran"));
    EXPECT_THAT(standard_error(),
                HasSubstr("vorn: /dev/vorn_watchdog_ack stat: No such file or directory\n"));
}

TEST_F(Starts, LeaveNoDescriptorToChildren)
{
    write_file("/etc/post-init", "#!/bin/sh\nls -l /proc/self/fd >/tmp/descriptors\n");
    std::filesystem::permissions("/etc/post-init", std::filesystem::perms::owner_all);

    boot({"-f"});
    ASSERT_TRUE(comes_true([] { return !read_file("/tmp/descriptors").empty(); }));

    EXPECT_THAT(shell("grep -cE 'socket|vorn|console' /tmp/descriptors"), StartsWith("0"));
    EXPECT_THAT(read_file("/tmp/descriptors"), HasSubstr("0 -> /dev/null"));
}

using Reboots = BareDevices;

volatile std::sig_atomic_t terminations = 0;

TEST_F(Reboots, RemoveThePidFileAndAskProcess1)
{
    install_plugin("reboot.vorn");
    terminations = 0;
    std::signal(SIGTERM, [](int) { terminations = terminations + 1; });
    boot({"-f"});

    lsql("<lsql><update><Reboot><now>yes</now></Reboot></update></lsql>");

    EXPECT_EQ(exit_status(), 1);
    EXPECT_THAT(console(), HasSubstr("vorn: Rebooting the system.\n"));
    EXPECT_FALSE(exists("/var/run/vorn.pid"));
    EXPECT_EQ(terminations, 1);
    std::signal(SIGTERM, SIG_DFL);
}

TEST_F(Reboots, AreDisabledWithoutActions)
{
    install_plugin("reboot.vorn");
    boot({"-f", "-n"});

    lsql("<lsql><update><Reboot><now>yes</now></Reboot></update></lsql>");

    EXPECT_THAT(console(), HasSubstr("vorn: Rebooting the system is disabled.\n"));
    EXPECT_EQ(kill(daemon_pid(), 0), 0);
}

using Signals = BareDevices;

TEST_F(Signals, User1StopsTheWatchdogOnce)
{
    boot({"-f"});

    kill(daemon_pid(), SIGUSR1);

    EXPECT_TRUE(console_shows("vorn: Watchdog already stopped.\n"));
}

TEST_F(Signals, TerminationReachesTheProcessGroup)
{
    const pid_t daemon = fork();
    if (daemon == 0) {
        setsid();
        execl("/bin/sh", "sh", "-c", "sleep 1000 & echo $! >/tmp/member; exec " VORN_BINARY " -f",
              nullptr);
    }
    await_service();
    const pid_t member = std::stoi(read_file("/tmp/member"));

    kill(daemon, SIGTERM);

    EXPECT_EQ(wait_for_exit(daemon), 0);
    EXPECT_EQ(WTERMSIG(wait_for_exit(member)), SIGTERM);
}

TEST_F(Signals, WindowChangeWalksTheLevels)
{
    boot({"-f"});

    for (const char *level : {"1", "2", "3", "4", "5", "6", "0", "1"}) {
        const std::string line = std::string("vorn: Debug level is now ") + level + ".\n";
        const int times =
            std::string(level) == "1" && console().find(line) != std::string::npos ? 2 : 1;
        kill(daemon_pid(), SIGWINCH);
        ASSERT_TRUE(console_shows(line, times));
    }
}

TEST_F(Signals, HangupDumpsClassesInstancesAndServices)
{
    install_plugin("board.vorn");
    write_file("/etc/config/config.xml",
               "<config><Radio name=\"r0\"><channel>6</channel></Radio></config>");
    boot({"-f"});

    kill(daemon_pid(), SIGHUP);

    ASSERT_TRUE(console_shows("Service              State        PID\n"));
    const std::string text = console();
    const auto classes =
        text.find("Class: Radio                Type: unique-named  Persistence: 1");
    const auto instances = text.find("Instance name: r0\tclass: Radio\n   channel =\t6\n");
    const auto services = text.find("Service              State        PID\n");
    EXPECT_LT(classes, instances);
    EXPECT_LT(instances, services);
    EXPECT_NE(services, std::string::npos);
}

TEST_F(Signals, TerminationEndsTheDaemonAndLeavesThePidFile)
{
    boot({"-f"});

    kill(daemon_pid(), SIGTERM);

    EXPECT_EQ(exit_status(), 0);
    EXPECT_THAT(console(), EndsWith("vorn: Exit due to signal 15.\n"));
    EXPECT_TRUE(exists("/var/run/vorn.pid"));
}

TEST_F(Signals, InterruptEndsTheDaemonToo)
{
    boot({"-f"});

    kill(daemon_pid(), SIGINT);

    EXPECT_EQ(exit_status(), 0);
    EXPECT_THAT(console(), HasSubstr("vorn: Exit due to signal 2.\n"));
}

TEST_F(Signals, TerminationStopsTheServices)
{
    write_file("/tmp/migrate", "#!/bin/sh\ntrap 'echo stopped >/tmp/migrate.log; exit' TERM\n"
                               "echo up >/tmp/migrate.log\nwhile :; do sleep 0.01; done\n");
    std::filesystem::permissions("/tmp/migrate", std::filesystem::perms::owner_all);
    boot({"-f", "-d"});
    ASSERT_TRUE(comes_true([] { return read_file("/tmp/migrate.log") == "up\n"; }));

    kill(daemon_pid(), SIGTERM);

    EXPECT_EQ(exit_status(), 0);
    EXPECT_EQ(read_file("/tmp/migrate.log"), "stopped\n");
    EXPECT_THAT(console(), HasSubstr("vorn: Stopping ng_migrate ("));
}

TEST_F(Signals, BrokenPipesAreIgnored)
{
    boot({"-f"});

    kill(daemon_pid(), SIGPIPE);

    EXPECT_THAT(lsql("<lsql/>"), HasSubstr("<rc>1</rc>"));
}

TEST_F(Signals, DeadChildrenAreReaped)
{
    write_file("/tmp/migrate", "#!/bin/sh\nexit 0\n");
    std::filesystem::permissions("/tmp/migrate", std::filesystem::perms::owner_all);

    boot({"-f", "-d"});

    EXPECT_TRUE(console_shows("is no longer running. Running callback.\n"));
}

} // namespace
