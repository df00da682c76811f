/* SPDX-License-Identifier: MIT */
/* Links, addresses, routes and the resolver on virtual cables: what each change runs and leaves. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "networks.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using vorn::tests::Networks;

TEST_F(Networks, AreSetUpAtBootWhateverTheOrderOfTheirLinks)
{
    boot();

    EXPECT_THAT(shell("ip -o link show master br0"),
                AllOf(HasSubstr("eth0@"), HasSubstr("eth1.5@")));
    EXPECT_THAT(commands_run(), Contains("ip link add link eth1 name eth1.5 type vlan id 5"));
    EXPECT_THAT(shell("ip -o -d link show br0"), HasSubstr("stp_state 1 "));
    EXPECT_THAT(shell("ip -4 -o addr show br0"), HasSubstr("192.168.1.1/24"));
    EXPECT_THAT(shell("ip route show default"), HasSubstr("default via 192.168.1.254 dev br0 "));
    EXPECT_EQ(read_file("/etc/resolv.conf"),
              "search example.net\nnameserver 192.168.1.2\nnameserver 192.168.1.3\n");
    for (const char *name : {"eth0", "br0", "eth1", "eth1.5"})
        EXPECT_EQ(state_of("interface", name), "applied") << name;
    EXPECT_EQ(state_of("address", "lan") + state_of("route", "out"), "appliedapplied");
}

TEST_F(Networks, TellWhatAnInterfaceHasNow)
{
    boot();

    EXPECT_THAT(lsql("<lsql><select><address><current/></address></select></lsql>"),
                HasSubstr("<current>192.168.1.1/24</current>"));
    shell("ip addr flush dev br0");
    EXPECT_THAT(lsql("<lsql><select><address><current/></address></select></lsql>"),
                HasSubstr("<current/>"));
}

TEST_F(Networks, RemoveWhatTheyMadeWithItsInstance)
{
    boot_and_forget();

    change("<delete><interface name=\"br0\"/></delete><delete><interface name=\"eth1.5\"/></delete>"
           "<delete><address/></delete><delete><route/></delete>");

    EXPECT_TRUE(ran("route del default via 192.168.1.254\n"
                    "addr del 192.168.1.1/24 dev br0\n"
                    "link del dev eth1.5\nlink del dev br0\n"));
    EXPECT_THAT(shell("ip -o link"), Not(HasSubstr("br0")));
}

TEST_F(Networks, TakeALinkThatIsMadeAnewIntoItsBridge)
{
    boot_and_forget();

    change("<update><interface name=\"eth1.5\"><id>6</id></interface></update>");

    EXPECT_TRUE(ran("link del dev eth1.5\n"
                    "link add link eth1 name eth1.5 type vlan id 6\n"
                    "link set dev eth1.5 up\nlink set dev eth1.5 master br0\n"));
    EXPECT_THAT(shell("ip -o link show eth1.5"), AllOf(HasSubstr("master br0"), HasSubstr(",UP")));
}

TEST_F(Networks, GiveALinkThatIsMadeAnewItsAddressBack)
{
    write_file(vorn::test::startup_file,
               "<config><interface name=\"eth1\"><kind>ethernet</kind><status>up</status>"
               "</interface><interface name=\"v\"><kind>vlan</kind><parent>eth1</parent><id>5</id>"
               "<status>up</status></interface><address name=\"a\"><kind>static-address</kind>"
               "<interface>v</interface><address>10.0.0.1</address><prefix>8</prefix></address>"
               "<route name=\"r\"><destination>172.16.0.0/12</destination>"
               "<gateway>10.0.0.2</gateway><interface>v</interface><metric>7</metric></route>"
               "</config>");
    boot();

    change("<update><interface name=\"v\"><id>7</id></interface></update>");

    EXPECT_THAT(shell("ip -4 -o addr show v"), HasSubstr("10.0.0.1/8"));
    EXPECT_THAT(shell("ip route show 172.16.0.0/12"), HasSubstr("via 10.0.0.2 dev v metric 7"));
}

TEST_F(Networks, WaitForALinkThatIsPluggedInLater)
{
    write_file(vorn::test::startup_file,
               "<config><interface name=\"eth7\"><kind>ethernet</kind><mtu>1300</mtu>"
               "<status>up</status></interface><address name=\"lan\"><kind>static-address</kind>"
               "<interface>eth7</interface><address>10.0.0.1</address><prefix>8</prefix></address>"
               "<address name=\"wan\"><kind>dhcp-address</kind><interface>eth7</interface>"
               "</address><route name=\"r\"><destination>172.16.0.0/12</destination>"
               "<gateway>10.0.0.2</gateway></route></config>");
    boot();
    EXPECT_EQ(state_of("interface", "eth7"), "waiting for eth7");
    EXPECT_EQ(state_of("address", "lan"), "waiting for eth7");
    EXPECT_EQ(state_of("address", "wan"), "waiting for eth7");
    EXPECT_EQ(state_of("route", "r"), "waiting for a way to 10.0.0.2");
    EXPECT_EQ(runs_of("udhcpc").size(), 0);

    shell("ip link add eth7 type veth peer name to-eth7 && ip link set to-eth7 up");

    EXPECT_TRUE(comes_true([] { return state_of("route", "r") == "applied"; }));
    EXPECT_EQ(state_of("interface", "eth7") + state_of("address", "lan"), "appliedapplied");
    EXPECT_TRUE(comes_true([] { return runs_of("udhcpc").size() == 1; }));
    EXPECT_THAT(shell("ip -o addr show eth7; ip -o link show eth7"),
                AllOf(HasSubstr("10.0.0.1/8"), HasSubstr("mtu 1300"), HasSubstr("state UP")));
}

TEST_F(Networks, TakeUpALinkThatWasUnplugged)
{
    boot();
    shell("ip link del eth0");
    EXPECT_TRUE(comes_true([] { return state_of("interface", "eth0") == "waiting for eth0"; }));

    shell("ip link add eth0 type veth peer name to-eth0");

    EXPECT_TRUE(comes_true([] { return state_of("interface", "eth0") == "applied"; }));
    EXPECT_THAT(shell("ip -o link show master br0"), HasSubstr("eth0@"));
}

TEST_F(Networks, LeaveWhatSomebodyChangedToTheNextCommit)
{
    boot_and_forget();

    shell("ip link set eth0 nomaster; ip link add unrelated type veth peer name to-unrelated; "
          "ip link set unrelated up; sleep 0.5");

    EXPECT_EQ(state_of("interface", "br0"), "differs: eth0 is no member of it");
    EXPECT_EQ(commands(), "");
}

/* The kernel takes the one that came first, which is history. */
TEST_F(Networks, TakeOneWayWhereTwoLinksLeadToTheGateway)
{
    write_file(vorn::test::startup_file,
               "<config><interface name=\"eth0\"><kind>ethernet</kind><status>up</status>"
               "</interface><interface name=\"eth1\"><kind>ethernet</kind><status>up</status>"
               "</interface><address name=\"a\"><kind>static-address</kind>"
               "<interface>eth1</interface><address>10.2.0.3</address><prefix>24</prefix></address>"
               "<address name=\"b\"><kind>static-address</kind><interface>eth0</interface>"
               "<address>10.2.0.4</address><prefix>24</prefix></address><route name=\"r\">"
               "<destination>172.16.0.0/16</destination><gateway>10.2.0.10</gateway></route>"
               "</config>");

    boot();

    EXPECT_TRUE(comes_true([] { return state_of("route", "r") == "applied"; }));
    EXPECT_THAT(shell("ip route show 172.16.0.0/16"), HasSubstr("via 10.2.0.10 dev eth0"));
}

/* The kernel keeps such a route, but would not take it anew. */
TEST_F(Networks, TakeARouteAwayWhoseLinkNoLongerLeadsToItsGateway)
{
    const auto there = [] { return shell("ip route show 172.16.0.0/16") != ""; };
    write_file(vorn::test::startup_file,
               "<config><interface name=\"eth0\"><kind>ethernet</kind><status>up</status>"
               "</interface><interface name=\"eth1\"><kind>ethernet</kind><status>up</status>"
               "</interface><address name=\"a\"><kind>static-address</kind>"
               "<interface>eth1</interface><address>10.2.0.3</address><prefix>24</prefix></address>"
               "<address name=\"b\"><kind>static-address</kind><interface>eth0</interface>"
               "<address>10.2.0.4</address><prefix>24</prefix></address><route name=\"r\">"
               "<destination>172.16.0.0/16</destination><gateway>10.2.0.10</gateway>"
               "<interface>eth1</interface></route></config>");
    boot();
    ASSERT_TRUE(comes_true(there));
    shell("ip addr add 10.3.0.3/24 dev eth1");

    change("<update><address name=\"a\"><address>10.4.0.3</address></address></update>");
    EXPECT_TRUE(
        comes_true([] { return state_of("route", "r") == "waiting for a way to 10.2.0.10"; }));
    EXPECT_FALSE(there());

    change("<update><address name=\"a\"><address>10.2.0.3</address></address></update>");
    EXPECT_TRUE(comes_true(there));
}

TEST_F(Networks, SayWhatIpSaidAndTryAgainWithTheNextCommit)
{
    write_file(vorn::test::startup_file,
               "<config><interface name=\"br0\"><kind>bridge</kind><members>x.2</members>"
               "</interface><interface name=\"x.2\"><kind>vlan</kind><parent>eth0</parent>"
               "<id>2</id></interface></config>");
    shell("touch /tmp/no-vlans");
    install_plugin("commits.vorn");
    boot();
    EXPECT_EQ(state_of("interface", "x.2"), "failed: \"ip link add link eth0 name x.2 type vlan id "
                                            "2\": no VLANs today, sorry");
    EXPECT_EQ(state_of("interface", "br0"), "waiting for x.2");
    EXPECT_THAT(
        lsql("<lsql><select><commit><failures/></commit></select></lsql>"),
        HasSubstr("<failures>network: \"ip link add link eth0 name x.2 type vlan id 2\": "));
    EXPECT_TRUE(console_shows("vorn: network: \"ip link add link eth0 name x.2 type vlan id 2\" "
                              "failed: no VLANs today, sorry\n"));

    shell("rm /tmp/no-vlans");
    change("<update><interface name=\"br0\"><stp>off</stp></interface></update>");

    EXPECT_THAT(shell("ip -o link show x.2"), HasSubstr("master br0"));
    EXPECT_EQ(state_of("interface", "br0") + state_of("interface", "x.2"), "appliedapplied");
}

TEST_F(Networks, SayWhatSomebodyTookAwayAndPutItBackWhenTheyAreTold)
{
    boot();
    shell("ip link del br0");
    EXPECT_EQ(state_of("interface", "br0"), "differs: it is gone");
    EXPECT_EQ(state_of("address", "lan"), "differs: it is gone");
    EXPECT_EQ(state_of("route", "out"), "differs: it is gone");
    EXPECT_EQ(state_of("interface", "eth0"), "applied");

    EXPECT_EQ(inform("interface", {"name=br0"}), "OK\n");

    EXPECT_TRUE(settles());
    EXPECT_EQ(state_of("interface", "br0") + state_of("address", "lan"), "appliedapplied");
    EXPECT_EQ(state_of("route", "out"), "applied");
    EXPECT_THAT(shell("ip -o link show master br0"),
                AllOf(HasSubstr("eth0@"), HasSubstr("eth1.5@")));
    EXPECT_THAT(shell("ip -o -d link show br0"), AllOf(HasSubstr("stp_state 1 "), HasSubstr("UP")));
    EXPECT_THAT(shell("ip route show default"), HasSubstr("via 192.168.1.254 dev br0 "));
}

TEST_F(Networks, AreAsTheyAreNowByTheNameOfTheirKindToo)
{
    boot();
    EXPECT_EQ(state_of("bridge", "br0"), "applied");
    EXPECT_EQ(state_of("static-address", "lan"), "applied");

    shell("ip link del br0");

    EXPECT_THAT(state_of("static-address", "lan"), testing::StartsWith("differs: "));
    EXPECT_THAT(state_of("bridge", "br0"), testing::StartsWith("differs: "));
}

TEST_F(Networks, PutBackWhatSomebodyTookAwayWithAnyCommit)
{
    boot();
    shell("ip addr flush dev br0; ip link set eth0 nomaster; ip link set eth1 down; "
          "ip link set br0 mtu 1300 type bridge stp_state 0");
    EXPECT_NE(state_of("interface", "eth1"), "applied");

    change("<update><resolver><search/></resolver></update>");

    EXPECT_THAT(shell("ip -4 -o addr show br0"), HasSubstr("192.168.1.1/24"));
    EXPECT_THAT(shell("ip -o link show master br0"), HasSubstr("eth0@"));
    EXPECT_THAT(shell("ip -o link show eth1"), HasSubstr(",UP"));
    EXPECT_THAT(shell("ip -o -d link show br0"), HasSubstr("stp_state 1 "));
}

TEST_F(Networks, ComeBackWhenABridgeIsDeletedAndAddedAgain)
{
    boot();
    lsql("<lsql><delete><interface name=\"br0\"/></delete></lsql>");
    EXPECT_EQ(state_of("address", "lan"), "waiting for br0");

    change("<insert><interface name=\"br0\"><kind>bridge</kind><members>eth1.5 eth0</members>"
           "<status>up</status></interface></insert>");

    EXPECT_THAT(shell("ip -o link show master br0"),
                AllOf(HasSubstr("eth0@"), HasSubstr("eth1.5@")));
    EXPECT_THAT(shell("ip route show default"), HasSubstr("via 192.168.1.254 dev br0 "));
    EXPECT_EQ(state_of("address", "lan") + state_of("route", "out"), "appliedapplied");
}

TEST_F(Networks, GoBackToTheMtuAndTheSwitchThatAreNotSetAnyMore)
{
    boot();
    change("<update><interface name=\"eth0\"><mtu>1400</mtu></interface></update>"
           "<update><interface name=\"br0\"><mtu>1300</mtu></interface></update>");
    EXPECT_THAT(shell("ip -o link show br0"), HasSubstr("mtu 1300"));

    change("<delete><interface/></delete><insert><interface name=\"eth0\"><kind>ethernet</kind>"
           "</interface></insert><insert><interface name=\"br0\"><kind>bridge</kind></interface>"
           "</insert>");

    EXPECT_THAT(shell("ip -o link show eth0"), AllOf(HasSubstr("mtu 1500"), Not(HasSubstr(",UP"))));
    EXPECT_THAT(shell("ip -o link show br0"), AllOf(HasSubstr("mtu 1500"), Not(HasSubstr(",UP"))));
}

TEST_F(Networks, LetNobodyWaitForAnIpThatHangs)
{
    boot();
    shell("touch /tmp/hangs");

    EXPECT_THAT(request("<update><interface name=\"eth0\"><mtu>1400</mtu></interface></update>"
                        "<update><interface name=\"eth1\"><mtu>1300</mtu></interface></update>"),
                HasSubstr("<rc>0</rc>"));
    EXPECT_EQ(state_of("interface", "eth0") + state_of("interface", "eth1"), "applyingapplying");

    request("<update><interface name=\"eth1\"><mtu>1200</mtu></interface></update>");
    shell("rm /tmp/hangs");
    EXPECT_TRUE(comes_true([] { return state_of("interface", "eth1") == "applied"; }));
    EXPECT_THAT(shell("ip -o link show eth0; ip -o link show eth1"),
                AllOf(HasSubstr("mtu 1400"), HasSubstr("mtu 1200")));
}

/* A condition reads the counters first, which is done with requests that come from nobody. */
TEST_F(Networks, LeaveTheOriginToWhoeverChangesThemWithACondition)
{
    install_plugin("commits.vorn");
    boot();

    lsql("<lsql origin=\"me\"><write-transaction><update><bridge><stp>off</stp></bridge></update>"
         "<where><eq><property>members</property><value>eth0 eth1.5</value></eq></where>"
         "</write-transaction></lsql>");

    EXPECT_THAT(lsql("<lsql><select><commit><origin/></commit></select></lsql>"),
                HasSubstr("<origin>me</origin>"));
}

TEST_F(Networks, LeaveTheResolverAloneWithoutServers)
{
    boot();

    change("<update><resolver><servers/></resolver></update>");

    EXPECT_THAT(read_file("/etc/resolv.conf"), HasSubstr("nameserver 192.168.1.2\n"));
}

TEST_F(Networks, SayThatTheResolverCannotBeWritten)
{
    install_plugin("commits.vorn");
    boot();
    shell("mkdir /etc/resolv.conf.new");

    change("<update><resolver><servers>10.0.0.1</servers></resolver></update>");

    EXPECT_TRUE(console_shows("vorn: network: can't write /etc/resolv.conf: File exists.\n"));
    EXPECT_THAT(lsql("<lsql><select><resolver><state/></resolver></select></lsql>"),
                HasSubstr("<state>failed: can't write /etc/resolv.conf</state>"));
    EXPECT_THAT(
        lsql("<lsql><select><commit><failures/></commit></select></lsql>"),
        HasSubstr("<failures>network: can't write /etc/resolv.conf: File exists</failures>"));
    shell("rmdir /etc/resolv.conf.new");
    change("<update><interface name=\"eth0\"><mtu>1400</mtu></interface></update>");
    EXPECT_EQ(read_file("/etc/resolv.conf"), "search example.net\nnameserver 10.0.0.1\n");
}

TEST_F(Networks, AreMadeAndRemovedWholeInOneTransaction)
{
    boot();

    change("<insert><route name=\"r\"><destination>172.16.0.0/12</destination>"
           "<gateway>10.0.0.2</gateway></route></insert><insert><address name=\"a\">"
           "<kind>static-address</kind><interface>br1</interface><address>10.0.0.1</address>"
           "<prefix>8</prefix></address></insert><insert><interface name=\"br1\">"
           "<kind>bridge</kind><members>to-eth0</members><status>up</status></interface></insert>");
    EXPECT_THAT(shell("ip -4 -o addr show br1"), HasSubstr("10.0.0.1/8"));
    EXPECT_THAT(shell("ip route show 172.16.0.0/12"), HasSubstr("via 10.0.0.2 dev br1"));

    change("<delete><interface name=\"br1\"/></delete><delete><address name=\"a\"/></delete>"
           "<delete><route name=\"r\"/></delete>");
    EXPECT_EQ(shell("ip -o link show br1 2>/dev/null; ip route show 172.16.0.0/12"), "");
}

TEST_F(Networks, HaveALinkThatIsReplacedByOneOfItsName)
{
    boot();

    change("<delete><interface name=\"br0\"/></delete><insert><interface name=\"br0\">"
           "<kind>bridge</kind><members>eth0</members><status>up</status></interface></insert>");

    EXPECT_EQ(shell("ip -o link show master br0 | wc -l"), "1\n");
    EXPECT_THAT(shell("ip -4 -o addr show br0"), HasSubstr("192.168.1.1/24"));
    EXPECT_THAT(shell("ip route show default"), HasSubstr("via 192.168.1.254 dev br0 "));
}

/* The kernel removes a VLAN with the link that it is on. */
TEST_F(Networks, MakeTheVlansOfALinkAgainThatIsMadeAnew)
{
    boot();
    change("<insert><interface name=\"br0.9\"><kind>vlan</kind><parent>br0</parent><id>9</id>"
           "<status>up</status></interface></insert>");
    shell("ip link del br0.9");

    change("<delete><interface name=\"br0\"/></delete><insert><interface name=\"br0\">"
           "<kind>bridge</kind><status>up</status></interface></insert>");

    EXPECT_THAT(shell("ip -o link show br0.9"), HasSubstr(",UP"));
}

TEST_F(Networks, SetUpTheVlansAndTheBridgeOfALinkThatWasAway)
{
    boot();
    shell("ip link del eth1.5; ip link set eth0 nomaster");

    EXPECT_EQ(inform("interface", {"name=eth1"}), "OK\n");
    EXPECT_EQ(inform("interface", {"name=eth0"}), "OK\n");
    EXPECT_TRUE(settles());

    EXPECT_THAT(shell("ip -o link show master br0"),
                AllOf(HasSubstr("eth0@"), HasSubstr("eth1.5@")));
}

TEST_F(Networks, MoveAMemberToABridgeThatComesBeforeItsOwn)
{
    write_file(vorn::test::startup_file,
               "<config><interface name=\"br0\"><kind>bridge</kind></interface>"
               "<interface name=\"br1\"><kind>bridge</kind><members>eth0</members></interface>"
               "</config>");
    boot();

    change("<update><interface name=\"br0\"><members>eth0</members></interface></update>"
           "<update><interface name=\"br1\"><members/></interface></update>");

    EXPECT_THAT(shell("ip -o link show master br0"), HasSubstr("eth0@"));
}

TEST_F(Networks, LeaveTheResolverAloneWithoutActions)
{
    const std::string before = read_file("/etc/resolv.conf");

    boot({"-f", "-n"});

    EXPECT_EQ(read_file("/etc/resolv.conf"), before);
}

/* Two addresses of one network on one link, and two routes. */
class Pairs : public Networks {
protected:
    void SetUp() override
    {
        Networks::SetUp();
        write_file(vorn::test::startup_file,
                   "<config><interface name=\"eth0\"><kind>ethernet</kind><status>up</status>"
                   "</interface>" +
                       address("a", "10.0.0.1") + address("b", "10.0.0.2") +
                       route("r", "172.16.0.0/16") + route("s", "172.17.0.0/16") + "</config>");
        boot();
    }

    static std::string address(const std::string &name, const std::string &value)
    {
        return "<address name=\"" + name +
               "\"><kind>static-address</kind><interface>eth0</interface><address>" + value +
               "</address><prefix>8</prefix></address>";
    }

    static std::string route(const std::string &name, const std::string &destination)
    {
        return "<route name=\"" + name + "\"><destination>" + destination +
               "</destination><gateway>10.0.0.9</gateway></route>";
    }

    static std::string update(const std::string &klass, const std::string &name,
                              const std::string &value)
    {
        return "<update><" + klass + " name=\"" + name + "\">" + value + "</" + klass +
               "></update>";
    }
};

TEST_F(Pairs, OfAddressesCanBeExchanged)
{
    change(update("address", "a", "<address>10.0.0.2</address>") +
           update("address", "b", "<address>10.0.0.1</address>"));

    EXPECT_THAT(shell("ip -4 -o addr show eth0"),
                AllOf(HasSubstr("10.0.0.1/8"), HasSubstr("10.0.0.2/8")));
}

TEST_F(Pairs, OfAddressesKeepTheOneThatIsLeft)
{
    change("<delete><address name=\"a\"/></delete>");
    EXPECT_THAT(shell("ip -4 -o addr show eth0"),
                AllOf(HasSubstr("10.0.0.2/8"), Not(HasSubstr("10.0.0.1/8"))));

    change("<insert>" + address("a", "10.0.0.1") + "</insert>" +
           update("address", "b", "<address>10.0.0.3</address>"));
    EXPECT_THAT(shell("ip -4 -o addr show eth0"),
                AllOf(HasSubstr("10.0.0.1/8"), HasSubstr("10.0.0.3/8")));
}

TEST_F(Pairs, OfRoutesCanBeExchanged)
{
    change(update("route", "r", "<destination>172.17.0.0/16</destination>") +
           update("route", "s", "<destination>172.16.0.0/16</destination>"));

    EXPECT_THAT(shell("ip route show"),
                AllOf(HasSubstr("172.16.0.0/16"), HasSubstr("172.17.0.0/16")));
}

class Leased : public Networks {
protected:
    void SetUp() override
    {
        Networks::SetUp();
        boot();
        change("<insert><address name=\"wan\"><kind>dhcp-address</kind><interface>eth1</interface>"
               "<hostname>attic</hostname></address></insert>");
        ASSERT_TRUE(comes_true([] { return clients().size() == 1; }));
    }

    static std::vector<std::string> clients()
    {
        std::vector<std::string> all = commands_run();
        std::erase_if(all, [](const std::string &each) { return !each.starts_with("udhcpc"); });
        return all;
    }
};

TEST_F(Leased, AddressesKeepAClientRunning)
{
    EXPECT_THAT(clients(), ElementsAre("udhcpc -f -i eth1 -x hostname:attic"));
    EXPECT_TRUE(comes_true([] { return state_of("address", "wan") == "running"; }));

    ASSERT_TRUE(kill_program("pgrep -x sleep"));
    EXPECT_TRUE(comes_true([] { return clients().size() == 2; }));
}

TEST_F(Leased, AddressesStartTheirClientAnewOnlyWhenTheyChange)
{
    forget_runs();

    change("<update><address name=\"lan\"><prefix>16</prefix></address></update>");
    change("<update><address name=\"wan\"><hostname>attic</hostname></address></update>");
    change("<update><address name=\"wan\"><hostname/></address></update>");

    EXPECT_TRUE(comes_true([] { return clients().size() == 1; }));
    EXPECT_THAT(clients(), ElementsAre("udhcpc -f -i eth1"));
}

TEST_F(Leased, AddressesEndTheirClientWhenTheyAreDeleted)
{
    change("<delete><address name=\"wan\"/></delete>");

    EXPECT_TRUE(comes_true([] { return shell("pgrep -c sleep") == "0\n"; }));
}

} // namespace
