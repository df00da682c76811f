/* SPDX-License-Identifier: MIT */
/* Links, addresses, routes and the resolver on virtual cables: what each change runs and leaves. */
#include "support/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr char startup[] =
    "<config>"
    "<interface name=\"eth0\"><kind>ethernet</kind><status>up</status></interface>"
    "<interface name=\"br0\"><kind>bridge</kind><members>eth0 eth1.5</members><stp>on</stp>"
    "<status>up</status></interface>"
    "<interface name=\"eth1\"><kind>ethernet</kind><status>up</status></interface>"
    "<interface name=\"eth1.5\"><kind>vlan</kind><parent>eth1</parent><id>5</id>"
    "<status>up</status></interface>"
    "<address name=\"lan\"><kind>static-address</kind><interface>br0</interface>"
    "<address>192.168.1.1</address><prefix>24</prefix></address>"
    "<route name=\"out\"><destination>default</destination><gateway>192.168.1.254</gateway></route>"
    "<resolver><servers>192.168.1.2 192.168.1.3</servers><search>example.net</search></resolver>"
    "</config>";

class Networks : public vorn::tests::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        for (const char *name : {"eth0", "eth1"}) {
            shell(std::string("ip link add ") + name + " type veth peer name to-" + name +
                  " && ip link set to-" + name + " up");
        }
        install_plugin("network.vorn");
        install_plugin("save.vorn");
        make_vlans_elsewhere();
        stand_in("udhcpc", "exec sleep 1000");
        write_file(vorn::test::startup_file, startup);
    }

    /* The kernel that runs the tests may have no VLANs, but it has links that can be made. */
    void make_vlans_elsewhere()
    {
        std::string ip = shell("command -v ip");
        ip.pop_back();
        stand_in("ip", "case $* in 'link add link '*' type vlan '*)\n"
                       "test ! -e /tmp/no-vlans || exit 1\n"
                       "set -- link add name $6 type veth peer name to-$6\n"
                       "esac; exec " +
                           ip + " \"$@\"");
    }

    void boot_and_forget()
    {
        boot({"-f", "-d"});
        ASSERT_TRUE(console_shows("ng_migrate"));
        shell("truncate -s 0 /dev/console");
    }

    static std::string change(const std::string &operations)
    {
        return lsql("<lsql><write-transaction>" + operations + "</write-transaction></lsql>");
    }

    /* What ip(8) was run with since the log was emptied, a line each. */
    static std::string commands()
    {
        return shell("sed -n 's/^vorn: Running \"ip \\(.*\\)\" -> .*/\\1/p' /dev/console");
    }

    static std::string state_of(const std::string &klass, const std::string &name)
    {
        const std::string answer = lsql("<lsql><select><" + klass + " name=\"" + name +
                                        "\"><state/></" + klass + "></select></lsql>");
        const auto begin = answer.find("<state>") + 7;
        return answer.substr(begin, answer.find("</state>") - begin);
    }
};

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

    EXPECT_EQ(commands(), "route del default via 192.168.1.254\n"
                          "addr del 192.168.1.1/24 dev br0\n"
                          "link del dev br0\nlink del dev eth1.5\n");
    EXPECT_THAT(shell("ip -o link"), Not(HasSubstr("br0")));
}

TEST_F(Networks, TakeALinkThatIsMadeAnewIntoItsBridge)
{
    boot_and_forget();

    change("<update><interface name=\"eth1.5\"><id>6</id></interface></update>");

    EXPECT_EQ(commands(), "link del dev eth1.5\n"
                          "link add link eth1 name eth1.5 type vlan id 6\n"
                          "link set dev eth1.5 master br0\nlink set dev eth1.5 up\n"
                          "route replace default via 192.168.1.254\n");
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

TEST_F(Networks, TryAgainWithTheNextCommitWhatFailed)
{
    write_file(vorn::test::startup_file,
               "<config><interface name=\"eth7\"><kind>ethernet</kind><mtu>1300</mtu>"
               "<status>up</status></interface><address name=\"lan\"><kind>static-address</kind>"
               "<interface>eth7</interface><address>10.0.0.1</address><prefix>8</prefix></address>"
               "</config>");
    boot();
    EXPECT_EQ(state_of("interface", "eth7"), "\"ip link set dev eth7 mtu 1300\" failed");
    EXPECT_EQ(state_of("address", "lan"), "\"ip addr replace 10.0.0.1/8 dev eth7\" failed");
    EXPECT_TRUE(console_shows("vorn: network: \"ip link set dev eth7 up\" failed.\n"));

    shell("ip link add eth7 type veth peer name to-eth7 && ip link set to-eth7 up");
    change("<update><resolver><search/></resolver></update>");

    EXPECT_EQ(state_of("interface", "eth7") + state_of("address", "lan"), "appliedapplied");
    EXPECT_THAT(shell("ip -o addr show eth7; ip -o link show eth7"),
                AllOf(HasSubstr("10.0.0.1/8"), HasSubstr("mtu 1300"), HasSubstr("state UP")));
}

TEST_F(Networks, TryToMakeALinkAgainThatHasNoParentYet)
{
    write_file(vorn::test::startup_file,
               "<config><interface name=\"br0\"><kind>bridge</kind><members>x.2</members>"
               "</interface><interface name=\"x.2\"><kind>vlan</kind><parent>x</parent><id>2</id>"
               "</interface></config>");
    shell("touch /tmp/no-vlans");
    boot();
    EXPECT_EQ(state_of("interface", "x.2"),
              "\"ip link add link x name x.2 type vlan id 2\" failed");
    EXPECT_EQ(state_of("interface", "br0"), "\"ip link set dev x.2 master br0\" failed");

    shell("rm /tmp/no-vlans");
    change("<update><interface name=\"br0\"><stp>off</stp></interface></update>");

    EXPECT_THAT(shell("ip -o link show x.2"), HasSubstr("master br0"));
    EXPECT_EQ(state_of("interface", "br0") + state_of("interface", "x.2"), "appliedapplied");
}

TEST_F(Networks, LeaveTheResolverAloneWithoutServers)
{
    boot();

    change("<update><resolver><servers/></resolver></update>");

    EXPECT_THAT(read_file("/etc/resolv.conf"), HasSubstr("nameserver 192.168.1.2\n"));
}

TEST_F(Networks, SayThatTheResolverCannotBeWritten)
{
    boot();
    shell("mkdir /etc/resolv.conf.new");

    change("<update><resolver><servers>10.0.0.1</servers></resolver></update>");

    EXPECT_TRUE(console_shows("vorn: network: can't write /etc/resolv.conf: File exists.\n"));
    EXPECT_THAT(lsql("<lsql><select><resolver><state/></resolver></select></lsql>"),
                HasSubstr("<state>can't write /etc/resolv.conf</state>"));
    shell("rmdir /etc/resolv.conf.new");
    change("<update><interface name=\"eth0\"><mtu>1400</mtu></interface></update>");
    EXPECT_EQ(read_file("/etc/resolv.conf"), "search example.net\nnameserver 10.0.0.1\n");
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
    EXPECT_EQ(state_of("address", "wan"), "running");

    shell("kill -9 $(pgrep -f 'sleep 1000')");
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

    EXPECT_EQ(shell("pgrep -c sleep"), "0\n");
}

struct Refusal {
    const char *name;
    const char *operation;
};

constexpr Refusal refusals[] = {
    {"BridgesOfTextsThatAreNoNames",
     "<update><interface name=\"br0\"><members>eth0 -x</members></interface></update>"},
    {"VlansWithoutAParent",
     "<insert><interface name=\"v\"><kind>vlan</kind><id>5</id></interface></insert>"},
    {"VlanNumbersOutOfRange",
     "<update><interface name=\"eth1.5\"><id>4095</id></interface></update>"},
    {"KindsThatAreNone",
     "<insert><interface name=\"x\"><kind>token-ring</kind></interface></insert>"},
    {"AnotherKind", "<update><interface name=\"br0\"><kind>vlan</kind></interface></update>"},
    {"AddressesWithoutAPrefix", "<insert><address name=\"x\"><kind>static-address</kind>"
                                "<interface>br0</interface><address>10.0.0.1</address></address>"
                                "</insert>"},
    {"AddressesNowhere", "<update><address name=\"lan\"><interface/></address></update>"},
    {"DestinationsWithoutAPrefix",
     "<update><route name=\"out\"><destination>10.0.0.0</destination></route></update>"},
    {"DestinationsThatEndInABlank",
     "<update><route name=\"out\"><destination>10.0.0.0/ 8</destination></route></update>"},
    {"DestinationsOutOfRange",
     "<update><route name=\"out\"><destination>10.0.0.0/33</destination></route></update>"},
    {"GatewaysThatAreNoAddresses",
     "<update><route name=\"out\"><gateway>gate</gateway></route></update>"},
    {"ServersThatAreNames", "<update><resolver><servers>dns.example</servers></resolver></update>"},
    {"DomainsThatAreNone", "<update><resolver><search>a..b</search></resolver></update>"},
};

class NetworkRefusals : public Networks, public testing::WithParamInterface<Refusal> {};

TEST_P(NetworkRefusals, ChangeNothing)
{
    boot_and_forget();

    EXPECT_THAT(change(GetParam().operation), HasSubstr("<rc>1</rc>"));

    EXPECT_EQ(commands(), "");
    EXPECT_EQ(read_file(vorn::test::startup_file), startup);
}

INSTANTIATE_TEST_SUITE_P(Of, NetworkRefusals, testing::ValuesIn(refusals),
                         [](const auto &each) { return std::string(each.param.name); });

struct Change {
    const char *name;
    const char *operation;
    const char *commands;
};

constexpr Change changes[] = {
    {"AMemberLess", "<update><interface name=\"br0\"><members>eth0</members></interface></update>",
     "link set dev eth1.5 nomaster\n"},
    {"AnotherOrderOfMembers",
     "<update><interface name=\"br0\"><members>eth1.5  eth0</members></interface></update>", ""},
    {"AMemberMore",
     "<update><interface name=\"br0\"><members>eth0 eth1.5 to-eth0</members></interface></update>",
     "link set dev to-eth0 master br0\n"},
    {"TheSpanningTree", "<update><interface name=\"br0\"><stp>off</stp></interface></update>",
     "link set dev br0 type bridge stp_state 0\n"},
    {"AStatusThatTakesRoutesAway",
     "<update><interface name=\"br0\"><status>down</status></interface></update>",
     "link set dev br0 down\n"},
    {"AnAddress", "<update><address><address>192.168.1.9</address></address></update>",
     "addr del 192.168.1.1/24 dev br0\naddr replace 192.168.1.9/24 dev br0\n"
     "route replace default via 192.168.1.254\n"},
    {"AnotherAddress",
     "<insert><address name=\"x\"><kind>static-address</kind><interface>eth1</interface>"
     "<address>10.0.0.1</address><prefix>8</prefix></address></insert>",
     "addr replace 10.0.0.1/8 dev eth1\nroute replace default via 192.168.1.254\n"},
    {"AGateway", "<update><route><gateway>192.168.1.253</gateway></route></update>",
     "route del default via 192.168.1.254\nroute replace default via 192.168.1.253\n"},
    {"NoRoute", "<delete><route/></delete>", "route del default via 192.168.1.254\n"},
    {"TheResolver", "<update><resolver><search>example.org</search></resolver></update>", ""},
    {"NothingNew", "<update><interface><status>up</status></interface></update>", ""},
};

class NetworkChanges : public Networks, public testing::WithParamInterface<Change> {};

TEST_P(NetworkChanges, RunOnlyWhatTheyAskFor)
{
    boot_and_forget();

    EXPECT_THAT(change(GetParam().operation), HasSubstr("<rc>0</rc>"));

    EXPECT_EQ(commands(), GetParam().commands);
}

INSTANTIATE_TEST_SUITE_P(Of, NetworkChanges, testing::ValuesIn(changes),
                         [](const auto &each) { return std::string(each.param.name); });

} // namespace
