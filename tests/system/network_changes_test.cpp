/* SPDX-License-Identifier: MIT */
/* What each change of the network runs, and what is refused. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "networks.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using vorn::tests::bridged_network;
using vorn::tests::Networks;

struct NetworkRefusal {
    const char *name;
    const char *operation;
};

constexpr NetworkRefusal network_refusals[] = {
    {"BridgesOfTextsThatAreNoNames",
     "<update><interface name=\"br0\"><members>eth0 -x</members></interface></update>"},
    {"VlansWithoutAParent",
     "<insert><interface name=\"v\"><kind>vlan</kind><id>5</id></interface></insert>"},
    {"VlanNumbersOutOfRange",
     "<update><interface name=\"eth1.5\"><id>4095</id></interface></update>"},
    {"KindsThatAreNone",
     "<insert><interface name=\"x\"><kind>token-ring</kind></interface></insert>"},
    {"BondsOfNoMode",
     "<insert><interface name=\"x\"><kind>bond</kind><mode>4</mode></interface></insert>"},
    {"VlansThatAreNone",
     "<insert><bridge-port name=\"eth0\"><tagged>10 20-19</tagged></bridge-port></insert>"},
    {"VlansOutOfRange",
     "<insert><bridge-port name=\"eth0\"><untagged>4095</untagged></bridge-port></insert>"},
    {"AnotherKind", "<update><interface name=\"br0\"><kind>vlan</kind></interface></update>"},
    {"AddressesWithoutAPrefix", "<insert><address name=\"x\"><kind>static-address</kind>"
                                "<interface>br0</interface><address>10.0.0.1</address></address>"
                                "</insert>"},
    {"AddressesNowhere", "<update><address name=\"lan\"><interface/></address></update>"},
    {"DestinationsWithoutAPrefix",
     "<update><route name=\"out\"><destination>10.0.0.0</destination></route></update>"},
    {"AddressesOfNobody", "<update><address name=\"lan\"><address>255.255.255.255</address>"
                          "</address></update>"},
    {"AddressesOfEverybody", "<update><address name=\"lan\"><prefix>0</prefix></address></update>"},
    {"DestinationsThatAreNoWholeNetworks",
     "<update><route name=\"out\"><destination>10.0.0.1/8</destination></route></update>"},
    {"DestinationsThatEndInABlank",
     "<update><route name=\"out\"><destination>10.0.0.0/ 8</destination></route></update>"},
    {"DestinationsOutOfRange",
     "<update><route name=\"out\"><destination>10.0.0.0/33</destination></route></update>"},
    {"GatewaysThatAreNoAddresses",
     "<update><route name=\"out\"><gateway>gate</gateway></route></update>"},
    {"ServersThatAreNames", "<update><resolver><servers>dns.example</servers></resolver></update>"},
    {"LinesInDomains", "<update><resolver><search>aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"
                       "aaaaaaaaaaaaaa.a&#10;nameserver&#9;6.6.6.6</search></resolver></update>"},
    {"MtusThatAreNoPlainNumbers",
     "<update><interface name=\"eth0\"><mtu>&#10;1400</mtu></interface></update>"},
    {"VlanNumbersThatAreNoPlainNumbers",
     "<update><interface name=\"eth1.5\"><id>+5</id></interface></update>"},
    {"DomainsThatAreNone", "<update><resolver><search>a..b</search></resolver></update>"},
};

class NetworkRefusals : public Networks, public testing::WithParamInterface<NetworkRefusal> {};

TEST_P(NetworkRefusals, ChangeNothing)
{
    boot_and_forget();

    EXPECT_THAT(change(GetParam().operation), HasSubstr("<rc>1</rc>"));

    EXPECT_EQ(commands(), "");
    EXPECT_EQ(read_file(vorn::test::startup_file), bridged_network);
}

INSTANTIATE_TEST_SUITE_P(Of, NetworkRefusals, testing::ValuesIn(network_refusals),
                         [](const auto &each) { return std::string(each.param.name); });

struct NetworkFault {
    const char *name;
    const char *operation;
    const char *answer;
};

#define FILTERING(ports)                                                                           \
    "<update><interface name=\"br0\"><vlan-filtering>on</vlan-filtering></interface></update>"     \
    "<insert>" ports "</insert>"

constexpr NetworkFault network_faults[] = {
    {"AddressesOnNoInterface",
     "<update><address name=\"lan\"><interface>eth77</interface></address></update>",
     "Property \"interface\" of instance \"lan\" of class \"static-address\": "
     "there is no interface \"eth77\""},
    {"AddressesThatAnotherHas",
     "<insert><address name=\"x\"><kind>static-address</kind><interface>eth1</interface>"
     "<address>192.168.1.1</address><prefix>16</prefix></address></insert>",
     "Property \"address\" of instance \"x\" of class \"static-address\": address \"lan\" has it "
     "too"},
    {"AddressesOfWholeNetworks",
     "<update><address name=\"lan\"><address>192.168.1.0</address></address></update>",
     "it is the address of the whole network"},
    {"BroadcastAddresses",
     "<update><address name=\"lan\"><address>192.168.1.255</address></address></update>",
     "it is the network's broadcast address"},
    {"InterfacesThatOthersReferTo", "<delete><interface name=\"br0\"/></delete>",
     "Property \"interface\" of instance \"lan\" of class \"static-address\": "
     "there is no interface \"br0\""},
    {"MembersThatAreNothing",
     "<update><interface name=\"br0\"><members>eth0 eth77</members></interface></update>",
     "Property \"members\" of instance \"br0\" of class \"bridge\": there is no interface "
     "\"eth77\""},
    {"MembersOfTwoBridges",
     "<insert><interface name=\"br1\"><kind>bridge</kind><members>eth0</members></interface>"
     "</insert>",
     "Property \"members\" of instance \"br1\" of class \"bridge\": \"eth0\" is a member of "
     "\"br0\" too"},
    {"MembersOfABridgeAndABond",
     "<insert><interface name=\"lag\"><kind>bond</kind><members>eth0</members></interface>"
     "</insert>",
     "\"eth0\" is a member of \"br0\" too"},
    {"PortsOfNoBridge",
     "<insert><bridge-port name=\"eth1\"><untagged>7</untagged></bridge-port></insert>",
     "Instance \"eth1\" of class \"bridge-port\": \"eth1\" is a member of no bridge"},
    {"PortsOfBridgesThatDoNotFilter",
     "<insert><bridge-port name=\"eth0\"><untagged>7</untagged></bridge-port></insert>",
     "bridge \"br0\" does not filter VLANs"},
    {"VlansThatAreTaggedAndUntagged",
     FILTERING(
         "<bridge-port name=\"eth0\"><untagged>15</untagged><tagged>10-19</tagged></bridge-port>"),
     "Property \"untagged\" of instance \"eth0\" of class \"bridge-port\": VLAN 15 is among the "
     "tagged ones"},
    {"BondsOfVlans",
     "<insert><interface name=\"lag\"><kind>bond</kind><members>eth1.5</members></interface>"
     "</insert>",
     "Property \"members\" of instance \"lag\" of class \"bond\": \"eth1.5\" is no port"},
    {"BondsThatStandOnThemselves",
     "<insert><interface name=\"lag\"><kind>bond</kind><members>lag</members></interface>"
     "</insert>",
     "it would stand on itself"},
    {"BridgesOnThemselves",
     "<update><interface name=\"eth1.5\"><parent>br0</parent></interface></update>",
     "it would stand on itself"},
    {"VlansOnNothing",
     "<update><interface name=\"eth1.5\"><parent>eth77</parent></interface></update>",
     "Property \"parent\" of instance \"eth1.5\" of class \"vlan\": there is no interface "
     "\"eth77\""},
    {"VlansThatAnotherIs",
     "<insert><interface name=\"x\"><kind>vlan</kind><parent>eth1</parent><id>5</id></interface>"
     "</insert>",
     "Property \"id\" of instance \"x\" of class \"vlan\": interface \"eth1.5\" has it on eth1"},
    {"NamesThatTheKernelDoesNotTake",
     "<insert><interface name=\"a-name-of-sixteen\"><kind>bridge</kind></interface></insert>",
     "the name of an interface has 1 to 15 letters"},
    {"NamesOfSeveralWords",
     "<insert><interface name=\"x type dummy\"><kind>bridge</kind></interface></insert>",
     "the name of an interface has 1 to 15 letters"},
    {"RoutesOfAnother",
     "<insert><route name=\"x\"><destination>default</destination><gateway>192.168.1.253</gateway>"
     "</route></insert>",
     "Property \"destination\" of instance \"x\" of class \"route\": route \"out\" goes there "
     "with the same metric"},
    {"RoutesToNowhere",
     "<insert><route name=\"x\"><destination>10.0.0.0/8</destination></route>"
     "</insert>",
     "a route needs a gateway or an interface"},
    {"RoutesToTheDeviceItself",
     "<update><route name=\"out\"><gateway>192.168.1.1</gateway></route></update>",
     "address \"lan\" of this device has it"},
    {"RoutesOfItsNameToTheDeviceItself",
     "<insert><route name=\"lan\"><destination>10.0.0.0/8</destination>"
     "<gateway>192.168.1.1</gateway></route></insert>",
     "address \"lan\" of this device has it"},
};

class NetworkFaults : public Networks, public testing::WithParamInterface<NetworkFault> {};

TEST_P(NetworkFaults, AreRefusedWithTheirReason)
{
    boot_and_forget();

    EXPECT_THAT(change(GetParam().operation),
                AllOf(HasSubstr("<rc>1</rc>"), HasSubstr(GetParam().answer)));

    EXPECT_EQ(commands(), "");
    EXPECT_EQ(read_file(vorn::test::startup_file), bridged_network);
}

INSTANTIATE_TEST_SUITE_P(Of, NetworkFaults, testing::ValuesIn(network_faults),
                         [](const auto &each) { return std::string(each.param.name); });

struct NetworkChange {
    const char *name;
    const char *operation;
    const char *commands;
};

constexpr NetworkChange network_changes[] = {
    {"AMemberLess", "<update><interface name=\"br0\"><members>eth0</members></interface></update>",
     "link set dev eth1.5 nomaster\n"},
    {"AnotherOrderOfMembers",
     "<update><interface name=\"br0\"><members>eth1.5  eth0</members></interface></update>", ""},
    {"AMemberMore",
     "<update><interface name=\"br0\"><members>eth0 eth1.5 to-eth0</members></interface></update>",
     "link set dev to-eth0 master br0\n"},
    {"AnMtu", "<update><interface name=\"br0\"><mtu>1400</mtu></interface></update>",
     "link set dev br0 mtu 1400\n"},
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
     "addr replace 10.0.0.1/8 dev eth1\n"},
    {"AGateway", "<update><route><gateway>192.168.1.253</gateway></route></update>",
     "route del default via 192.168.1.254\nroute replace default via 192.168.1.253\n"},
    {"NoRoute", "<delete><route/></delete>", "route del default via 192.168.1.254\n"},
    {"TheResolver", "<update><resolver><search>example.org</search></resolver></update>", ""},
    {"NothingNew", "<update><interface><status>up</status></interface></update>", ""},
};

class NetworkChanges : public Networks, public testing::WithParamInterface<NetworkChange> {};

TEST_P(NetworkChanges, RunOnlyWhatTheyAskFor)
{
    boot_and_forget();

    EXPECT_THAT(change(GetParam().operation), HasSubstr("<rc>0</rc>"));

    EXPECT_TRUE(ran(GetParam().commands));
}

INSTANTIATE_TEST_SUITE_P(Of, NetworkChanges, testing::ValuesIn(network_changes),
                         [](const auto &each) { return std::string(each.param.name); });

} // namespace
