/* SPDX-License-Identifier: MIT */
/* Policy routes, and routes in tables of their own: what is run, refused and told. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "networks.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using vorn::tests::Networks;

std::string added(const std::string &instance)
{
    return "<insert>" + instance + "</insert>";
}

std::string policy(const std::string &name, int priority, const std::string &values,
                   const std::string &klass = "policy-route")
{
    return "<" + klass + " name=\"" + name + "\"><priority>" + std::to_string(priority) +
           "</priority>" + values + "</" + klass + ">";
}

std::string v6_policy(const std::string &name, int priority, const std::string &values)
{
    return policy(name, priority, values, "ipv6-policy-route");
}

constexpr char policy_links[] =
    "<interface name=\"eth0\"><kind>ethernet</kind><status>up</status></interface>"
    "<interface name=\"eth1\"><kind>ethernet</kind><status>up</status></interface>";
constexpr char table_7[] = "<table>7</table>";

/* A default route of table 7 leads over eth1, for guests of either family. */
class PolicyRoutes : public Networks {
protected:
    void SetUp() override
    {
        Networks::SetUp();
        install_plugin("system.vorn"); /* which has the class repair */
        write_file(vorn::test::startup_file,
                   "<config>" + std::string(policy_links) +
                       "<route name=\"out\"><destination>default</destination>"
                       "<interface>eth1</interface><table>7</table></route>"
                       "<ipv6-route name=\"out\"><destination>::/0</destination>"
                       "<interface>eth1</interface><table>7</table></ipv6-route>" +
                       policy("guests", 100, "<from>10.7.0.0/16</from><table>7</table>") +
                       v6_policy("guests", 100, "<from>fd00:7::/64</from><table>7</table>") +
                       "</config>");
        shell("ip rule add pref 90 from 10.9.0.0/16 table 9"); /* somebody else's */
        boot_and_forget();
        for (const char *klass : {"policy-route", "ipv6-policy-route"})
            ASSERT_TRUE(comes_true([=] { return state_of(klass, "guests") == "applied"; }));
        shell("truncate -s 0 /dev/console");
    }

    static std::string rules(const std::string &family = "-4")
    {
        return shell("ip " + family + " rule | sed -n 's/^\\(9.\\|[1-9]..\\):[[:space:]]*/\\1 /p'");
    }

    static std::string table(const std::string &family = "-4")
    {
        return shell("ip " + family +
                     " route show table 7 | sed 's/ pref.*//; s/ scope.*//; s/ *$//'");
    }

    /* How ip(8) was run for several commands at once. */
    static std::vector<std::string> files_run()
    {
        std::vector<std::string> runs = commands_run();
        std::erase_if(runs, [](const std::string &run) { return !run.ends_with(" -batch -"); });
        return runs;
    }
};

constexpr char of_others[] = "90 from 10.9.0.0/16 lookup 9\n";
constexpr char of_guests[] = "100 from 10.7.0.0/16 lookup 7 proto 118\n";

TEST_F(PolicyRoutes, AreSetAtBootWithTheirTables)
{
    EXPECT_EQ(rules(), std::string(of_others) + of_guests);
    EXPECT_EQ(rules("-6"), "100 from fd00:7::/64 lookup 7 proto 118\n");
    EXPECT_EQ(table(), "default dev eth1\n");
    EXPECT_EQ(table("-6"), "default dev eth1 metric 1024\n");
}

TEST_F(PolicyRoutes, LeadWherePacketsGo)
{
    change(added("<address name=\"a\"><kind>static-address</kind><interface>eth0</interface>"
                 "<address>10.7.0.1</address><prefix>16</prefix></address>"));

    EXPECT_THAT(shell("ip route get 192.0.2.1 from 10.7.0.1"), HasSubstr("dev eth1 table 7"));
}

TEST_F(PolicyRoutes, SayThatSomebodyTookThemAwayAndComeBackWithARepair)
{
    shell("ip rule del pref 100");
    shell("ip -6 rule del pref 100");
    shell("ip route del default table 7");
    for (const char *klass : {"policy-route", "ipv6-policy-route"})
        EXPECT_EQ(state_of(klass, "guests"), "differs: it is gone");
    EXPECT_EQ(state_of("route", "out"), "differs: it is gone");

    change("<update><repair><what>policy-route guests</what></repair></update>");

    EXPECT_TRUE(ran("rule add pref 100 from 10.7.0.0/16 table 7 protocol 118\n"));
    change("<update><repair><what>all</what></repair></update>");
    EXPECT_EQ(state_of("ipv6-policy-route", "guests"), "applied");
    EXPECT_EQ(rules(), std::string(of_others) + of_guests);
    EXPECT_EQ(rules("-6"), "100 from fd00:7::/64 lookup 7 proto 118\n");
    EXPECT_EQ(table(), "default dev eth1\n");
}

TEST_F(PolicyRoutes, GoWithAnOldConfigurationAndLeaveThoseOfOthers)
{
    kill(daemon_pid(), SIGKILL);
    EXPECT_EQ(exit_status(), -SIGKILL);
    write_file(vorn::test::startup_file, "<config>" + std::string(policy_links) + "</config>");

    boot();

    EXPECT_TRUE(comes_true([] {
        return rules() == of_others && rules("-6") + table() + table("-6") == "";
    })) << rules()
        << rules("-6") << table() << table("-6");
}

TEST_F(PolicyRoutes, LeaveRulesOfOthersThatAreTheSame)
{
    shell("ip rule add pref 200 from 10.8.0.0/16 table 7");
    change(added(policy("x", 200, "<from>10.8.0.0/16</from><table>7</table>")));
    EXPECT_EQ(state_of("policy-route", "x"), "applied");
    EXPECT_EQ(shell("ip rule | grep -c ^200:"), "2\n");

    change("<delete><policy-route/></delete>");

    const std::string left = std::string(of_others) + "200 from 10.8.0.0/16 lookup 7\n";
    EXPECT_TRUE(comes_true([&] { return rules() == left; })) << rules();
}

/* Outside a transaction nobody judges them together. */
TEST_F(PolicyRoutes, OfWhichAnotherHasThePriorityAreLeftOut)
{
    lsql("<lsql>" + added(policy("x", 100, "<to>10.8.0.0/16</to><table>7</table>")) + "</lsql>");

    EXPECT_EQ(state_of("policy-route", "x"), "failed: policy route \"guests\" has its place");
    EXPECT_EQ(rules(), std::string(of_others) + of_guests);
    lsql("<lsql>" + added(policy("a", 100, "<to>10.8.0.0/16</to><table>7</table>")) + "</lsql>");
    EXPECT_EQ(state_of("policy-route", "guests"), "failed: policy route \"a\" has its place");

    change("<update><resolver><search/></resolver></update>");

    const std::string that =
        std::string(of_others) + "100 from all to 10.8.0.0/16 lookup 7 proto 118\n";
    EXPECT_TRUE(comes_true([&] { return rules() == that; })) << rules();
}

TEST_F(PolicyRoutes, LeaveTheOneTableAloneWhenTheOtherChanges)
{
    change(added("<route name=\"main\"><destination>default</destination>"
                 "<interface>eth0</interface></route>"));

    EXPECT_TRUE(ran("route replace default dev eth0\n"));
    EXPECT_EQ(table(), "default dev eth1\n");
    change("<delete><route name=\"out\"/></delete>");
    EXPECT_TRUE(comes_true([] { return table() == ""; })) << table();
    EXPECT_THAT(shell("ip route"), HasSubstr("default dev eth0"));
}

/* Who asks another table does not reach a neighbour by it. */
TEST_F(PolicyRoutes, MakeNoWayToAGateway)
{
    change(added("<route name=\"x\"><destination>10.1.0.0/16</destination>"
                 "<gateway>192.0.2.1</gateway></route>"));

    EXPECT_EQ(state_of("route", "x"), "waiting for a way to 192.0.2.1");
}

struct PolicyRouteCase {
    const char *name;
    std::string operation;
    const char *expected;
};

const PolicyRouteCase policy_route_changes[] = {
    {"APriority",
     "<update><policy-route name=\"guests\"><priority>5</priority></policy-route></update>",
     "rule del pref 100 from 10.7.0.0/16 table 7 protocol 118\n"
     "rule add pref 5 from 10.7.0.0/16 table 7 protocol 118\n"},
    {"AnInterface",
     "<update><policy-route name=\"guests\"><from/><interface>eth0</interface></policy-route>"
     "</update>",
     "rule del pref 100 from 10.7.0.0/16 table 7 protocol 118\n"
     "rule add pref 100 iif eth0 table 7 protocol 118\n"},
    {"BothEndsOfIpv6",
     added(v6_policy("x", 5,
                     "<from>fd00:8::/64</from><to>fd00:9::/64</to>"
                     "<interface>eth0</interface><table>254</table>")),
     "-6 rule add pref 5 from fd00:8::/64 to fd00:9::/64 iif eth0 table 254 protocol 118\n"},
    {"AnotherWayToWriteIt",
     "<update><ipv6-policy-route name=\"guests\"><from>FD00:07:0::/64</from></ipv6-policy-route>"
     "</update>",
     ""},
    {"Everything", added(policy("x", 5, std::string("<from>0.0.0.0/0</from>") + table_7)),
     "rule add pref 5 table 7 protocol 118\n"},
    {"OneLessOfIpv6", "<delete><ipv6-policy-route/></delete>",
     "-6 rule del pref 100 from fd00:7::/64 table 7 protocol 118\n"},
    {"ATableOfARoute", "<update><route name=\"out\"><table>8</table></route></update>",
     "route del default dev eth1 table 7\n"
     "route replace default dev eth1 table 8\n"},
    {"ATableOfAnIpv6Route",
     "<update><ipv6-route name=\"out\"><table>8</table></ipv6-route></update>",
     "route del ::/0 dev eth1 metric 1024 table 7\n"
     "route replace ::/0 dev eth1 metric 1024 table 8\n"},
};

class PolicyRouteChanges : public PolicyRoutes,
                           public testing::WithParamInterface<PolicyRouteCase> {};

TEST_P(PolicyRouteChanges, RunOnlyWhatTheyAskFor)
{
    const std::string said = lsql("<explain>" + GetParam().operation + "</explain>");

    EXPECT_THAT(change(GetParam().operation), HasSubstr("<rc>0</rc>"));

    EXPECT_TRUE(ran(GetParam().expected));
    EXPECT_EQ(said.find(": ip ") != std::string::npos, *GetParam().expected != '\0') << said;
}

INSTANTIATE_TEST_SUITE_P(Of, PolicyRouteChanges, testing::ValuesIn(policy_route_changes),
                         [](const auto &each) { return std::string(each.param.name); });

TEST_F(PolicyRoutes, AreExplainedInWords)
{
    const std::string said =
        lsql("<explain><delete><policy-route/></delete>" +
             added(v6_policy("x", 5, "<from>fd00:8::/64</from><table>7</table>")) + "</explain>");

    EXPECT_THAT(said, AllOf(HasSubstr("a policy route is taken away: ip rule del pref 100"),
                            HasSubstr("a policy route is set: ip -6 rule add pref 5")));
}

/* One file has commands of one family: of another one ip(8) reads none there. */
TEST_F(PolicyRoutes, OfBothFamiliesAreSetInOneChange)
{
    forget_runs();
    change(added(v6_policy("x", 5, table_7)) + added(policy("x", 5, table_7)) +
           added(v6_policy("y", 6, table_7)) + added(policy("y", 6, table_7)) +
           "<delete><policy-route name=\"guests\"/></delete>");

    EXPECT_EQ(shell("ip rule | grep -c '^[56]:.*proto 118'"), "2\n");
    EXPECT_EQ(shell("ip -6 rule | grep -c '^[56]:.*proto 118'"), "2\n");
    for (const char *klass : {"policy-route", "ipv6-policy-route"})
        EXPECT_EQ(state_of(klass, "x") + state_of(klass, "y"), "appliedapplied");
    EXPECT_THAT(files_run(), ElementsAre("ip -force -batch -", "ip -6 -force -batch -"));
    EXPECT_TRUE(comes_true([] { return rules() == of_others; })) << rules();
    EXPECT_EQ(shell("grep '^vorn: network: ' /dev/console"), "");
}

const PolicyRouteCase policy_route_refusals[] = {
    {"RulesWithoutAPriority", added("<policy-route name=\"x\"><table>7</table></policy-route>"),
     "priority"},
    {"RulesWithoutATable", added(policy("x", 5, "")), "table"},
    {"PrioritiesBehindTheMainTable", added(policy("x", 32766, table_7)),
     "is not valid for property \"priority\""},
    {"PrioritiesThatAreNoPlainNumbers",
     "<update><policy-route name=\"guests\"><priority>+5</priority></policy-route></update>",
     "is not valid for property \"priority\""},
    {"PrioritiesOfOthers", added(policy("x", 100, table_7)), "policy route \"guests\" has it too"},
    {"PrioritiesOfOthersOfIpv6", added(v6_policy("x", 100, table_7)),
     "policy route \"guests\" has it too"},
    {"TablesOfTheKernel", added(policy("x", 5, "<table>255</table>")),
     "is not valid for property \"table\""},
    {"TheMainTableOfARoute", "<update><route name=\"out\"><table>254</table></route></update>",
     "is not valid for property \"table\""},
    {"NetworksThatAreNotWhole",
     added(policy("x", 5, std::string("<from>10.0.0.1/8</from>") + table_7)), "from"},
    {"NetworksOfTheOtherFamily",
     added(v6_policy("x", 5, std::string("<to>10.0.0.0/8</to>") + table_7)),
     "An IPv6 network is 2001:db8::/32"},
    {"LinksThatAreNone",
     added(policy("x", 5, std::string("<interface>eth77</interface>") + table_7)),
     "there is no interface \"eth77\""},
    {"RoutesOfAnother",
     added("<route name=\"x\"><destination>default</destination>"
           "<interface>eth0</interface><table>7</table></route>"),
     "route \"out\" goes there with the same metric"},
};

class PolicyRouteRefusals : public PolicyRoutes,
                            public testing::WithParamInterface<PolicyRouteCase> {};

TEST_P(PolicyRouteRefusals, ChangeNothing)
{
    EXPECT_THAT(change(GetParam().operation),
                AllOf(HasSubstr("<rc>1</rc>"), HasSubstr(GetParam().expected)));

    EXPECT_EQ(commands(), "");
}

INSTANTIATE_TEST_SUITE_P(Of, PolicyRouteRefusals, testing::ValuesIn(policy_route_refusals),
                         [](const auto &each) { return std::string(each.param.name); });

} // namespace
