/* SPDX-License-Identifier: MIT */
/* What somebody else changes of the network by hand: states tell it, and so do notices. */
#include "support/raw_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "networks.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using vorn::tests::RawClient;

class NetworkDifferences : public vorn::tests::Networks {
protected:
    static testing::AssertionResult becomes(const std::string &klass, const std::string &name,
                                            const std::string &wanted)
    {
        if (comes_true([&] { return state_of(klass, name) == wanted; }))
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << name << " says " << state_of(klass, name);
    }

    /* Everything says that it is applied again after a commit of something else. */
    void put_right()
    {
        change("<update><resolver><search/></resolver></update>"
               "<update><resolver><search>example.net</search></resolver></update>");
        for (const char *name : {"eth0", "br0", "eth1", "eth1.5"})
            EXPECT_TRUE(becomes("interface", name, "applied"));
        EXPECT_TRUE(becomes("address", "lan", "applied"));
        EXPECT_TRUE(becomes("route", "out", "applied"));
    }

    struct Difference {
        const char *what_somebody_does;
        const char *klass;
        const char *name;
        const char *state;
    };

    /* One that the daemon has heard of: it accepts in one pass of its loop and reads in another. */
    struct Subscriber : RawClient {
        Subscriber() : RawClient(8001)
        {
            send("x");
            lsql("<lsql/>");
            lsql("<lsql/>");
        }

        std::string next() { return receive_until(std::string(1, '\0')); }

        /* Whether it comes, sooner or later, after whatever else. */
        bool hears(const std::string &wanted)
        {
            for (;;) {
                const std::string notice = next();
                if (notice.empty()) return false;
                if (notice.find(wanted) != std::string::npos) return true;
            }
        }
    };

    void expect(const Difference &difference)
    {
        SCOPED_TRACE(difference.what_somebody_does);
        shell(difference.what_somebody_does);
        EXPECT_TRUE(becomes(difference.klass, difference.name, difference.state));
        put_right();
    }
};

TEST_F(NetworkDifferences, OfLinksAreToldByTheirState)
{
    boot();

    expect({"ip link set eth1 down", "interface", "eth1", "differs: it is down"});
    expect({"ip link set br0 mtu 1300", "interface", "br0", "differs: its MTU is 1300, not 1500"});
    expect({"ip link set br0 type bridge stp_state 0", "interface", "br0",
            "differs: its spanning tree is off"});
    expect({"ip link set eth0 nomaster", "interface", "br0", "differs: eth0 is no member of it"});
    expect({"ip link del br0", "interface", "br0", "differs: it is gone"});
    expect({"ip link del eth1.5", "interface", "eth1.5", "differs: it is gone"});
}

TEST_F(NetworkDifferences, OfAddressesAndRoutesAreToldByTheirState)
{
    boot();

    expect({"ip addr del 192.168.1.1/24 dev br0", "address", "lan", "differs: it is gone"});
    expect({"ip addr flush dev br0", "route", "out", "differs: it is gone"});
    expect({"ip route del default", "route", "out", "differs: it is gone"});
    expect({"ip link del br0", "address", "lan", "differs: it is gone"});
}

TEST_F(NetworkDifferences, AreToldTogether)
{
    boot();

    shell(
        "ip link set br0 type bridge stp_state 0; ip link set eth0 nomaster; ip link set br0 down");

    EXPECT_TRUE(becomes("interface", "br0",
                        "differs: its spanning tree is off; eth0 is no member of it; it is down"));
}

TEST_F(NetworkDifferences, OfTheResolversFileAreSeenWhenSomebodyAsks)
{
    boot();
    const auto state = [] {
        return lsql("<lsql><select><resolver><state/></resolver></select></lsql>");
    };
    EXPECT_THAT(state(), HasSubstr("<state>applied</state>"));

    shell("echo nameserver 192.0.2.66 >/etc/resolv.conf");

    EXPECT_THAT(state(), HasSubstr("<state>differs: /etc/resolv.conf is another one</state>"));
    put_right();
    EXPECT_THAT(state(), HasSubstr("<state>applied</state>"));
}

TEST_F(NetworkDifferences, AreNoneWhereOthersHaveAddedSomething)
{
    boot();
    Subscriber subscriber;

    shell("ip addr add 10.9.0.1/24 dev eth1; ip route add 10.10.0.0/16 dev eth1; "
          "ip link add own type veth peer name to-own; ip link set own master br0; "
          "ip addr flush dev br0");

    /* The last one is told; before it there was nothing to tell. */
    EXPECT_THAT(subscriber.next(), HasSubstr("<object_changed><static-address name=\"lan\">"));
    EXPECT_EQ(state_of("interface", "eth1") + state_of("interface", "br0"), "appliedapplied");
}

/* Nobody asks: what the kernel tells is all that the daemon learns of it. */
TEST_F(NetworkDifferences, GoOutAsNotices)
{
    boot();
    Subscriber subscriber;

    shell("ip link set br0 mtu 1300");
    EXPECT_TRUE(subscriber.hears("<object_changed><bridge name=\"br0\"><state>differs: its MTU is "
                                 "1300, not 1500</state></bridge></object_changed>"));
    shell("ip addr del 192.168.1.1/24 dev br0");
    EXPECT_TRUE(subscriber.hears("<static-address name=\"lan\"><state>differs: it is gone<"));
    shell("ip link set br0 mtu 1500; ip addr add 192.168.1.1/24 dev br0; "
          "ip route replace default via 192.168.1.254");
    EXPECT_TRUE(subscriber.hears("<route name=\"out\"><state>applied</state></route>"));
}

/* The kernel tells of rules of each family in a group of its own. */
TEST_F(NetworkDifferences, OfPolicyRoutesGoOutAsNotices)
{
    write_file(vorn::test::startup_file, "<config/>"); /* a bridge would have more to tell */
    boot();
    for (const char *klass : {"policy-route", "ipv6-policy-route"})
        change(std::string("<insert><") + klass + " name=\"x\"><priority>5</priority>" +
               "<table>7</table></" + klass + "></insert>");
    Subscriber subscriber;

    shell("ip rule del pref 5");
    EXPECT_TRUE(subscriber.hears("<policy-route name=\"x\"><state>differs: it is gone</state>"));
    shell("ip -6 rule del pref 5");
    EXPECT_TRUE(
        subscriber.hears("<ipv6-policy-route name=\"x\"><state>differs: it is gone</state>"));
}

TEST_F(NetworkDifferences, OfARouteAloneGoOutAsNotices)
{
    boot();
    Subscriber subscriber;

    shell("ip route del default");

    EXPECT_TRUE(subscriber.hears("<route name=\"out\"><state>differs: it is gone</state></route>"));
}

TEST_F(NetworkDifferences, GoOutWithTheCommitThatPutsThemRight)
{
    boot();
    Subscriber subscriber;
    shell("ip link set br0 mtu 1300");
    ASSERT_TRUE(subscriber.hears("differs: its MTU is 1300"));

    change("<update><resolver><search/></resolver></update>");

    EXPECT_TRUE(subscriber.hears("<bridge name=\"br0\"><state>applied</state></bridge>"));
}

/* So many changes that the kernel has no room to tell them all while the daemon can't listen. */
TEST_F(NetworkDifferences, AreFollowedThroughMoreChangesThanTheKernelKeeps)
{
    boot();
    Subscriber subscriber;
    kill(daemon_pid(), SIGSTOP);

    shell("for i in $(seq 3000); do echo link set dev eth1 mtu $((1200 + i % 7)); done "
          "| ip -batch - ; ip link set br0 mtu 1300");
    kill(daemon_pid(), SIGCONT);

    EXPECT_TRUE(subscriber.hears("<bridge name=\"br0\"><state>differs: its MTU is 1300"));
    EXPECT_EQ(state_of("interface", "eth1"), "differs: its MTU is 1204, not 1500");
}

/* A route waited for a way to its gateway, and a VLAN for its parent. */
TEST_F(NetworkDifferences, AreNoneForWhatWasWaitedFor)
{
    write_file(vorn::test::startup_file,
               "<config><interface name=\"eth0\"><kind>ethernet</kind><status>up</status>"
               "</interface><route name=\"r\"><destination>172.16.0.0/16</destination>"
               "<gateway>10.2.0.10</gateway></route></config>");
    boot();
    ASSERT_EQ(state_of("route", "r"), "waiting for a way to 10.2.0.10");

    shell("ip addr add 10.2.0.3/24 dev eth0");

    EXPECT_TRUE(becomes("route", "r", "applied"));
    EXPECT_THAT(shell("ip route show 172.16.0.0/16"), HasSubstr("via 10.2.0.10 dev eth0"));
}

} // namespace
