/* SPDX-License-Identifier: MIT */
/* Fixed IPv6 addresses and IPv6 resolvers on virtual cables: what is run, refused and told. */
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

std::string fixed(const std::string &name, const std::string &link, const std::string &address,
                  const std::string &prefix = "64")
{
    return "<address name=\"" + name + "\"><kind>static-ipv6-address</kind><interface>" + link +
           "</interface><address>" + address + "</address><prefix>" + prefix +
           "</prefix></address>";
}

/* eth0 and eth1 are on, with two addresses on eth0. */
class FixedIpv6 : public Networks {
protected:
    void SetUp() override
    {
        Networks::SetUp();
        write_file(vorn::test::startup_file,
                   "<config><interface name=\"eth0\"><kind>ethernet</kind><status>up</status>"
                   "</interface><interface name=\"eth1\"><kind>ethernet</kind><status>up</status>"
                   "</interface>" +
                       fixed("a", "eth0", "2001:db8::1") + fixed("b", "eth0", "2001:DB8:0::2") +
                       "</config>");
        boot_and_forget();
        ASSERT_TRUE(settles());
        shell("truncate -s 0 /dev/console");
    }

    static std::string update(const std::string &name, const std::string &values)
    {
        return "<update><address name=\"" + name + "\">" + values + "</address></update>";
    }

    /* The global ones of a link as ip(8) lists them, the latest first. */
    static std::string addresses_of(const std::string &link)
    {
        return shell("ip -6 -o addr show dev " + link +
                     " scope global | sed 's/.*inet6 \\([^ ]*\\) .*/\\1/' | tr '\\n' ' '");
    }
};

TEST_F(FixedIpv6, AddressesAreSetAtBoot)
{
    EXPECT_EQ(addresses_of("eth0"), "2001:db8::2/64 2001:db8::1/64 ");
    EXPECT_EQ(state_of("address", "a") + state_of("static-ipv6-address", "b"), "appliedapplied");
    EXPECT_THAT(lsql("<lsql><select><address name=\"b\"><current/></address></select></lsql>"),
                HasSubstr("<current>2001:db8::2/64</current>"));
}

TEST_F(FixedIpv6, AddressesAreNotCurrentWhileTheLinkHasThemNot)
{
    shell("ip -6 addr flush dev eth0");
    EXPECT_THAT(lsql("<lsql><select><address name=\"b\"><current/></address></select></lsql>"),
                HasSubstr("<current/>"));
    EXPECT_EQ(state_of("address", "a"), "differs: it is gone");

    change("<update><resolver><search/></resolver></update>");
    EXPECT_EQ(addresses_of("eth0"), "2001:db8::2/64 2001:db8::1/64 ");
}

TEST_F(FixedIpv6, AddressesThatOthersHaveSetAreLeftAlone)
{
    shell("ip addr add 2001:db8::99/64 dev eth0");

    change(update("b", "<prefix>80</prefix>"));

    EXPECT_THAT(addresses_of("eth0"),
                AllOf(HasSubstr("2001:db8::99/64"), HasSubstr("2001:db8::2/80")));
}

TEST_F(FixedIpv6, AddressesComeInTheirOrderAfterOneIsMissing)
{
    shell("ip addr del 2001:db8::1/64 dev eth0");

    change("<update><resolver><search/></resolver></update>");

    EXPECT_TRUE(ran("addr del 2001:db8::2/64 dev eth0\naddr replace 2001:db8::1/64 dev eth0\n"
                    "addr replace 2001:db8::2/64 dev eth0\n"));
    EXPECT_EQ(addresses_of("eth0"), "2001:db8::2/64 2001:db8::1/64 ");
}

TEST_F(FixedIpv6, AddressesComeBackWithTheirLink)
{
    change("<update><interface name=\"eth0\"><status>down</status></interface></update>");
    EXPECT_EQ(addresses_of("eth0"), "2001:db8::2/64 2001:db8::1/64 ");
    change("<update><interface name=\"eth0\"><status>up</status></interface></update>");
    EXPECT_EQ(addresses_of("eth0"), "2001:db8::2/64 2001:db8::1/64 ");

    shell("ip link del eth0");
    EXPECT_TRUE(comes_true([] { return state_of("address", "a") == "waiting for eth0"; }));
    shell("ip link add eth0 type veth peer name to-eth0");
    EXPECT_TRUE(
        comes_true([] { return addresses_of("eth0") == "2001:db8::2/64 2001:db8::1/64 "; }));
}

TEST_F(FixedIpv6, AddressesWaitForTheirLink)
{
    change("<insert><interface name=\"eth7\"><kind>ethernet</kind><status>up</status></interface>"
           "</insert><insert>" +
           fixed("seven", "eth7", "fd00::7", "128") + "</insert>");
    EXPECT_EQ(state_of("address", "seven"), "waiting for eth7");

    shell("ip link add eth7 type veth peer name to-eth7");

    EXPECT_TRUE(comes_true([] { return state_of("address", "seven") == "applied"; }));
    EXPECT_EQ(addresses_of("eth7"), "fd00::7/128 ");
}

TEST_F(FixedIpv6, AddressesSayThatTheMtuIsTooSmall)
{
    change("<update><interface name=\"eth0\"><mtu>1279</mtu></interface></update>");
    EXPECT_EQ(state_of("address", "a"), "failed: the MTU of eth0 is 1279, and IPv6 needs 1280");

    change("<update><interface name=\"eth0\"><mtu>1280</mtu></interface></update>");
    EXPECT_EQ(state_of("address", "a"), "applied");
    EXPECT_EQ(addresses_of("eth0"), "2001:db8::2/64 2001:db8::1/64 ");
}

TEST_F(FixedIpv6, AddressesSayThatAnotherDeviceHasThem)
{
    shell("ip addr add fd00::9/64 dev to-eth1 nodad");

    change("<insert>" + fixed("nine", "eth1", "fd00::9") + "</insert>");

    EXPECT_TRUE(comes_true([] {
        return state_of("address", "nine") == "failed: another device has it, where eth1 leads";
    }));
    shell("ip addr del fd00::9/64 dev to-eth1");
    change("<update><resolver><search>example.net</search></resolver></update>");
    EXPECT_TRUE(comes_true([] {
        return state_of("address", "nine") == "applied" &&
               shell("ip -6 addr show dev eth1 tentative") == "";
    }));
}

TEST_F(FixedIpv6, AddressesOfOneLinkCanBeExchanged)
{
    change(update("a", "<address>2001:db8::2</address>") +
           update("b", "<address>2001:db8::1</address>"));

    EXPECT_EQ(addresses_of("eth0"), "2001:db8::1/64 2001:db8::2/64 ");
}

TEST_F(FixedIpv6, AddressesGoWithAnOldConfiguration)
{
    kill(daemon_pid(), SIGKILL);
    EXPECT_EQ(exit_status(), -SIGKILL);
    write_file(vorn::test::startup_file,
               "<config>" + fixed("b", "eth1", "2001:db8::2") + "</config>");

    boot();

    EXPECT_EQ(addresses_of("eth0"), "");
    EXPECT_EQ(addresses_of("eth1"), "2001:db8::2/64 ");
}

/* Outside a transaction nobody judges them together. */
TEST_F(FixedIpv6, AddressesThatAnotherInstanceHasAreLeftOut)
{
    lsql("<lsql><insert>" + fixed("c", "eth0", "2001:db8::0:1") + "</insert></lsql>");

    EXPECT_EQ(state_of("address", "c"), "failed: address \"a\" is the same");
    EXPECT_EQ(state_of("address", "a"), "applied");
}

struct Ipv6AddressCase {
    const char *name;
    std::string operation;
    const char *expected;
};

const Ipv6AddressCase v6_address_changes[] = {
    {"AnAddress", "<update><address name=\"b\"><address>2001:db8::3</address></address></update>",
     "addr del 2001:db8::2/64 dev eth0\naddr replace 2001:db8::3/64 dev eth0\n"},
    {"AnotherWayToWriteIt",
     "<update><address name=\"b\"><address>2001:db8:0:0::2</address></address></update>", ""},
    {"APrefix", "<update><address name=\"b\"><prefix>80</prefix></address></update>",
     "addr del 2001:db8::2/64 dev eth0\naddr replace 2001:db8::2/80 dev eth0\n"},
    {"AnInterface", "<update><address name=\"b\"><interface>eth1</interface></address></update>",
     "addr del 2001:db8::2/64 dev eth0\naddr replace 2001:db8::2/64 dev eth1\n"},
    {"OneMore", "<insert>" + fixed("c", "eth0", "fd00::1") + "</insert>",
     "addr replace fd00::1/64 dev eth0\n"},
    {"OneThatEachLinkHas", "<insert>" + fixed("c", "eth1", "fe80::1") + "</insert>",
     "addr replace fe80::1/64 dev eth1\n"},
    {"OneOfTheLinkAloneBesideOthers", "<insert>" + fixed("c", "eth0", "fe80::1") + "</insert>",
     "addr replace fe80::1/64 dev eth0\n"},
    {"OneLess", "<delete><address name=\"a\"/></delete>", "addr del 2001:db8::1/64 dev eth0\n"},
    {"NothingNew", "<update><address name=\"a\"><prefix>64</prefix></address></update>", ""},
    {"ARequestForServers",
     "<update><resolver><servers>2001:db8::53 192.0.2.53</servers></resolver></update>", ""},
};

class FixedIpv6Changes : public FixedIpv6, public testing::WithParamInterface<Ipv6AddressCase> {};

TEST_P(FixedIpv6Changes, RunOnlyWhatTheyAskFor)
{
    const std::string said = lsql("<explain>" + GetParam().operation + "</explain>");

    EXPECT_THAT(change(GetParam().operation), HasSubstr("<rc>0</rc>"));

    EXPECT_TRUE(ran(GetParam().expected));
    EXPECT_EQ(said.find(": ip ") != std::string::npos, *GetParam().expected != '\0') << said;
}

INSTANTIATE_TEST_SUITE_P(Of, FixedIpv6Changes, testing::ValuesIn(v6_address_changes),
                         [](const auto &each) { return std::string(each.param.name); });

const Ipv6AddressCase v6_address_refusals[] = {
    {"NamesOfNothing", "<insert>" + fixed("x", "eth77", "fd00::1") + "</insert>",
     "there is no interface \"eth77\""},
    {"AddressesOfIpv4", "<insert>" + fixed("x", "eth0", "192.0.2.1") + "</insert>",
     "An IPv6 address is 2001:db8::1."},
    {"AddressesWithAnIpv4AtTheirEnd",
     "<insert>" + fixed("x", "eth0", "::ffff:192.0.2.1") + "</insert>",
     "An IPv6 address is 2001:db8::1."},
    {"AddressesWithAZone", "<insert>" + fixed("x", "eth0", "fe80::1%eth0") + "</insert>",
     "An IPv6 address is 2001:db8::1."},
    {"AddressesOfGroups", "<insert>" + fixed("x", "eth0", "ff02::1") + "</insert>",
     "No device can have that address."},
    {"AddressesOfNobody", "<insert>" + fixed("x", "eth0", "::") + "</insert>",
     "No device can have that address."},
    {"AddressesOfEverybody", "<insert>" + fixed("x", "eth0", "::1") + "</insert>",
     "No device can have that address."},
    {"AddressesOfRouters", "<insert>" + fixed("x", "eth0", "2001:db8:1::") + "</insert>",
     "it is that of every router in its network"},
    {"AddressesThatAnotherHas", "<insert>" + fixed("x", "eth1", "2001:DB8::0:1") + "</insert>",
     "address \"a\" has it too"},
    {"PrefixesOutOfRange", "<insert>" + fixed("x", "eth1", "fd00::1", "129") + "</insert>",
     "<rc>1</rc>"},
    {"ServersWithAnInterface",
     "<update><resolver><servers>fe80::1%eth0</servers></resolver></update>", "<rc>1</rc>"},
};

class FixedIpv6Refusals : public FixedIpv6, public testing::WithParamInterface<Ipv6AddressCase> {};

TEST_P(FixedIpv6Refusals, ChangeNothing)
{
    EXPECT_THAT(change(GetParam().operation),
                AllOf(HasSubstr("<rc>1</rc>"), HasSubstr(GetParam().expected)));

    EXPECT_EQ(commands(), "");
}

INSTANTIATE_TEST_SUITE_P(Of, FixedIpv6Refusals, testing::ValuesIn(v6_address_refusals),
                         [](const auto &each) { return std::string(each.param.name); });

TEST_F(FixedIpv6, ServersAreAskedInTheirOrder)
{
    change("<update><resolver><servers>2001:db8::53 192.0.2.53 fd00::53</servers></resolver>"
           "</update>");

    EXPECT_EQ(read_file("/etc/resolv.conf"),
              "nameserver 2001:db8::53\nnameserver 192.0.2.53\nnameserver fd00::53\n");
}

} // namespace
