/* SPDX-License-Identifier: MIT */
/* Whether the device passes packets on between its networks, in a kernel's own settings. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "networks.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using vorn::tests::Networks;

class Routing : public Networks {
protected:
    void SetUp() override
    {
        Networks::SetUp();
        install_plugin("system.vorn"); /* which has the class repair */
        set("ipv4/ip_forward", "0");
        set("ipv6/conf/all/forwarding", "0");
        boot_and_forget();
    }

    static void set(const std::string &setting, const std::string &value)
    {
        shell("echo " + value + " >/proc/sys/net/" + setting);
    }

    /* Of IPv4 and of IPv6. */
    static std::string in_kernel()
    {
        return shell("cat /proc/sys/net/ipv4/ip_forward /proc/sys/net/ipv6/conf/all/forwarding | "
                     "tr -d '\\n'");
    }

    static std::string updated(const std::string &values)
    {
        return "<update><routing>" + values + "</routing></update>";
    }

    static std::string state()
    {
        const std::string answer =
            lsql("<lsql><select><routing><state/></routing></select></lsql>");
        const auto begin = answer.find("<state>") + 7;
        return answer.substr(begin, answer.find("</state>") - begin);
    }
};

TEST_F(Routing, IsWhatIsConfiguredOfEachFamily)
{
    change(updated("<ipv4>on</ipv4>"));
    EXPECT_EQ(in_kernel() + state(), "10applied");

    change(updated("<ipv6>on</ipv6>"));
    EXPECT_EQ(in_kernel() + state(), "11applied");

    change(updated("<ipv4>off</ipv4>"));
    EXPECT_EQ(in_kernel() + state(), "01applied");
    EXPECT_THAT(request(updated("<ipv4>perhaps</ipv4>")), Not(HasSubstr("<rc>0</rc>")));
}

TEST_F(Routing, IsLeftAsTheSystemHasItWhereItIsNotSet)
{
    set("ipv4/ip_forward", "1");

    change("<update><resolver><search/></resolver></update>");

    EXPECT_EQ(in_kernel() + state(), "10applied");
}

TEST_F(Routing, IsAsItWasFoundWhenItIsNotSetAnyMore)
{
    set("ipv4/ip_forward", "1");
    change(updated("<ipv4>off</ipv4><ipv6>on</ipv6>"));
    EXPECT_EQ(in_kernel(), "01");

    change(updated("<ipv4/><ipv6/>"));

    EXPECT_EQ(in_kernel() + state(), "10applied");
    set("ipv4/ip_forward", "0");
    change("<update><resolver><search/></resolver></update>");
    EXPECT_EQ(in_kernel(), "00") << "and it is nobody's concern since";
}

TEST_F(Routing, IsAsItWasFoundAfterAnOldConfiguration)
{
    change(updated("<ipv4>on</ipv4>"));
    kill(daemon_pid(), SIGKILL);
    EXPECT_EQ(exit_status(), -SIGKILL);
    write_file(vorn::test::startup_file, "<config/>");

    boot();

    EXPECT_EQ(in_kernel(), "00");
}

TEST_F(Routing, SaysWhatSomebodyChangedAndIsPutRightByTheNextCommitOrARepair)
{
    change(updated("<ipv4>on</ipv4><ipv6>off</ipv6>"));
    set("ipv4/ip_forward", "0");
    EXPECT_EQ(state(), "differs: IPv4 is not passed on");
    change("<update><resolver><search/></resolver></update>");
    EXPECT_EQ(in_kernel() + state(), "10applied");

    set("ipv6/conf/all/forwarding", "1");
    EXPECT_EQ(state(), "differs: IPv6 is passed on");
    change("<update><repair><what>resolver</what></repair></update>");
    EXPECT_EQ(in_kernel(), "11");
    change("<update><repair><what>routing</what></repair></update>");
    EXPECT_EQ(in_kernel(), "10");
}

TEST_F(Routing, IsLeftAloneWithoutActions)
{
    change(updated("<ipv4>on</ipv4>"));
    shut_down();
    set("ipv4/ip_forward", "0");

    boot({"-f", "-n"});

    EXPECT_EQ(in_kernel() + state(), "00applied");
}

TEST_F(Routing, IsExplained)
{
    change(updated("<ipv4>on</ipv4>"));

    EXPECT_THAT(lsql("<explain>" + updated("<ipv4>off</ipv4><ipv6>on</ipv6>") + "</explain>"),
                AllOf(HasSubstr("IPv4 is no longer passed on between networks: "
                                "/proc/sys/net/ipv4/ip_forward is 0"),
                      HasSubstr("IPv6 is passed on between networks: "
                                "/proc/sys/net/ipv6/conf/all/forwarding is 1")));
    EXPECT_THAT(lsql("<explain>" + updated("<ipv4/>") + "</explain>"), HasSubstr("ip_forward is 0"))
        << "as it was found";
    EXPECT_EQ(in_kernel() + state(), "10applied");
}

TEST_F(Routing, SaysThatTheKernelCannotBeTold)
{
    shell("mount --bind /proc/sys/net /proc/sys/net && "
          "mount -o remount,bind,ro /proc/sys/net");

    change(updated("<ipv4>on</ipv4>"));

    EXPECT_EQ(state(), "failed: can't write /proc/sys/net/ipv4/ip_forward: Read-only file system");
    EXPECT_TRUE(console_shows("vorn: network: can't write /proc/sys/net/ipv4/ip_forward: "
                              "Read-only file system.\n"));
    shell("umount /proc/sys/net");
    change("<update><resolver><search/></resolver></update>");
    EXPECT_EQ(in_kernel() + state(), "10applied");
}

} // namespace
