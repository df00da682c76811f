/* SPDX-License-Identifier: MIT */
/* The system's settings and states, on a device. */
#include "support/device.h"
#include "support/raw_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using vorn::tests::framed;
using vorn::tests::native;
using vorn::tests::RawClient;

class SystemSettings : public vorn::tests::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        install_plugin("system.vorn");
        install_plugin("save.vorn");
        sets_the_name = "exec " + shell("printf %s \"$(command -v hostname)\"") + " \"$@\"";
        stand_in("hostname", sets_the_name);
        std::filesystem::remove("/etc/TZ");
        write_file(vorn::test::startup_file, "<config><system><time-zone>CET-1</time-zone></system>"
                                             "</config>");
        boot();
    }

    static std::string set_zone(const std::string &zone)
    {
        return lsql("<lsql><update><system><time-zone>" + zone +
                    "</time-zone></system></update></lsql>");
    }

    static std::string state(const std::string &property)
    {
        const std::string answer =
            lsql("<lsql><select><system><" + property + "/></system></select></lsql>");
        const auto begin = answer.find("<" + property + ">") + property.size() + 2;
        return answer.substr(begin, answer.find("</" + property + ">") - begin);
    }

    std::string sets_the_name; /* what "hostname" does when nothing is wrong */

    /* Waits for it: a program that takes long goes on in the background. */
    static testing::AssertionResult state_becomes(const std::string &wanted)
    {
        return comes_true([&] { return state("state") == wanted; })
               << "the state is " << state("state");
    }
};

TEST_F(SystemSettings, AreSaidToBeSetWhenTheyWillBe)
{
    const std::string both = "<update><system><hostname>attic</hostname><time-zone>UTC-2"
                             "</time-zone></system></update>";
    forget_runs();

    const std::string said = lsql("<explain>" + both + "</explain>");
    EXPECT_THAT(said, HasSubstr("<effect weight=\"live\">the host name is set to \"attic\"</effect>"
                                "<effect weight=\"live\">the time zone is set to \"UTC-2\""));
    EXPECT_THAT(commands_run(), testing::IsEmpty());
    EXPECT_EQ(read_file("/etc/TZ"), "CET-1\n");

    lsql("<lsql><write-transaction>" + both + "</write-transaction></lsql>");
    EXPECT_TRUE(comes_true([] { return runs_of("hostname").size() == 1; }));
    EXPECT_EQ(read_file("/etc/TZ"), "UTC-2\n");
    EXPECT_THAT(lsql("<explain>" + both + "</explain>"), Not(HasSubstr("is set to")));
}

TEST_F(SystemSettings, ApplyTheTimeZoneAtBootAndWhenItChanges)
{
    EXPECT_EQ(read_file("/etc/TZ"), "CET-1\n");

    EXPECT_THAT(set_zone("EST5EDT,M3.2.0,M11.1.0"), HasSubstr("<rc>0</rc>"));
    EXPECT_EQ(read_file("/etc/TZ"), "EST5EDT,M3.2.0,M11.1.0\n");

    EXPECT_THAT(set_zone(""), HasSubstr("<rc>0</rc>"));
    EXPECT_EQ(read_file("/etc/TZ"), "UTC\n");
    EXPECT_FALSE(exists("/etc/TZ.new"));
}

TEST_F(SystemSettings, LeadToTheFileOfAZoneThatTheDeviceHas)
{
    shell("mkdir -p /tmp/zones/Test && echo zone >/tmp/zones/Test/Zone && "
          "mount --bind /tmp/zones /usr/share/zoneinfo");

    set_zone("Test/Zone");
    EXPECT_EQ(shell("readlink /etc/localtime"), "/usr/share/zoneinfo/Test/Zone\n");
    EXPECT_EQ(read_file("/etc/localtime"), "zone\n");

    set_zone("Test/NoZone");
    EXPECT_EQ(shell("readlink /etc/localtime"), "/usr/share/zoneinfo/Test/Zone\n");
    EXPECT_EQ(read_file("/etc/TZ"), "Test/NoZone\n");
}

/* For programs that do not read /etc/TZ; what was set before must not shine through. */
TEST_F(SystemSettings, MakeTheFileOfAZoneThatIsARule)
{
    const auto hour = [] { return shell("TZ=:/etc/localtime date -d @0 +%H:%Z"); };
    set_zone("UTC");
    EXPECT_EQ(shell("readlink /etc/localtime"), "/usr/share/zoneinfo/UTC\n");

    EXPECT_THAT(set_zone("ATT-3"), HasSubstr("<rc>0</rc>"));

    EXPECT_EQ(shell("readlink /etc/localtime"), "");
    EXPECT_EQ(hour(), "03:ATT\n");
    set_zone("ATT5EDT,M3.2.0,M11.1.0");
    EXPECT_EQ(hour(), "19:ATT\n");
    EXPECT_EQ(shell("TZ=:/etc/localtime date -d @1783000000 +%Z"), "EDT\n");
    set_zone("UTC");
    EXPECT_EQ(shell("readlink /etc/localtime"), "/usr/share/zoneinfo/UTC\n");
}

TEST_F(SystemSettings, RefuseWhatIsNoZone)
{
    for (const std::string zone : {"../../etc/passwd", "/etc/passwd", "a b", "a;b", "$(x)"}) {
        EXPECT_THAT(set_zone(zone), HasSubstr("is not valid for property \"time-zone\"")) << zone;
    }
    EXPECT_THAT(set_zone(std::string(64, 'x')), HasSubstr("is not valid"));
    EXPECT_THAT(set_zone(std::string(63, 'x')), HasSubstr("<rc>0</rc>"));
}

TEST_F(SystemSettings, RefuseAZoneThatTheDeviceDoesNotHave)
{
    const auto change = [](const std::string &zone) {
        return lsql("<lsql><write-transaction><update><system><time-zone>" + zone +
                    "</time-zone></system></update></write-transaction></lsql>");
    };
    shell("mkdir -p /tmp/zones/Test && echo zone >/tmp/zones/Test/Zone && "
          "mount --bind /tmp/zones /usr/share/zoneinfo");

    for (const std::string zone : {"Test/Zome", "CET", "CE-1", "CET-1CEST,now"}) {
        EXPECT_THAT(change(zone),
                    HasSubstr("Property \"time-zone\" of class \"system\": the device "
                              "has no zone \"" +
                              zone + "\""));
    }
    for (const std::string zone :
         {"Test/Zone", "CET-1CEST,M3.5.0,M10.5.0/3", "&lt;+0330>-3:30", ""})
        EXPECT_THAT(change(zone), HasSubstr("<rc>0</rc>")) << zone;
}

TEST_F(SystemSettings, SayThatAZoneCannotBeApplied)
{
    shell("mkdir /etc/TZ.new");

    set_zone("CET-2");

    EXPECT_TRUE(console_shows("system: can't set the time zone to \"CET-2\"."));
    EXPECT_EQ(read_file("/etc/TZ"), "CET-1\n");
    EXPECT_EQ(state("state"), "failed: can't set the time zone");
}

TEST_F(SystemSettings, AreTriedAgainWithTheNextCommit)
{
    shell("mkdir /etc/TZ.new");
    set_zone("CET-2");
    stand_in("hostname", "echo no name today >&2; exit 1");
    lsql("<lsql><update><system><hostname>attic</hostname></system></update></lsql>");
    EXPECT_TRUE(state_becomes("failed: can't set the host name: no name today"));
    shell("rmdir /etc/TZ.new");
    stand_in("hostname", sets_the_name);
    forget_runs();

    lsql("<lsql><update><system><contact>me</contact></system></update></lsql>");

    EXPECT_EQ(read_file("/etc/TZ"), "CET-2\n");
    EXPECT_TRUE(state_becomes("applied"));
    EXPECT_THAT(commands_run(), testing::ElementsAre("hostname attic"));
}

TEST_F(SystemSettings, LetNobodyWaitForAProgramThatHangs)
{
    stand_in("hostname", "while test ! -e /tmp/go-on; do sleep 0.02; done; exit 1");

    lsql("<lsql><update><system><hostname>attic</hostname></system></update></lsql>");
    EXPECT_EQ(state("state"), "applying");

    shell("touch /tmp/go-on");
    EXPECT_TRUE(state_becomes("failed: can't set the host name"));
}

TEST_F(SystemSettings, AreLeftAloneWithoutActions)
{
    shut_down();
    write_file("/etc/TZ", "untouched\n");

    boot({"-f", "-n"});

    EXPECT_EQ(read_file("/etc/TZ"), "untouched\n");
}

TEST_F(SystemSettings, AreNeverLedToAFolderOfZones)
{
    shell("mkdir -p /tmp/zones/Test && mount --bind /tmp/zones /usr/share/zoneinfo");
    const std::string before = shell("readlink /etc/localtime");

    set_zone("Test");

    EXPECT_EQ(shell("readlink /etc/localtime"), before);
}

TEST_F(SystemSettings, RunNothingForAZone)
{
    set_zone("CET-2");

    EXPECT_THAT(commands_run(), testing::IsEmpty());
}

using SystemStates = SystemSettings;

TEST_F(SystemStates, AreReadWhenTheyAreAskedFor)
{
    EXPECT_THAT(state("uptime"), MatchesRegex("[0-9]+"));
    EXPECT_THAT(state("load"), MatchesRegex("[0-9.]+ [0-9.]+ [0-9.]+"));
    EXPECT_THAT(state("memory-total"), MatchesRegex("[0-9]+"));
    EXPECT_THAT(state("memory-available"), MatchesRegex("[0-9]+"));
    EXPECT_LT(std::stol(state("memory-available")), std::stol(state("memory-total")));
    EXPECT_EQ(state("kernel") + "\n", shell("uname -r"));
    const long before = std::stol(state("uptime"));
    EXPECT_TRUE(comes_true([&] { return std::stol(state("uptime")) > before; }));
}

TEST_F(SystemStates, TellWhatEachTransactionLeavesBehind)
{
    const auto retained = [&](const char *property) { return std::stol(state(property)); };
    const long instances = retained("retained-instances");
    const long bytes = retained("retained-bytes");

    lsql("<lsql><write-transaction><update><system><contact>me</contact></system></update>"
         "</write-transaction></lsql>");

    EXPECT_EQ(retained("retained-instances"), instances + 1);
    EXPECT_GT(retained("retained-bytes"), bytes);
    EXPECT_LT(retained("retained-bytes"), bytes + 1000);
}

TEST_F(SystemStates, AreNeitherWrittenNorSaved)
{
    EXPECT_THAT(lsql("<lsql><update><system><uptime>1</uptime></system></update></lsql>"),
                HasSubstr("is not writable"));
    state("uptime");
    set_zone("CET-2");

    const std::string saved = read_file(vorn::test::startup_file);
    EXPECT_THAT(saved, HasSubstr("<time-zone>CET-2</time-zone>"));
    EXPECT_THAT(saved, Not(HasSubstr("uptime")));
}

/* The daemon asks process 1, which is the test, to reboot. */
class RequestedReboots : public vorn::tests::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        install_plugin("system.vorn");
        install_plugin("save.vorn");
        stand_in("hostname");
        asked = 0;
        std::signal(SIGTERM, [](int) { asked = asked + 1; });
        write_file(vorn::test::startup_file, used);
        boot();
    }
    /* Both come while the daemon is stopped: it serves what is ready in the same pass, then ends.
     */
    void reset_after(const std::string &operations)
    {
        kill(daemon_pid(), SIGSTOP);
        RawClient late("vorn_sock_lsql");
        late.send(framed("<lsql><write-transaction>" + operations + "</write-transaction></lsql>"));
        RawClient reset("vorn_sock_inform");
        reset.send(native(0) + framed("object=factory-reset"));
        kill(daemon_pid(), SIGCONT);

        EXPECT_EQ(reset.receive_all(), "OK\n");
        EXPECT_THAT(late.receive_all(), HasSubstr("<rc>0</rc>"));
        EXPECT_EQ(exit_status(), 1);
    }

    static inline volatile std::sig_atomic_t asked = 0;
    static constexpr char used[] = "<config><system><contact>me</contact></system></config>";
    static constexpr char fresh[] =
        "<config><system><contact>factory</contact></system></config>\n";
};

TEST_F(RequestedReboots, AreDoneWhenTheyAreInformedOf)
{
    EXPECT_EQ(inform("reboot"), "OK\n");

    EXPECT_EQ(exit_status(), 1);
    EXPECT_EQ(asked, 1);
    EXPECT_TRUE(console_shows("Rebooting the system."));
    EXPECT_EQ(read_file(vorn::test::startup_file), used);
}

TEST_F(RequestedReboots, AfterAFactoryResetAreFromTheDefault)
{
    write_file("/tmp/fresh", fresh);
    const std::string sum = shell("md5sum </tmp/fresh | cut -c1-32");
    write_file("/etc/defaultconfig.xml", "Version: 1\nLength: " + std::to_string(sizeof fresh - 1) +
                                             "\nMD5sum: " + sum + "\n" + fresh);

    EXPECT_EQ(shell("vornctl factory-reset --yes; echo $?"), "0\n");

    EXPECT_EQ(exit_status(), 1);
    EXPECT_TRUE(console_shows("Rebooting the system."));
    EXPECT_EQ(read_file(vorn::test::startup_file), fresh);
    boot();
    EXPECT_THAT(lsql("<lsql><select><system><contact/></system></select></lsql>"),
                HasSubstr("<contact>factory</contact>"));
}

TEST_F(RequestedReboots, AfterAFactoryResetKnowNothingOfBefore)
{
    write_file("/etc/rescueconfig.xml", fresh);
    shell("mkdir -p /etc/config/history && echo old >/etc/config/history/00000001.gz && "
          "echo half >/etc/config/history/00000002.gz.new");

    EXPECT_EQ(inform("factory-reset"), "OK\n");

    EXPECT_EQ(exit_status(), 1);
    EXPECT_EQ(shell("ls /etc/config/history"), "");
}

TEST_F(RequestedReboots, AfterAFactoryResetAreFromTheRescueWhenTheDefaultIsBroken)
{
    write_file("/etc/defaultconfig.xml", "broken");
    write_file("/etc/rescueconfig.xml", fresh);

    EXPECT_EQ(inform("factory-reset"), "OK\n");

    EXPECT_EQ(exit_status(), 1);
    EXPECT_EQ(read_file(vorn::test::startup_file), fresh);
}

TEST_F(RequestedReboots, AreRefusedWhereThereIsNothingToResetTo)
{
    EXPECT_EQ(inform("factory-reset"), "ERR returned by handler\n");

    EXPECT_EQ(read_file(vorn::test::startup_file), used);
    EXPECT_THAT(lsql("<lsql><select><system><contact/></system></select></lsql>"),
                HasSubstr("<contact>me</contact>"));
}

TEST_F(RequestedReboots, SayWhyAFactoryResetIsRefused)
{
    const auto reset = [] { return shell("vornctl factory-reset --yes 2>&1; echo $?"); };
    EXPECT_EQ(reset(), "vornctl: the device refused to forget its configuration: neither "
                       "/etc/defaultconfig.xml nor /etc/rescueconfig.xml can be read\n1\n");

    write_file("/etc/defaultconfig.xml", "broken");
    EXPECT_EQ(shell("vornctl show -q system - factory-reset"), "possible\n");
    EXPECT_EQ(reset(), "vornctl: the device refused to forget its configuration: "
                       "/etc/defaultconfig.xml can't be used or copied, and there is no "
                       "/etc/rescueconfig.xml\n1\n");
    EXPECT_EQ(read_file(vorn::test::startup_file), used);
}

/* A disk without room takes no copy; the old configuration must not be what comes back. */
TEST_F(RequestedReboots, AfterAFactoryResetAreFromTheRescueThoughTheDiskIsFull)
{
    shut_down();
    write_file("/etc/rescueconfig.xml", fresh);
    shell("mount -t tmpfs -o size=8k none /etc/config");
    write_file(vorn::test::startup_file, used);
    boot();
    shell("head -c 8192 /dev/zero >/etc/config/full 2>/dev/null");

    EXPECT_EQ(shell("vornctl factory-reset --yes 2>&1; echo $?"), "0\n");

    EXPECT_EQ(exit_status(), 1);
    boot();
    EXPECT_THAT(lsql("<lsql><select><system><contact/></system></select></lsql>"),
                HasSubstr("<contact>factory</contact>"));
}

/* The last moment's key comes with all that were kept before it. */
TEST_F(RequestedReboots, AfterAFactoryResetHaveNoKeyFromBefore)
{
    constexpr char keys[] = "/etc/config/wireless-keys";
    write_file("/etc/rescueconfig.xml", fresh);
    write_file(keys, "0123abcd correct horse battery\n");
    shut_down();
    install_plugin("wireless.vorn");
    boot();

    reset_after("<insert><radio name=\"wlan0\"><mode>g</mode><channel>6</channel></radio></insert>"
                "<insert><wireless-network name=\"n\"><radio>wlan0</radio><ssid>n</ssid>"
                "<security>wpa2-psk</security><key>battery staple</key></wireless-network>"
                "</insert>");

    EXPECT_FALSE(exists(keys));
}

TEST_F(RequestedReboots, AfterAFactoryResetAreOfAnotherMachineToWhoLogsIn)
{
    write_file("/etc/rescueconfig.xml", fresh);
    shell("mkdir /etc/config/ssh && cd /etc/config/ssh && echo key | tee host_key >host_key.tmp7");

    EXPECT_EQ(inform("factory-reset"), "OK\n");

    EXPECT_EQ(exit_status(), 1);
    EXPECT_EQ(shell("ls /etc/config/ssh"), "");
}

TEST_F(RequestedReboots, KeepTheKeysWhereAFactoryResetIsRefused)
{
    write_file("/etc/config/wireless-keys", "0123abcd correct horse battery\n");

    EXPECT_EQ(inform("factory-reset"), "ERR returned by handler\n");

    EXPECT_TRUE(exists("/etc/config/wireless-keys"));
}

TEST_F(RequestedReboots, AfterAFactoryResetAreNotFromAChangeOfTheLastMoment)
{
    write_file("/etc/rescueconfig.xml", fresh);

    reset_after("<update><system><contact>late</contact></system></update>");

    EXPECT_EQ(read_file(vorn::test::startup_file), fresh);
}

} // namespace
