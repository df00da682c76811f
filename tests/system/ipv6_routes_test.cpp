/* SPDX-License-Identifier: MIT */
/* IPv6 routes, and addresses by what routers announce: what is run, refused and told. */
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

std::string route_to(const std::string &name, const std::string &destination,
                     const std::string &values)
{
    return "<ipv6-route name=\"" + name + "\"><destination>" + destination + "</destination>" +
           values + "</ipv6-route>";
}

std::string by(const std::string &gateway, const std::string &link = "")
{
    return "<gateway>" + gateway + "</gateway>" +
           (link.empty() ? "" : "<interface>" + link + "</interface>");
}

std::string listener(const std::string &name, const std::string &link,
                     const std::string &values = "")
{
    return "<address name=\"" + name + "\"><kind>slaac-address</kind><interface>" + link +
           "</interface>" + values + "</address>";
}

std::string inserted(const std::string &instance)
{
    return "<insert>" + instance + "</insert>";
}

/* eth0 and eth1 are on, eth0 has an address, and a route leads over it. */
class Ipv6Routes : public Networks {
protected:
    void SetUp() override
    {
        Networks::SetUp();
        write_file(vorn::test::startup_file,
                   "<config><interface name=\"eth0\"><kind>ethernet</kind><status>up</status>"
                   "</interface><interface name=\"eth1\"><kind>ethernet</kind><status>up</status>"
                   "</interface><address name=\"a\"><kind>static-ipv6-address</kind>"
                   "<interface>eth0</interface><address>2001:db8::1</address><prefix>64</prefix>"
                   "</address>" +
                       route_to("out", "::/0", by("2001:db8::9")) + "</config>");
        boot_and_forget();
        ASSERT_TRUE(comes_true([] { return state_of("ipv6-route", "out") == "applied"; }));
        shell("truncate -s 0 /dev/console");
    }

    static std::string way_to(const std::string &destination)
    {
        return shell("ip -6 route show " + destination +
                     " | sed 's/ proto.* metric/ metric/; "
                     "s/ pref.*//'");
    }
};

TEST_F(Ipv6Routes, AreSetAtBoot)
{
    EXPECT_EQ(way_to("default"), "default via 2001:db8::9 dev eth0 metric 1024\n");
}

TEST_F(Ipv6Routes, LeaveOverTheLinkThatLeadsToTheirGateway)
{
    change(inserted(route_to("x", "2001:db8:8::/48", by("fd00::9"))));
    EXPECT_EQ(state_of("ipv6-route", "x"), "waiting for a way to fd00::9");

    change(inserted(route_to("way", "fd00::/64", "<interface>eth1</interface>")));

    EXPECT_EQ(way_to("2001:db8:8::/48"), "2001:db8:8::/48 via fd00::9 dev eth1 metric 1024\n");
    change("<delete><ipv6-route name=\"way\"/></delete>");
    EXPECT_EQ(way_to("2001:db8:8::/48"), "");
}

TEST_F(Ipv6Routes, ComeBackWithTheirLink)
{
    change("<update><interface name=\"eth0\"><status>down</status></interface></update>");
    EXPECT_EQ(state_of("ipv6-route", "out"), "waiting for a way to 2001:db8::9");

    change("<update><interface name=\"eth0\"><status>up</status></interface></update>");
    EXPECT_EQ(way_to("default"), "default via 2001:db8::9 dev eth0 metric 1024\n");
}

TEST_F(Ipv6Routes, SayThatSomebodyTookThemAway)
{
    shell("ip -6 route del default");
    EXPECT_EQ(state_of("ipv6-route", "out"), "differs: it is gone");

    change("<update><resolver><search/></resolver></update>");
    EXPECT_TRUE(ran("route replace ::/0 via 2001:db8::9 dev eth0 metric 1024\n"));
}

/* Outside a transaction nobody judges it. */
TEST_F(Ipv6Routes, ToNowhereLeaveThoseOfOthersAlone)
{
    shell("ip -6 route add 2001:db8:8::/48 dev eth1");

    lsql("<lsql>" + inserted(route_to("x", "2001:db8:8::/48", "")) + "</lsql>");

    EXPECT_EQ(state_of("ipv6-route", "x"), "failed: a route needs a gateway or an interface");
    EXPECT_EQ(way_to("2001:db8:8::/48"), "2001:db8:8::/48 dev eth1 metric 1024\n");
}

TEST_F(Ipv6Routes, GoWithAnOldConfiguration)
{
    change(inserted(route_to("x", "2001:db8:8::/48", by("fe80::9", "eth1"))));
    kill(daemon_pid(), SIGKILL);
    EXPECT_EQ(exit_status(), -SIGKILL);
    write_file(vorn::test::startup_file,
               "<config>" + route_to("x", "2001:db8:8::/48", by("fe80::8", "eth1")) + "</config>");

    boot();

    EXPECT_EQ(way_to("default"), "");
    EXPECT_THAT(way_to("2001:db8:8::/48"), Not(HasSubstr("fe80::9")));
}

/* Outside a transaction nobody judges them together. */
TEST_F(Ipv6Routes, OfWhichAnotherHasThePlaceAreLeftOut)
{
    lsql("<lsql>" + inserted(route_to("x", "::/0", by("2001:db8::8"))) + "</lsql>");

    EXPECT_EQ(state_of("ipv6-route", "x"), "failed: route \"out\" has its place");
    EXPECT_EQ(way_to("default"), "default via 2001:db8::9 dev eth0 metric 1024\n");
}

struct Ipv6RouteCase {
    const char *name;
    std::string operation;
    const char *expected;
};

const Ipv6RouteCase v6_route_changes[] = {
    {"AGateway",
     "<update><ipv6-route name=\"out\"><gateway>2001:db8::8</gateway></ipv6-route></update>",
     "route del ::/0 via 2001:db8::9 dev eth0 metric 1024\n"
     "route replace ::/0 via 2001:db8::8 dev eth0 metric 1024\n"},
    {"AMetric", "<update><ipv6-route name=\"out\"><metric>7</metric></ipv6-route></update>",
     "route del ::/0 via 2001:db8::9 dev eth0 metric 1024\n"
     "route replace ::/0 via 2001:db8::9 dev eth0 metric 7\n"},
    {"TheUsualMetric",
     "<update><ipv6-route name=\"out\"><metric>1024</metric></ipv6-route></update>", ""},
    {"AnotherWayToWriteIt",
     "<update><ipv6-route name=\"out\"><destination>0::0/0</destination></ipv6-route></update>",
     ""},
    {"ANeighbourOfOneLink", inserted(route_to("x", "2001:db8:8::/48", by("fe80::9", "eth1"))),
     "route replace 2001:db8:8::/48 via fe80::9 dev eth1 metric 1024\n"},
    {"NoGateway", inserted(route_to("x", "2001:db8:8::/48", "<interface>eth1</interface>")),
     "route replace 2001:db8:8::/48 dev eth1 metric 1024\n"},
    {"OneLess", "<delete><ipv6-route/></delete>",
     "route del ::/0 via 2001:db8::9 dev eth0 metric 1024\n"},
    {"AListener", inserted(listener("wan", "eth1")), ""},
};

class Ipv6RouteChanges : public Ipv6Routes, public testing::WithParamInterface<Ipv6RouteCase> {};

TEST_P(Ipv6RouteChanges, RunOnlyWhatTheyAskFor)
{
    const std::string said = lsql("<explain>" + GetParam().operation + "</explain>");

    EXPECT_THAT(change(GetParam().operation), HasSubstr("<rc>0</rc>"));

    EXPECT_TRUE(ran(GetParam().expected));
    EXPECT_EQ(said.find(": ip ") != std::string::npos, *GetParam().expected != '\0') << said;
}

INSTANTIATE_TEST_SUITE_P(Of, Ipv6RouteChanges, testing::ValuesIn(v6_route_changes),
                         [](const auto &each) { return std::string(each.param.name); });

const Ipv6RouteCase v6_route_refusals[] = {
    {"DestinationsWithBitsBehindThePrefix",
     inserted(route_to("x", "2001:db8::1/64", by("2001:db8::9"))),
     "no bit behind the prefix is set"},
    {"DestinationsWithoutAPrefix", inserted(route_to("x", "2001:db8::", by("2001:db8::9"))),
     "An IPv6 network is 2001:db8::/32"},
    {"DestinationsOfIpv4", inserted(route_to("x", "10.0.0.0/8", by("2001:db8::9"))),
     "An IPv6 network is 2001:db8::/32"},
    {"DestinationsOutOfRange", inserted(route_to("x", "2001:db8::/129", by("2001:db8::9"))),
     "An IPv6 network is 2001:db8::/32"},
    {"GatewaysOfIpv4", inserted(route_to("x", "2001:db8:8::/48", by("192.0.2.1"))),
     "An IPv6 address is 2001:db8::1."},
    {"RoutesToNowhere", inserted(route_to("x", "2001:db8:8::/48", "")),
     "a route needs a gateway or an interface"},
    {"NeighboursOfNoLink", inserted(route_to("x", "2001:db8:8::/48", by("fe80::9"))),
     "each interface has its own neighbours that begin with fe80"},
    {"RoutesToTheDeviceItself", inserted(route_to("x", "2001:db8:8::/48", by("2001:DB8::0:1"))),
     "address \"a\" of this device has it"},
    {"RoutesOfAnother",
     inserted(route_to("x", "0::/0", by("2001:db8::8") + "<metric>1024</metric>")),
     "route \"out\" goes there with the same metric"},
    {"LinksThatAreNone", inserted(route_to("x", "2001:db8:8::/48", by("fe80::9", "eth77"))),
     "there is no interface \"eth77\""},
    {"ListenersNowhere", inserted(listener("x", "eth77")), "there is no interface \"eth77\""},
    {"TwoListenersOnOneLink", inserted(listener("x", "eth1")) + inserted(listener("y", "eth1")),
     "listens there already"},
};

class Ipv6RouteRefusals : public Ipv6Routes, public testing::WithParamInterface<Ipv6RouteCase> {};

TEST_P(Ipv6RouteRefusals, ChangeNothing)
{
    EXPECT_THAT(change(GetParam().operation),
                AllOf(HasSubstr("<rc>1</rc>"), HasSubstr(GetParam().expected)));

    EXPECT_EQ(commands(), "");
}

INSTANTIATE_TEST_SUITE_P(Of, Ipv6RouteRefusals, testing::ValuesIn(v6_route_refusals),
                         [](const auto &each) { return std::string(each.param.name); });

/* The other end of eth1's cable is a router, which answers who asks for one. */
class Ipv6Listeners : public Ipv6Routes {
protected:
    static std::string setting(const std::string &name)
    {
        std::string value = shell("cat /proc/sys/net/ipv6/conf/eth1/" + name);
        value.pop_back();
        return value;
    }

    static std::string settings()
    {
        return setting("accept_ra") + setting("autoconf") + setting("use_tempaddr");
    }

    static void set(const std::string &name, const std::string &value)
    {
        shell("echo " + value + " >/proc/sys/net/ipv6/conf/eth1/" + name);
    }

    static std::string current()
    {
        return lsql("<lsql><select><address name=\"wan\"><current/></address></select></lsql>");
    }

    void begin_to_announce()
    {
        write_file(
            "/tmp/router",
            "import socket, struct\n"
            "door = socket.socket(socket.AF_INET6, socket.SOCK_RAW, socket.IPPROTO_ICMPV6)\n"
            "link = socket.if_nametoindex('to-eth1')\n"
            "group = socket.inet_pton(socket.AF_INET6, 'ff02::2') + struct.pack('=I', link)\n"
            "door.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_JOIN_GROUP, group)\n"
            "door.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_MULTICAST_HOPS, 255)\n"
            "prefix = struct.pack('!BBBBIII', 3, 4, 64, 0xc0, 3600, 1800, 0)\n"
            "prefix += socket.inet_pton(socket.AF_INET6, '2001:db8:5::')\n"
            "answer = struct.pack('!BBHBBHII', 134, 0, 0, 64, 0, 1800, 0, 0) + prefix\n"
            "open('/tmp/ready', 'w').close()\n"
            "while True:\n"
            "    if door.recv(2000)[0] == 133:\n"
            "        door.sendto(answer, ('ff02::1', 0, 0, link))\n");
        set("accept_ra_from_local", "1"); /* that router is the device itself */
        shell("python3 /tmp/router >/tmp/router.log 2>&1 & echo $! >/tmp/router.pid");
        ASSERT_TRUE(comes_true([] { return exists("/tmp/ready"); }));
        ASSERT_TRUE(comes_true([] {
            return shell("ip -6 addr show to-eth1 scope link tentative; "
                         "ip -6 addr show eth1 scope link tentative") == "";
        })) << "the links have no addresses of their own";
    }

    void TearDown() override
    {
        shell("test ! -e /tmp/router.pid || kill $(cat /tmp/router.pid)");
        Ipv6Routes::TearDown();
    }
};

TEST_F(Ipv6Listeners, AskForARouterAndHaveTheAddressThatItAnnounces)
{
    set("accept_ra", "0");
    begin_to_announce();

    change(inserted(listener("wan", "eth1", "<privacy>on</privacy>")));

    EXPECT_EQ(settings(), "212");
    EXPECT_EQ(state_of("address", "wan"), "applied");
    EXPECT_TRUE(comes_true([] {
        return current().find("<current>2001:db8:5:") != std::string::npos;
    })) << shell("cat /tmp/router.log; ip -6 addr show eth1");
    EXPECT_THAT(shell("ip -6 route show default dev eth1"), HasSubstr("proto ra"));

    change("<delete><address name=\"wan\"/></delete>");

    EXPECT_EQ(setting("accept_ra"), "0");
    EXPECT_EQ(shell("ip -6 addr show dev eth1 scope global"), "");
    EXPECT_EQ(shell("ip -6 route show default dev eth1"), "");
}

TEST_F(Ipv6Listeners, LeaveTheLinkAsItWasFound)
{
    const std::string before = settings();
    const std::string said = lsql("<explain>" + inserted(listener("wan", "eth1")) + "</explain>");

    change(inserted(listener("wan", "eth1")));

    EXPECT_EQ(settings(), "210");
    EXPECT_THAT(said, HasSubstr("/proc/sys/net/ipv6/conf/eth1/accept_ra is 2"));
    change("<update><address name=\"wan\"><interface>eth0</interface></address></update>");
    EXPECT_EQ(settings(), before);
}

TEST_F(Ipv6Listeners, SayWhatSomebodyChangedAndPutItBackWithTheNextCommit)
{
    change(inserted(listener("wan", "eth1")));
    set("accept_ra", "0");
    EXPECT_EQ(state_of("address", "wan"), "differs: its accept_ra is 0, not 2");

    change("<update><resolver><search/></resolver></update>");

    EXPECT_EQ(state_of("address", "wan"), "applied");
    EXPECT_EQ(settings(), "210");
}

TEST_F(Ipv6Listeners, ListenAtOnceOnALinkThatComes)
{
    change("<insert><interface name=\"eth7\"><kind>ethernet</kind></interface></insert>" +
           inserted(listener("wan", "eth7")));
    EXPECT_EQ(state_of("address", "wan"), "waiting for eth7");

    shell("ip link add eth7 type veth peer name to-eth7");

    EXPECT_TRUE(comes_true([] { return state_of("address", "wan") == "applied"; }));
    EXPECT_EQ(shell("cat /proc/sys/net/ipv6/conf/eth7/accept_ra"), "2\n");
}

TEST_F(Ipv6Listeners, LeaveTheLinkAsItWasFoundWithAnOldConfiguration)
{
    set("accept_ra", "0");
    change(inserted(listener("wan", "eth1")));
    kill(daemon_pid(), SIGKILL);
    EXPECT_EQ(exit_status(), -SIGKILL);
    write_file(vorn::test::startup_file, "<config/>");

    boot();

    EXPECT_EQ(setting("accept_ra"), "0");
}

TEST_F(Ipv6Listeners, SayThatTheKernelCannotBeTold)
{
    shell("mount --bind /proc/sys/net /proc/sys/net && "
          "mount -o remount,bind,ro /proc/sys/net");

    change(inserted(listener("wan", "eth1")));

    EXPECT_EQ(state_of("address", "wan"), "failed: can't write /proc/sys/net/ipv6/conf/eth1/"
                                          "accept_ra: Read-only file system");
    EXPECT_TRUE(console_shows("vorn: network: can't write /proc/sys/net/ipv6/conf/eth1/accept_ra: "
                              "Read-only file system.\n"));
    shell("umount /proc/sys/net");
    change("<update><resolver><search/></resolver></update>");
    EXPECT_EQ(state_of("address", "wan"), "applied");
}

} // namespace
