/* SPDX-License-Identifier: MIT */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

#include <sys/mount.h>
#include <sys/stat.h>

#include "bare_device.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using vorn::tests::BareDevice;

namespace fs = std::filesystem;

using Starts = BareDevice;

TEST_F(Starts, WriteTheProcessIdOnceEverythingIsUp)
{
    boot();

    EXPECT_EQ(read_file("/var/run/vorn.pid"), std::to_string(daemon_pid()) + "\n");
}

TEST_F(Starts, LetNobodyElseWriteIntoWhatTheyMakeWhateverTheyInherit)
{
    boot({"-f"}, [] { umask(0); });

    EXPECT_THAT(read_file("/proc/" + std::to_string(daemon_pid()) + "/status"),
                HasSubstr("Umask:\t0022\n"));
}

TEST_F(Starts, TellTheKernelToRebootFiveSecondsAfterAPanic)
{
    boot();

    EXPECT_EQ(read_file("/proc/sys/kernel/panic"), "5\n");
}

TEST_F(Starts, SayNothingWhenTheKernelCannotBeTold)
{
    const char *setting = "/proc/sys/kernel/panic";
    ASSERT_EQ(mount(nullptr, setting, nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);

    boot();

    EXPECT_EQ(console(), "vorn: Watchdog stopped (before start).\n"
                         "vorn: Initialization complete.\n");
    EXPECT_EQ(standard_error(), "vorn: /dev/vorn_watchdog_ack stat: No such file or directory\n");
    EXPECT_EQ(read_file(setting), "0\n");
}

TEST_F(Starts, BecomeADaemonWithoutInputWhoseLogStaysOnTheConsole)
{
    start({});
    adopt_daemon();

    const std::string input = "/proc/" + std::to_string(daemon_pid()) + "/fd/0";
    EXPECT_EQ(fs::read_symlink(input), "/dev/null");
    EXPECT_EQ(console(), "vorn: Watchdog stopped (before start).\n"
                         "vorn: Daemonizing...\n"
                         "vorn: Daemonized.\n"
                         "vorn: Initialization complete.\n");
    EXPECT_EQ(standard_error(), "vorn: /dev/vorn_watchdog_ack stat: No such file or directory\n");
    kill(daemon_pid(), SIGWINCH);
    EXPECT_TRUE(console_shows("vorn: Debug level is now 1.\n"));
}

/* A file that is opened must not become standard error by its number. */
TEST_F(Starts, HaveAllThreeStandardDescriptorsThoughTheyInheritNone)
{
    boot({"-f"}, [] {
        for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            close(standard);
    });

    const std::string descriptors = "/proc/" + std::to_string(daemon_pid()) + "/fd/";
    for (const char *standard : {"0", "1", "2"})
        EXPECT_EQ(fs::read_symlink(descriptors + standard), "/dev/null") << standard;
}

TEST_F(Starts, LeaveTheSessionThatStartedThem)
{
    start({});
    const pid_t starter = daemon_pid();
    adopt_daemon();

    EXPECT_NE(daemon_pid(), starter);
    EXPECT_NE(getsid(daemon_pid()), getsid(0)); // which it leads with some C libraries only
}

/* A file of a read-only mount takes the place of /dev/null: it cannot be opened for writing. */
TEST_F(Starts, GoOnWithoutAnInput)
{
    ASSERT_EQ(mount("/usr/bin/env", "/dev/null", nullptr, MS_BIND, nullptr), 0);

    start({});
    adopt_daemon();

    EXPECT_THAT(console(), HasSubstr("vorn: Daemonizing...\n"
                                     "vorn: Couldn't assign /dev/null to STDIN.\n"
                                     "vorn: Daemonized.\n"));
}

TEST_F(Starts, StayInTheForegroundWhenTold)
{
    boot({"-f"});

    EXPECT_THAT(console(), Not(HasSubstr("Daemonizing")));
    EXPECT_EQ(kill(daemon_pid(), 0), 0);
}

TEST_F(Starts, KeepTheWorkingDirectory)
{
    fs::current_path("/tmp");
    start({});
    adopt_daemon();

    EXPECT_EQ(fs::read_symlink("/proc/" + std::to_string(daemon_pid()) + "/cwd"), "/tmp");
}

TEST_F(Starts, RunPostInitOnceAfterEverythingElse)
{
    write_script("/etc/post-init", "tail -n 1 /dev/console >>/tmp/post-init.log\n"
                                   "cat /var/run/vorn.pid >>/tmp/post-init.log");

    boot();

    EXPECT_EQ(read_file("/tmp/post-init.log"),
              "vorn: Initialization complete.\n" + std::to_string(daemon_pid()) + "\n");
}

TEST_F(Starts, RunPostInitBeforeTheMigrationProgram)
{
    write_script("/etc/post-init", "exit 3");

    boot({"-f", "-d"});

    EXPECT_THAT(console_without_ids(),
                EndsWith("vorn: Initialization complete.\n"
                         "vorn: Running \"/etc/post-init\" -> pid = N -> status = 768\n"
                         "vorn: Running \"/usr/bin/ng_migrate\" -> pid = N \n"));
}

TEST_F(Starts, GoOnWithAPostInitThatCannotRun)
{
    write_file("/etc/post-init", "not a program");

    boot({"-f", "-d"});

    EXPECT_THAT(console_without_ids(),
                HasSubstr("vorn: Running \"/etc/post-init\" -> pid = N -> status = 32512\n"));
    EXPECT_THAT(standard_error(),
                HasSubstr("vorn: Unable to execute \"/etc/post-init\": Permission denied\n"));
}

TEST_F(Starts, SuperviseTheMigrationProgram)
{
    write_script("/tmp/migrate", "echo migrating >/tmp/migrate.log; sleep 1000");

    boot();
    EXPECT_TRUE(comes_true([] { return read_file("/tmp/migrate.log") == "migrating\n"; }));
    kill(daemon_pid(), SIGHUP);

    EXPECT_TRUE(console_shows("ng_migrate           running    "));
}

TEST_F(Starts, DropAMigrationProgramThatCannotRun)
{
    ASSERT_EQ(mount("/proc/version", "/usr/bin/ng_migrate", nullptr, MS_BIND, nullptr), 0);

    boot({"-f", "-d"});

    EXPECT_TRUE(console_shows("is no longer running. Running callback.\n"));
    EXPECT_THAT(standard_error(),
                HasSubstr("vorn: Unable to execute \"/usr/bin/ng_migrate\": Permission denied\n"));
}

TEST_F(Starts, WithoutActionsRunNothingAndStopTheWatchdog)
{
    write_script("/etc/post-init", "touch /tmp/ran");

    boot({"-f", "-n", "-d"});

    EXPECT_EQ(console(), "vorn: Watchdog stopped (before start).\n"
                         "vorn: Watchdog already stopped.\n"
                         "vorn: Debug level is now 1.\n"
                         "vorn: Reading plugins.\n"
                         "Providers, in order (*** = not present):\n"
                         "vorn: Initialization complete.\n"
                         "vorn: Running \"/etc/post-init\" -> (no actions) -> errno = 10\n"
                         "vorn: Running \"/usr/bin/ng_migrate\" -> (no actions) \n");
    EXPECT_FALSE(exists("/tmp/ran"));
}

TEST_F(Starts, LeaveNoDescriptorToChildren)
{
    write_script("/etc/post-init", "ls -l /proc/self/fd >/tmp/descriptors");

    boot();

    EXPECT_EQ(shell("grep -cE 'socket|vorn|console' /tmp/descriptors"), "0\n");
    EXPECT_THAT(read_file("/tmp/descriptors"), HasSubstr("0 -> /dev/null"));
}

constexpr char classes_of_the_board[] =
    "Class: Board                Type: singleton     Persistence: 1\n"
    "  Property: label                                         rw-p\n"
    "  Property: uptime                                        r---\n"
    "\n"
    "Class: Radio                Type: unique-named  Persistence: 1\n"
    "  Property: channel                                       rw-p\n"
    "  Property: mode                                          rw-p\n"
    "\n"
    "Class: Route                Type: anonymous     Persistence: 1\n"
    "  Property: to                                            rw-p\n"
    "\n"
    "Class: Acl                  Type: group-named   Persistence: 1\n"
    "  Property: mac                                           rw-p\n"
    "\n"
    "Class: Clock                Type: singleton     Persistence: 0\n"
    "\n"
    "Class: Address              Type: unique-named  Persistence: 1\n"
    "Abstract class - subclass identifier: kind\n"
    "  Property: kind                                          r-ip\n"
    "  Property: comment                                       rw-p\n"
    "\n"
    "Class: Static               Type: unique-named  Persistence: 1\n"
    "Superclass: Address\n"
    "  Property: ip                                            rw-p\n"
    "\n"
    "Class: Dhcp                 Type: unique-named  Persistence: 1\n"
    "Superclass: Address\n"
    "  Property: lease                                         r---\n"
    "\n";

constexpr char after_instances[] = "Instance name: r0\tclass: Radio\n"
                                   "   channel =\t6\n\n\n"
                                   "Instance name: n/a\tclass: Board\n\n\n"
                                   "Instance name: n/a\tclass: Clock\n\n\n";

class StartUpLogs : public BareDevice {
protected:
    void SetUp() override
    {
        BareDevice::SetUp();
        install_plugin("board.vorn");
        write_file("/etc/config/config.xml",
                   "<config><Radio name=\"r0\"><channel>6</channel></Radio></config>");
    }
};

TEST_F(StartUpLogs, HoldStateChangesOnlyAtLevelZero)
{
    boot({"-f"});

    EXPECT_EQ(console(), "vorn: Watchdog stopped (before start).\n"
                         "vorn: board: changed r0 - -\n"
                         "vorn: board: deleted\n"
                         "vorn: Initialization complete.\n");
}

TEST_F(StartUpLogs, HoldTheRegistriesAndEachCommandAtLevelOne)
{
    boot({"-f", "-d"});

    EXPECT_EQ(console_without_ids(), std::string("vorn: Watchdog stopped (before start).\n"
                                                 "vorn: Debug level is now 1.\n"
                                                 "vorn: Reading plugins.\n"
                                                 "vorn: Loading board.vorn.\n") +
                                         classes_of_the_board +
                                         "Providers, in order (*** = not present):\n"
                                         "     board\n"
                                         "vorn: Singleton instance of class \"Board\" is missing.\n"
                                         "vorn: board: changed r0 - -\n"
                                         "vorn: board: deleted\n"
                                         "vorn: Initialization complete.\n"
                                         "vorn: Running \"/usr/bin/ng_migrate\" -> pid = N \n");
}

TEST_F(StartUpLogs, HoldWhatIsCommittedAtLevelSix)
{
    boot({"-dddddd"});

    EXPECT_EQ(console_without_ids(), std::string("vorn: Watchdog stopped (before start).\n"
                                                 "vorn: Debug level is now 6.\n"
                                                 "vorn: Reading plugins.\n"
                                                 "vorn: Loading board.vorn.\n") +
                                         classes_of_the_board +
                                         "Providers, in order (*** = not present):\n"
                                         "     board\n"
                                         "vorn: Daemonizing...\n"
                                         "vorn: Daemonized.\n"
                                         "vorn: Singleton instance of class \"Board\" is missing.\n"
                                         "vorn: Committing with these after instances:\n" +
                                         after_instances +
                                         "vorn: Committing with these changes:\n"
                                         "Changed (updated or inserted) instances:\n" +
                                         after_instances +
                                         "\nDeleted instances:\n\n"
                                         "vorn: Committing provider board...\n"
                                         "vorn: board: changed r0 - -\n"
                                         "vorn: board: deleted\n"
                                         "vorn: Initialization complete.\n"
                                         "vorn: Running \"/usr/bin/ng_migrate\" -> pid = N \n");
}

} // namespace
