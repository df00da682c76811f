/* SPDX-License-Identifier: MIT */
/* A daemon that is killed can end nothing: the next one does it, and then starts its own. */
#include "support/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using testing::IsEmpty;

const std::vector<std::string> programs = {"dnsmasq", "hostapd", "ntpd", "syslogd", "udhcpc"};

constexpr char every_program[] =
    "<config><time><enabled>on</enabled></time>"
    "<ntp-server name=\"a\"><address>192.0.2.1</address></ntp-server>"
    "<log><enabled>on</enabled></log><dhcp><enabled>on</enabled></dhcp>"
    "<dhcp-pool name=\"p\"><first>10.0.0.5</first><last>10.0.0.9</last></dhcp-pool>"
    "<dhcp-address name=\"wan\"><kind>dhcp-address</kind><interface>br0</interface></dhcp-address>"
    "<radio name=\"wlan0\"><mode>g</mode><channel>6</channel><status>up</status></radio>"
    "<wireless-network name=\"home\"><radio>wlan0</radio><ssid>attic</ssid>"
    "<security>none</security></wireless-network></config>";

class ProgramsOfAKilledDaemon : public vorn::tests::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        for (const char *plugin : {"dhcp", "log", "network", "save", "time", "wireless"})
            install_plugin(std::string(plugin) + ".vorn");
        for (const std::string &program : programs)
            stand_in(program, "echo $$ >/tmp/" + program + "; while :; do sleep 0.02; done");
        stand_in("iw");
        shell("ip link add br0 type bridge");
        write_file(vorn::test::startup_file, every_program);
    }

    static std::vector<std::string> started()
    {
        std::vector<std::string> pids;
        for (const std::string &program : programs)
            pids.push_back(read_file("/tmp/" + program));
        return pids;
    }

    testing::AssertionResult boots_with_all_of_them()
    {
        for (const std::string &program : programs)
            shell("rm -f /tmp/" + program);
        boot();
        return comes_true([] { return !testing::Matches(testing::Contains(""))(started()); })
               << testing::PrintToString(started()) << console();
    }

    void kill_the_daemon()
    {
        kill(daemon_pid(), SIGKILL);
        ASSERT_EQ(exit_status(), -SIGKILL);
    }

    static bool runs(const std::string &pid)
    {
        return shell("grep -c '^State:.[RSDT]' /proc/" + pid.substr(0, pid.find('\n')) +
                     "/status 2>/dev/null") == "1\n";
    }

    static testing::AssertionResult run(const std::vector<std::string> &pids, bool wanted)
    {
        for (std::size_t i = 0; i < pids.size(); i++) {
            if (runs(pids[i]) != wanted) return testing::AssertionFailure() << programs[i];
        }
        return testing::AssertionSuccess();
    }

    static std::string files() { return shell("cd /var/run; ls -d vorn-program-* 2>/dev/null"); }
};

TEST_F(ProgramsOfAKilledDaemon, AreEndedBeforeTheNextOneStartsItsOwn)
{
    ASSERT_TRUE(boots_with_all_of_them());
    const std::vector<std::string> first = started();
    kill_the_daemon();
    ASSERT_TRUE(run(first, true));

    ASSERT_TRUE(boots_with_all_of_them());

    EXPECT_TRUE(run(first, false));
    EXPECT_TRUE(run(started(), true));
}

TEST_F(ProgramsOfAKilledDaemon, AreEndedAlsoWhenTheNextOneDoesNotWantThem)
{
    ASSERT_TRUE(boots_with_all_of_them());
    const std::vector<std::string> first = started();
    kill_the_daemon();
    write_file(vorn::test::startup_file, "<config/>");

    boot();

    EXPECT_TRUE(run(first, false));
    EXPECT_THAT(files(), IsEmpty());
}

/* As when their daemon ends them: the address would stay on the link without anybody's lease. */
TEST_F(ProgramsOfAKilledDaemon, GiveTheirLeasesBack)
{
    stand_in("udhcpc", "trap 'echo back >/tmp/lease; exit' USR2; trap : TERM\n"
                       "echo $$ >/tmp/udhcpc; while :; do sleep 0.02; done");
    ASSERT_TRUE(boots_with_all_of_them());
    kill_the_daemon();
    write_file(vorn::test::startup_file, "<config/>");

    boot();

    EXPECT_EQ(read_file("/tmp/lease"), "back\n");
}

TEST_F(ProgramsOfAKilledDaemon, AreKilledWhenTheyHang)
{
    ASSERT_TRUE(boots_with_all_of_them());
    const std::vector<std::string> first = started();
    for (const std::string &program : programs)
        ASSERT_TRUE(hang_program("cat /tmp/" + program));
    kill_the_daemon();

    ASSERT_TRUE(boots_with_all_of_them());

    EXPECT_TRUE(run(first, false));
}

TEST_F(ProgramsOfAKilledDaemon, AreNoStrangersWhoHaveTheirNumbers)
{
    ASSERT_TRUE(boots_with_all_of_them());
    kill_the_daemon();
    const std::string ntpd = shell("echo -n $(cat /tmp/ntpd)");
    const std::string stranger = shell("sleep 1000 >/dev/null 2>&1 & echo -n $!");
    shell("mv /var/run/vorn-program-" + ntpd + " /var/run/vorn-program-" + stranger);

    ASSERT_TRUE(boots_with_all_of_them());

    EXPECT_TRUE(runs(stranger));
    EXPECT_FALSE(exists("/var/run/vorn-program-" + stranger));
}

TEST_F(ProgramsOfAKilledDaemon, AreNoneOfAnotherBootOfTheMachine)
{
    ASSERT_TRUE(boots_with_all_of_them());
    const std::vector<std::string> first = started();
    kill_the_daemon();
    shell("sed -i 's/[^ ]*$/another/' /var/run/vorn-program-*");

    ASSERT_TRUE(boots_with_all_of_them());

    EXPECT_TRUE(run(first, true));
}

/* Whoever loads the plugins beside a daemon that runs ends nothing. */
TEST_F(ProgramsOfAKilledDaemon, AreNoneOfOneThatRuns)
{
    ASSERT_TRUE(boots_with_all_of_them());

    const std::string said = shell(built_plugins() + "/../kit/check/vorn-plugin-check " +
                                   vorn::test::plugin_folder + "time.vorn 2>&1");

    EXPECT_THAT(said, testing::HasSubstr("ntp-server"));
    EXPECT_TRUE(run(started(), true));
    EXPECT_EQ(count(files(), "vorn-program-"), 5);
}

TEST_F(ProgramsOfAKilledDaemon, AreForgottenWhenItEndsInOrder)
{
    ASSERT_TRUE(boots_with_all_of_them());

    shut_down();

    EXPECT_TRUE(run(started(), false));
    EXPECT_THAT(files(), IsEmpty());
}

TEST_F(ProgramsOfAKilledDaemon, AreNothingThatCanBeReadFromAFileOfAnotherKind)
{
    shell("mkfifo /var/run/vorn-program-1; echo nonsense >/var/run/vorn-program-2;"
          "mkdir /var/run/vorn-program-3; echo '1 1 1 x' >/var/run/vorn-program-4.new;"
          "ln -s /etc/passwd /var/run/vorn-program-5; : >/var/run/vorn-program-99999999999999999");
    write_file(vorn::test::startup_file, "<config/>");

    boot();

    EXPECT_EQ(files(), "vorn-program-3\n");
    EXPECT_TRUE(exists("/etc/passwd"));
}

} // namespace
