/* SPDX-License-Identifier: MIT */
/* One device, one daemon: whoever comes second has touched nothing when it ends. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "configured_device.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using namespace vorn::tests;

constexpr char why_no_second[] = "vorn: Another vorn is running already.\n";

class SecondDaemons : public ConfiguredDevice {
protected:
    /* What it says, and "status N" at the end. */
    static std::string start_second(const std::string &options)
    {
        return shell("timeout 20 /usr/sbin/vorn " + options + " 2>&1; echo status $?");
    }

    void kill_daemon()
    {
        const pid_t daemon = daemon_pid();
        kill(daemon, SIGKILL);
        EXPECT_EQ(exit_status(), -SIGKILL);
    }
};

TEST_F(SecondDaemons, SaySoAndEndBeforeTheyHaveTouchedAnything)
{
    boot();
    const std::string log = console();
    const std::string pid = read_file("/var/run/vorn.pid");
    write_file("/dev/watchdog", "untouched");
    write_file("/proc/sys/kernel/panic", "0\n");

    EXPECT_EQ(start_second("-f"), std::string(why_no_second) + "status 1\n");
    EXPECT_EQ(start_second(""), std::string(why_no_second) + "status 1\n");
    EXPECT_EQ(start_second("-fned"), std::string(why_no_second) + "status 1\n");

    EXPECT_EQ(console(), log);
    EXPECT_EQ(read_file("/var/run/vorn.pid"), pid);
    EXPECT_EQ(read_file("/proc/sys/kernel/panic"), "0\n");
    EXPECT_THAT(lsql(select_radios), HasSubstr("rescued"));
}

TEST_F(SecondDaemons, ShowTheirUsageAsEver)
{
    boot();

    EXPECT_THAT(start_second("-h"), HasSubstr("Usage: vorn [-hfned]"));
    EXPECT_THAT(start_second("-f more"), HasSubstr("Usage: vorn [-hfned]"));
    EXPECT_THAT(start_second("-dddddd -d"), HasSubstr("Usage: vorn [-hfned]"));
    EXPECT_THAT(start_second("-x"), HasSubstr("Usage: vorn [-hfned]"));
    EXPECT_THAT(start_second("-dddddd"), StartsWith(why_no_second));
}

TEST_F(SecondDaemons, AreRefusedByOneInTheBackgroundToo)
{
    start({});
    adopt_daemon();

    EXPECT_THAT(start_second("-f"), StartsWith(why_no_second));
}

TEST_F(SecondDaemons, TakeThePlaceOfOneThatWasKilledWhateverItLeftBehind)
{
    install_plugin("commands.vorn");
    boot();
    lsql("<lsql><update><Commands><serve>echo $$ >/tmp/worker; exec sleep 1000</serve></Commands>"
         "</update></lsql>");
    ASSERT_TRUE(comes_true([] { return !read_file("/tmp/worker").empty(); }));
    kill_daemon();
    const std::string worker = read_file("/tmp/worker");
    ASSERT_EQ(kill(std::stoi(worker), 0), 0) << "the service is to outlive the daemon";

    boot();

    EXPECT_THAT(lsql(select_radios), HasSubstr("rescued"));
    kill(std::stoi(worker), SIGKILL);
}

/* As a child does that was forked by one that was killed before it became its program. */
TEST_F(SecondDaemons, WaitAMomentForALockThatIsAboutToGo)
{
    shell("(flock /var/run/vorn.lock sh -c 'touch /tmp/held; sleep 0.05') >/dev/null 2>&1 & "
          "while [ ! -e /tmp/held ]; do sleep 0.01; done");

    boot();

    EXPECT_EQ(shell("flock -n /var/run/vorn.lock true; echo $?"), "1\n");
}

TEST_F(SecondDaemons, LeaveALockThatOnlyRootCanTake)
{
    boot();

    EXPECT_EQ(shell("stat -c '%a %s' /var/run/vorn.lock"), "600 0\n");
}

} // namespace
