/* SPDX-License-Identifier: MIT */
/* Pools that could not serve: what is refused, beside links and addresses, and what is left out. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "address_pools.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using vorn::tests::AddressPools;
using vorn::tests::pools_file;

struct PoolFault {
    const char *name;
    const char *operation;
    const char *reason;
};

constexpr PoolFault pool_faults[] = {
    {"ThatEndBeforeTheyBegin",
     "<update><dhcp-pool name=\"lan\"><last>192.168.1.99</last></dhcp-pool></update>",
     "Property \"last\" of instance \"lan\" of class \"dhcp-pool\": the last address is before the"
     " first"},
    {"InTwoNetworks",
     "<update><dhcp-pool name=\"lan\"><last>192.168.2.9</last></dhcp-pool></update>",
     "Property \"last\" of instance \"lan\" of class \"dhcp-pool\": the first and the last address"
     " are in two networks"},
    {"ThatOverlap",
     "<insert><dhcp-pool name=\"more\"><first>192.168.1.199</first><last>192.168.1.210</last>"
     "</dhcp-pool></insert>",
     "Property \"first\" of instance \"more\" of class \"dhcp-pool\": the pool \"lan\" has some of "
     "its"
     " addresses"},
    {"OutsideTheNetworkOfTheirInterface",
     "<insert><address "
     "name=\"lan\"><kind>static-address</kind><interface>br0</interface><address>10.0.0.1</address>"
     "<prefix>24</prefix></address></insert>",
     "Property \"first\" of instance \"lan\" of class \"dhcp-pool\": no address of the interface "
     "br0"
     " is in its network"},
    {"WithOneStationTwice",
     "<insert><dhcp-host name=\"nas\"><mac>00:11:22:33:44:55</mac><address>192.168.1.21</address>"
     "</dhcp-host></insert>",
     "Property \"mac\" of instance \"nas\" of class \"dhcp-host\": the fixed lease \"printer\" is "
     "this"
     " station's"},
    {"WithOneAddressTwice",
     "<insert><dhcp-host name=\"nas\"><mac>00:11:22:33:44:66</mac><address>192.168.1.20</address>"
     "</dhcp-host></insert>",
     "Property \"address\" of instance \"nas\" of class \"dhcp-host\": the fixed lease \"printer\" "
     "has"
     " this address"},
    {"WithALeaseOfTheDevicesOwnAddress",
     "<insert><address "
     "name=\"lan\"><kind>static-address</kind><interface>br0</interface><address>192.168.1.1"
     "</address><prefix>24</prefix></address></insert>"
     "<insert><dhcp-host name=\"nas\"><mac>00:11:22:33:44:66</mac><address>192.168.1.1</address>"
     "</dhcp-host></insert>",
     "Property \"address\" of instance \"nas\" of class \"dhcp-host\": address \"lan\" of this "
     "device has it"},
    {"WithALeaseOutsideEveryNetwork",
     "<insert><dhcp-host name=\"nas\"><mac>00:11:22:33:44:66</mac><address>10.0.0.5</address>"
     "</dhcp-host></insert>",
     "Property \"address\" of instance \"nas\" of class \"dhcp-host\": it is in no network of a "
     "pool or of this device"},
    {"OfNothingButTheDevicesOwnAddress",
     "<insert><address "
     "name=\"lan\"><kind>static-address</kind><interface>br0</interface><address>192.168.1.1"
     "</address><prefix>24</prefix></address></insert>"
     "<update><dhcp-pool name=\"lan\"><first>192.168.1.1</first><last>192.168.1.1</last>"
     "</dhcp-pool></update>",
     "Property \"first\" of instance \"lan\" of class \"dhcp-pool\": this device has all of its "
     "addresses itself"},
    {"OnAnInterfaceThatIsNone",
     "<update><dhcp-pool name=\"lan\"><interface>br-gest</interface></dhcp-pool></update>",
     "Property \"interface\" of instance \"lan\" of class \"dhcp-pool\": there is no interface "
     "\"br-gest\""},
};

/* With a link for the pool, and somebody who knows of links and addresses. */
class AddressPoolsOfNetworks : public AddressPools {
protected:
    void prepare() override
    {
        shell("ip link add br0 type veth peer name cable");
        install_plugin("network.vorn");
    }
};

class AddressPoolFaults : public AddressPoolsOfNetworks,
                          public testing::WithParamInterface<PoolFault> {};

TEST_P(AddressPoolFaults, AreRefusedAndChangeNothing)
{
    const std::string before = read_file(pools_file);

    EXPECT_THAT(change(GetParam().operation),
                testing::AllOf(HasSubstr("<rc>1</rc>"), HasSubstr(GetParam().reason)));

    EXPECT_EQ(read_file(pools_file), before);
    EXPECT_THAT(change("<update><dhcp-pool><lease-time>700</lease-time></dhcp-pool></update>"),
                HasSubstr("<rc>0</rc>"));
}

INSTANTIATE_TEST_SUITE_P(Of, AddressPoolFaults, testing::ValuesIn(pool_faults),
                         [](const auto &each) { return std::string(each.param.name); });

TEST_F(AddressPoolsOfNetworks, KeepTheirInterface)
{
    install_plugin("schema.vorn");
    shut_down();
    boot();
    change("<insert><interface name=\"br0\"><kind>ethernet</kind></interface></insert>"
           "<insert><interface name=\"br-guest\"><kind>bridge</kind></interface></insert>");

    EXPECT_EQ(
        shell("vornctl delete interface br0 2>&1; echo $?"),
        "vornctl: Property \"interface\" of instance \"lan\" of class \"dhcp-pool\": there is "
        "no interface \"br0\".\n1\n");
    EXPECT_EQ(
        shell("vornctl set dhcp-pool lan interface=br-gest 2>&1; echo $?"),
        "vornctl: Property \"interface\" of instance \"lan\" of class \"dhcp-pool\": there is "
        "no interface \"br-gest\"; did you mean \"br-guest\"?\n1\n");
}

TEST_F(AddressPoolsOfNetworks, HaveNothingToDoWithAddressesOfTheOtherFamily)
{
    constexpr char elsewhere[] = "<insert><dhcp-host name=\"nas\"><mac>00:11:22:33:44:66</mac>"
                                 "<address>10.0.0.5</address></dhcp-host></insert>";
    change("<insert><interface name=\"br0\"><kind>ethernet</kind></interface></insert>"
           "<insert><address name=\"lan\"><kind>static-address</kind><interface>br0</interface>"
           "<address>192.168.1.1</address><prefix>24</prefix></address></insert>");

    EXPECT_THAT(change("<insert><address name=\"six\"><kind>static-ipv6-address</kind>"
                       "<interface>br0</interface><address>2001:db8::1</address>"
                       "<prefix>64</prefix></address></insert>"),
                HasSubstr("<rc>0</rc>"));
    EXPECT_THAT(change("<update><dhcp-pool><lease-time>700</lease-time></dhcp-pool></update>"),
                HasSubstr("<rc>0</rc>"));
    EXPECT_THAT(change(elsewhere), HasSubstr("it is in no network"));
}

/* What can't be known is not held against a fixed lease. */
TEST_F(AddressPoolsOfNetworks, TakeAnyFixedLeaseWhileANetworkIsNotKnown)
{
    constexpr char elsewhere[] = "<insert><dhcp-host name=\"nas\"><mac>00:11:22:33:44:66</mac>"
                                 "<address>10.0.0.5</address></dhcp-host></insert>";
    change("<insert><dhcp-pool name=\"more\"><first>172.16.0.2</first><last>172.16.0.9</last>"
           "</dhcp-pool></insert>");
    EXPECT_THAT(change(elsewhere), HasSubstr("<rc>0</rc>"));
    change("<delete><dhcp-host name=\"nas\"/></delete>");

    change("<update><dhcp-pool name=\"more\"><netmask>255.255.255.0</netmask></dhcp-pool></update>"
           "<insert><address name=\"wan\"><kind>dhcp-address</kind><interface>br0</interface>"
           "</address></insert>");
    EXPECT_THAT(change(elsewhere), HasSubstr("<rc>0</rc>"));
    change("<delete><dhcp-host name=\"nas\"/></delete>");

    change("<delete><address name=\"wan\"/></delete>");
    EXPECT_THAT(change(elsewhere), HasSubstr("it is in no network"));
}

TEST_F(AddressPoolsOfNetworks, DoNotRunWhereNobodyIsServed)
{
    constexpr char nobody[] = "waiting for an address in its network";
    EXPECT_TRUE(state_becomes("dhcp-pool", "lan", nobody));

    change("<insert><interface name=\"br0\"><kind>ethernet</kind></interface></insert>"
           "<insert><address name=\"lan\"><kind>static-address</kind><interface>br0</interface>"
           "<address>192.168.1.1</address><prefix>24</prefix></address></insert>"
           "<insert><dhcp-pool name=\"other\"><first>10.0.0.2</first><last>10.0.0.9</last>"
           "</dhcp-pool></insert>");
    EXPECT_TRUE(state_becomes("dhcp-pool", "lan", "running"));
    EXPECT_EQ(state_of("dhcp-pool", "other"), nobody);

    change("<insert><address name=\"other\"><kind>static-address</kind><interface>br0</interface>"
           "<address>10.0.0.1</address><prefix>24</prefix></address></insert>");
    EXPECT_TRUE(state_becomes("dhcp-pool", "other", "running"));
}

TEST_F(AddressPools, ThatCameInWithoutACheckAreLeftOut)
{
    lsql("<lsql><insert><dhcp-pool name=\"bad\"><first>10.0.0.9</first><last>10.0.0.2</last>"
         "</dhcp-pool></insert></lsql>");

    EXPECT_EQ(state_of("dhcp-pool", "bad"), "failed: the last address is before the first");
    EXPECT_THAT(read_file(pools_file), Not(HasSubstr("10.0.0.9")));
    EXPECT_THAT(change("<update><dhcp-pool name=\"lan\"><lease-time>700</lease-time></dhcp-pool>"
                       "</update>"),
                HasSubstr("<rc>0</rc>"));
}

} // namespace
