/* SPDX-License-Identifier: MIT */
/* A plugin that ends the daemon time and again, in each of its functions: the device serves. */
#include "support/raw_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <set>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include "configured_device.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using namespace vorn::tests;

constexpr char page[] = "/var/run/vorn-plugins";
constexpr char record[] = "/etc/vorn-suspects";
constexpr char deadly_plugin[] = "/usr/lib/vorn/plugins/deadly.vorn";
constexpr char deadly_text[] = "<Deadly name=\"mine\"><value>7</value></Deadly>";
constexpr char change_deadly[] = "<lsql><write-transaction><update><Deadly name=\"mine\">"
                                 "<value>8</value></Deadly></update></write-transaction></lsql>";
const int almost_too_late = SIGRTMAX - 2; /* the daemon's own timer tells it so */
constexpr char explain_deadly[] =
    "<explain><update><Deadly name=\"mine\"><value>8</value></Deadly></update></explain>";
const std::set<std::string> parts_of_a_change = {"validator", "amend",    "check", "commit",
                                                 "saved",     "listener", "report"};
constexpr char look_at_deadly[] = "<lsql><select><Deadly/></select></lsql>";

/* A device with a plugin that is deadly when it is told so. */
class LeftOutPlugins : public ConfiguredDevice {
protected:
    void SetUp() override
    {
        ConfiguredDevice::SetUp();
        /* A sanitizer would make another end of each death. */
        set_environment("ASAN_OPTIONS", "handle_segv=0:handle_abort=0:detect_leaks=0");
        install_plugin("deadly.vorn");
        install_plugin("save.vorn");
        mkfifo("/tmp/deadly-pipe", 0600);
        write_file(startup,
                   std::string("<config><Radio name=\"mine\"/>") + deadly_text + "</config>");
    }

    static void make_deadly(const std::string &how) { write_file("/tmp/deadly", how); }

    void die_at_start(int times)
    {
        for (int i = 0; i < times; i++) {
            start({"-f"});
            ASSERT_EQ(exit_status(), -SIGSEGV);
        }
    }

    /* The machine was reset: what is in memory is gone. */
    static void reset() { std::filesystem::remove(page); }

    static std::string refusal(const std::string &function)
    {
        return "vorn: Plugin \"deadly.vorn\" is left out: the daemon died in its code 3 times in a "
               "row, the last time in its " +
               function + " function of signal 11.\n";
    }

    void expect_left_out()
    {
        boot();
        EXPECT_THAT(console(), HasSubstr("is left out"));
        EXPECT_THAT(lsql(select_radios), HasSubstr("<Radio name=\"mine\">"));
        EXPECT_THAT(lsql("<lsql><delete><Radio name=\"new\"/></delete><insert><Radio name=\"new\"/>"
                         "</insert></lsql>"),
                    HasSubstr("<rc>0</rc>"));
        EXPECT_THAT(read_file(startup), HasSubstr("<Radio name=\"new\"/>"));
        EXPECT_THAT(read_file("/etc/vorn-plugins"), HasSubstr("deadly.vorn\n"));
        EXPECT_THAT(read_file(startup), HasSubstr("  <Deadly name=\"mine\">\n    <value>"));
        EXPECT_THAT(read_file(startup), HasSubstr("</value>\n  </Deadly>\n</config>"));
    }

    void expect_taking_part()
    {
        boot();
        EXPECT_THAT(console(), Not(HasSubstr("is left out")));
        EXPECT_THAT(lsql(look_at_deadly), HasSubstr("mine"));
    }
};

/* At each start, in what a start calls. */
class LeftOutAtBoot : public LeftOutPlugins, public testing::WithParamInterface<const char *> {};

TEST_P(LeftOutAtBoot, AfterThreeDeathsInARow)
{
    make_deadly(GetParam() + std::string(" crash"));

    die_at_start(3);
    expect_left_out();

    EXPECT_THAT(console(), HasSubstr(refusal(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(InEachFunction, LeftOutAtBoot,
                         testing::Values("init", "load", "validator", "check", "commit", "listener",
                                         "report", "timer", "service"));

/* Once the device serves, by what clients, programs and others do. */
class LeftOutLater : public LeftOutAtBoot {
protected:
    /* Nobody answers to what the daemon dies of. */
    static void send(const char *door, const std::string &request)
    {
        RawClient client(door);
        client.send(request);
        client.receive_all();
    }

    void cause(const std::string &function)
    {
        make_deadly(function + " crash");
        if (function == "refresh") send("vorn_sock_lsql", framed(look_at_deadly));
        if (parts_of_a_change.count(function) > 0) send("vorn_sock_lsql", framed(change_deadly));
        if (function == "explain") send("vorn_sock_lsql", framed(explain_deadly));
        if (function == "inform" || function == "file")
            send("vorn_sock_inform", native(0) + framed("object=deadly"));
        if (function == "socket") shell("echo x >/tmp/deadly-pipe");
        if (function == "signal") kill(daemon_pid(), SIGUSR2);
    }

    void TearDown() override
    {
        make_deadly("nothing");
        LeftOutAtBoot::TearDown();
    }
};

TEST_P(LeftOutLater, AfterThreeDeathsInARow)
{
    for (int i = 0; i < 3; i++) {
        make_deadly("nothing");
        boot();
        ASSERT_TRUE(console_shows("deadly: everything is registered\n"));
        cause(GetParam());
        ASSERT_EQ(exit_status(), -SIGSEGV);
    }

    expect_left_out();

    EXPECT_THAT(console(), HasSubstr(refusal(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(InEachFunction, LeftOutLater,
                         testing::Values("refresh", "validator", "amend", "check", "commit",
                                         "saved", "listener", "report", "explain", "inform", "file",
                                         "socket", "signal", "service", "timer"));

TEST_F(LeftOutPlugins, AreNoneAfterTwoDeaths)
{
    make_deadly("commit crash");
    die_at_start(2);
    make_deadly("nothing");

    expect_taking_part();
}

TEST_F(LeftOutPlugins, AreNoneWhenTheDaemonEndedInOrderBetweenDeaths)
{
    make_deadly("commit crash");
    die_at_start(2);
    EXPECT_TRUE(exists(record));
    make_deadly("nothing");
    boot();
    shut_down();
    EXPECT_FALSE(exists(record)) << "a power cut would leave nothing else";
    make_deadly("commit crash");
    die_at_start(2);
    make_deadly("nothing");

    expect_taking_part();
}

TEST_F(LeftOutPlugins, StayOutAfterAnOrderlyEnd)
{
    make_deadly("commit crash");
    die_at_start(3);
    boot();
    shut_down();

    expect_left_out();
}

/* The init of the device ends with the daemon: the watchdog, which nobody kicks, resets it. */
TEST_F(LeftOutPlugins, AreKnownWhenEachDeathResetsTheMachine)
{
    make_deadly("init abort");
    for (int i = 0; i < 3; i++) {
        start({"-f"});
        ASSERT_EQ(exit_status(), -SIGABRT);
        reset();
    }

    expect_left_out();
    EXPECT_THAT(console(), HasSubstr("in its init function of signal 6."));
    shut_down();
    reset();
    expect_left_out();
}

TEST_F(LeftOutPlugins, AreKnownWhenTheDaemonDiesInTheBackground)
{
    make_deadly("commit crash");
    start({});

    EXPECT_TRUE(comes_true([] { return read_file(record).rfind("1 commit 11 ", 0) == 0; }));
}

/* A power cut strikes anywhere, most often where a plugin waits for the disk. */
TEST_F(LeftOutPlugins, AreNotTakenForOnesByPowerCuts)
{
    for (int i = 0; i < 4; i++) {
        make_deadly("check hang");
        start({"-f"});
        ASSERT_TRUE(console_shows("Hanging"));
        kill(daemon_pid(), SIGKILL);
        ASSERT_EQ(exit_status(), -SIGKILL);
        reset();
    }
    make_deadly("nothing");

    expect_taking_part();
}

/* The watchdog resets the machine after the daemon has hung for long enough. */
TEST_F(LeftOutPlugins, AreKnownWhenTheyHangUntilTheMachineIsReset)
{
    write_file("/dev/watchdog", "");
    for (int i = 0; i < 3; i++) {
        make_deadly("check hang");
        start({"-f"});
        ASSERT_TRUE(console_shows("Hanging"));
        kill(daemon_pid(), almost_too_late);
        ASSERT_TRUE(comes_true([&] {
            return read_file(record).rfind(std::to_string(i + 1) + " check 0 ", 0) == 0;
        })) << read_file(record);
        kill(daemon_pid(), SIGKILL);
        ASSERT_EQ(exit_status(), -SIGKILL);
        reset();
    }

    expect_left_out();
    std::filesystem::remove("/dev/watchdog");
}

/* Something else than the watchdog may end what hangs, and does not reset the machine. */
TEST_F(LeftOutPlugins, AreKnownWhenTheyHangUntilTheyAreKilled)
{
    for (int i = 0; i < 3; i++) {
        make_deadly("check hang");
        start({"-f"});
        ASSERT_TRUE(console_shows("Hanging"));
        kill(daemon_pid(), SIGKILL);
        ASSERT_EQ(exit_status(), -SIGKILL);
    }

    expect_left_out();
    EXPECT_THAT(console(), HasSubstr("the last time in its check function.\n"));
}

/* A program that takes long is no program that hangs. */
TEST_F(LeftOutPlugins, AreNoneWhenTheyGoOnAtTheLastMoment)
{
    write_file("/dev/watchdog", "");
    make_deadly("check hang");
    start({"-f"});
    ASSERT_TRUE(console_shows("Hanging"));
    kill(daemon_pid(), almost_too_late);
    ASSERT_TRUE(comes_true([] { return exists(record); }));

    make_deadly("nothing");
    await_service();

    EXPECT_TRUE(comes_true([] { return !exists(record); }));
    std::filesystem::remove("/dev/watchdog");
}

/* Whoever ends the daemon meanwhile has no complaint about the plugin. */
TEST_F(LeftOutPlugins, AreNotTakenForOnesWhenTheDaemonIsToldToEndMeanwhile)
{
    for (const int signal_number : {SIGTERM, SIGINT, SIGTERM}) {
        make_deadly("init hang");
        start({"-f"});
        ASSERT_TRUE(console_shows("Hanging"));
        kill(daemon_pid(), signal_number);
        ASSERT_EQ(exit_status(), -signal_number);
    }
    make_deadly("nothing");

    expect_taking_part();
}

/* Each write wears the disk. */
TEST_F(LeftOutPlugins, AreWrittenDownOnceAndNotAgain)
{
    make_deadly("commit crash");
    die_at_start(3);
    const ino_t before = number_of(record);

    boot();
    shut_down();

    EXPECT_EQ(number_of(record), before);
}

TEST_F(LeftOutPlugins, AreKnownWhereThePageFindsNoPlace)
{
    std::filesystem::create_directories(std::string(page) + "/x");
    make_deadly("init crash");
    die_at_start(3);

    expect_left_out();
}

TEST_F(LeftOutPlugins, AreRememberedElsewhereWhereEtcCannotBeWritten)
{
    std::filesystem::create_directories(std::string(record) + ".new/x");
    make_deadly("init crash");
    for (int i = 0; i < 3; i++) {
        die_at_start(1);
        reset();
    }

    expect_left_out();
    EXPECT_TRUE(exists("/etc/config/vorn-suspects"));
}

TEST_F(LeftOutPlugins, AreRememberedInOnePlaceOnceEtcCanBeWrittenAgain)
{
    std::filesystem::create_directories(std::string(record) + ".new/x");
    make_deadly("init crash");
    die_at_start(1);
    ASSERT_TRUE(exists("/etc/config/vorn-suspects"));
    std::filesystem::remove_all(std::string(record) + ".new");

    die_at_start(1);

    EXPECT_TRUE(exists(record));
    EXPECT_FALSE(exists("/etc/config/vorn-suspects"));
}

/* As on a device that unpacks its files into memory at each boot. */
TEST_F(LeftOutPlugins, AreKnownByFilesThatAreNewAtEachBoot)
{
    const std::string file = read_file(deadly_plugin);
    make_deadly("init crash");
    for (int i = 0; i < 3; i++) {
        die_at_start(1);
        reset();
        write_file(std::string(deadly_plugin) + ".new", file);
        std::filesystem::rename(std::string(deadly_plugin) + ".new", deadly_plugin);
    }

    expect_left_out();
}

/* Attack. */
TEST_F(LeftOutPlugins, AreNotReadFromARecordThatIsNone)
{
    write_file(record, "99 commit 11 1 0 deadly.vorn\n7 seven\n\n3 init 11 0 0 " +
                           std::string(300, 'x') + "\n-1 - - - - - -\n3 init 11 5 5 5 5 a");

    expect_taking_part();
}

/* Attack. */
TEST_F(LeftOutPlugins, AreWatchedStillWhenThePageIsCutOff)
{
    boot();
    std::filesystem::resize_file(page, 0);

    EXPECT_THAT(lsql(look_at_deadly), HasSubstr("mine"));
    EXPECT_THAT(lsql(change_deadly), HasSubstr("<rc>0</rc>"));
}

TEST_F(LeftOutPlugins, AreGivenAnotherChanceWithOtherContentOfTheirFile)
{
    make_deadly("commit crash");
    die_at_start(3);
    const std::string file = read_file(deadly_plugin);
    std::filesystem::remove(deadly_plugin);
    write_file(deadly_plugin, file);
    make_deadly("nothing");
    expect_left_out();
    shut_down();
    write_file(deadly_plugin, file + "mended");

    expect_taking_part();
    EXPECT_FALSE(exists(record));
}

} // namespace
