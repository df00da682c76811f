/* SPDX-License-Identifier: MIT */
/* Logins over the network: what dropbear is run with, when, and what becomes of it. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "logins.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using vorn::tests::Logins;

constexpr char always[] = "dropbear -F -P /var/run/vorn-dropbear.pid -r /etc/config/ssh/host_key ";

class LoginServers : public Logins {
protected:
    void SetUp() override
    {
        Logins::SetUp();
        stand_in("dropbear", "exec sleep 1000");
        stand_in("dropbearkey", "echo key >\"$4\"");
    }

    testing::AssertionResult runs(const std::string &arguments)
    {
        const std::string wanted = always + arguments;
        return comes_true(
                   [&] { return !runs_of("dropbear").empty() && commands_run().back() == wanted; })
               << testing::PrintToString(commands_run());
    }

    void boot_with(const std::string &settings)
    {
        configure("<ssh><enabled>on</enabled>" + settings + "</ssh>");
        boot();
    }
};

TEST_F(LoginServers, AreOffUntilSomebodyWantsThem)
{
    configure("");
    boot();

    EXPECT_EQ(value_of("ssh", "state"), "stopped");
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(LoginServers, AreGivenAKeyOfTheDevicesOwnOnceAndStarted)
{
    boot_with("");

    ASSERT_TRUE(runs("-s -g -p 22"));
    EXPECT_THAT(commands_run(),
                ElementsAre("dropbearkey -t ed25519 -f /etc/config/ssh/host_key", testing::_));
    EXPECT_TRUE(state_becomes("ssh", "running"));
    shut_down();
    forget_runs();
    boot();

    ASSERT_TRUE(runs("-s -g -p 22"));
    EXPECT_EQ(commands_run().size(), 1U);
}

TEST_F(LoginServers, AreStartedAnewForWhatTheyAreRunWith)
{
    boot_with("");
    ASSERT_TRUE(runs("-s -g -p 22"));

    change("<update><ssh><passwords>on</passwords></ssh></update>");
    EXPECT_TRUE(runs("-g -p 22"));
    change("<update><ssh><root>on</root><port>2222</port></ssh></update>");
    EXPECT_TRUE(runs("-p 2222"));
    change("<update><ssh><root>off</root></ssh></update>");
    EXPECT_TRUE(runs("-w -p 2222"));
}

TEST_F(LoginServers, AreLeftAloneByWhatChangesNothing)
{
    boot_with("");
    ASSERT_TRUE(runs("-s -g -p 22"));
    ASSERT_TRUE(state_becomes("ssh", "running"));
    forget_runs();

    change("<update><ssh><port>22</port></ssh></update>");
    change("<update><ssh><root>keys</root><passwords>off</passwords></ssh></update>");
    change("<insert><ssh-key name=\"k\"><user>root</user><key>" + desk_key +
           "</key></ssh-key></insert>");

    EXPECT_EQ(value_of("ssh", "state"), "running");
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(LoginServers, EndWhenTheyAreSwitchedOff)
{
    boot_with("");
    ASSERT_TRUE(state_becomes("ssh", "running"));

    change("<update><ssh><enabled>off</enabled></ssh></update>");

    EXPECT_TRUE(state_becomes("ssh", "stopped"));
    EXPECT_TRUE(comes_true([] { return shell("pgrep -cx sleep") == "0\n"; }));
}

TEST_F(LoginServers, ListenOnTheAddressesOfAnInterfaceAsTheyComeAndGo)
{
    shell("ip link add lan type bridge && ip link set lan up");
    boot_with("<interface>lan</interface>");
    EXPECT_EQ(value_of("ssh", "state"), "waiting for an address of lan");
    EXPECT_THAT(commands_run(), IsEmpty());

    shell("ip addr add 192.0.2.1/24 dev lan");
    EXPECT_TRUE(runs("-s -g -p 192.0.2.1:22"));
    shell("ip addr add 192.0.2.7/24 dev lan");
    EXPECT_TRUE(runs("-s -g -p 192.0.2.1:22 -p 192.0.2.7:22"));
    shell("ip addr flush dev lan");

    EXPECT_TRUE(state_becomes("ssh", "waiting for an address of lan"));
    EXPECT_TRUE(comes_true([] { return shell("pgrep -cx sleep") == "0\n"; }));
}

TEST_F(LoginServers, ListenOnIpv6)
{
    shell("ip link add lan type bridge && ip link set lan up && "
          "ip addr add 2001:db8::1/64 dev lan nodad");
    if (shell("ip -6 addr show dev lan | grep -c 2001") != "1\n")
        GTEST_SKIP() << "the kernel has no IPv6";

    boot_with("<interface>lan</interface>");

    EXPECT_TRUE(runs("-s -g -p [2001:db8::1]:22"));
}

TEST_F(LoginServers, SayWhyTheyDoNotRun)
{
    stand_in("dropbear", "echo 'no listening ports' >&2; exit 1");
    boot_with("");
    EXPECT_TRUE(state_becomes("ssh", "failed: no listening ports"));

    stand_in("dropbear", "exec sleep 1000");
    change("<update><ssh><port>23</port></ssh></update>");
    EXPECT_TRUE(state_becomes("ssh", "running"));
}

TEST_F(LoginServers, AreGivenAKeyWhereAPowerCutLeftAnEmptyFile)
{
    stand_in("dropbearkey", "set -C; echo key >\"$4\""); /* which replaces no file, either */
    shell("mkdir -m 700 /etc/config/ssh; : >/etc/config/ssh/host_key");

    boot_with("");

    EXPECT_TRUE(state_becomes("ssh", "running"));
}

TEST_F(LoginServers, SayWhyThereIsNoKey)
{
    stand_in("dropbearkey", "echo 'disk full' >&2; exit 1");

    boot_with("");

    EXPECT_TRUE(state_becomes("ssh", "failed: disk full"));
    EXPECT_THAT(runs_of("dropbear"), IsEmpty());
}

TEST_F(LoginServers, SayWhyThereIsNoPlaceForAKey)
{
    write_file("/etc/config/ssh", "a file");

    boot_with("");

    EXPECT_TRUE(comes_true([] { return value_of("ssh", "state").starts_with("failed: "); }))
        << value_of("ssh", "state");
}

TEST_F(LoginServers, SayThatAProgramIsMissing)
{
    set_environment("PATH", "/nowhere");

    boot_with("");

    EXPECT_TRUE(comes_true([] {
        return value_of("ssh", "state").starts_with("failed: vorn: Unable to execute");
    })) << value_of("ssh", "state");
}

TEST_F(LoginServers, LetNobodyWaitForOneThatHangs)
{
    stand_in("dropbear", "echo $$ >/tmp/dropbear; exec sleep 1000");
    boot_with("");
    ASSERT_TRUE(state_becomes("ssh", "running"));
    ASSERT_TRUE(hang_program("cat /tmp/dropbear"));

    EXPECT_THAT(answer_right_after("<lsql><write-transaction><update><ssh><port>23</port></ssh>"
                                   "</update></write-transaction></lsql>",
                                   "<lsql><select><ssh><state/></ssh></select></lsql>"),
                HasSubstr("<state>starting: its process from before has not ended yet</state>"));
    EXPECT_TRUE(runs("-s -g -p 23"));
    EXPECT_TRUE(state_becomes("ssh", "running"));
}

TEST_F(LoginServers, TellWhatIsNoKeyAsNone)
{
    boot_with("");
    ASSERT_TRUE(state_becomes("ssh", "running"));

    EXPECT_EQ(read_file("/etc/config/ssh/host_key"), "key\n");
    EXPECT_EQ(value_of("ssh", "host-key"), "");
}

TEST_F(LoginServers, RefuseWhatNobodyCanListenOn)
{
    configure("");
    boot();

    for (const char *values :
         {"<port>0</port>", "<port>65536</port>", "<port>+22</port>", "<port>22 </port>",
          "<enabled>yes</enabled>", "<passwords>maybe</passwords>", "<root>root</root>",
          "<interface>a b</interface>", "<interface>-p</interface>",
          "<interface>../lan</interface>"}) {
        EXPECT_THAT(change("<update><ssh>" + std::string(values) + "</ssh></update>"),
                    HasSubstr("<rc>1</rc>"))
            << values;
    }
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(LoginServers, AreExplained)
{
    boot_with("");
    ASSERT_TRUE(state_becomes("ssh", "running"));
    const auto explained = [](const std::string &values) {
        return lsql("<explain><update><ssh>" + values + "</ssh></update></explain>");
    };

    EXPECT_THAT(explained("<port>23</port>"),
                HasSubstr("weight=\"interrupts\">dropbear starts anew: nobody can log in for a "
                          "moment; who has, stays<"));
    EXPECT_THAT(explained("<enabled>off</enabled>"),
                HasSubstr("dropbear ends: nobody can log in any more; who has, stays"));
    EXPECT_THAT(explained("<root>keys</root>"), Not(HasSubstr("dropbear")));
}

} // namespace
