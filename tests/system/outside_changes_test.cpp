/* SPDX-License-Identifier: MIT */
/* What others write, rename and set is put right by the next commit, of anything. */
#include <gmock/gmock.h>

#include <string>

#include "access_points.h"
#include "settled_device.h"

namespace {

using testing::HasSubstr;
using testing::IsEmpty;

constexpr char whole_board[] =
    "<config><system><hostname>attic</hostname><time-zone>CET-1</time-zone></system>"
    "<resolver><servers>192.0.2.1</servers><search>example.net</search></resolver>"
    "<interface name=\"br0\"><kind>bridge</kind><status>up</status></interface>"
    "<interface name=\"br1\"><kind>bridge</kind><mtu>1400</mtu></interface>"
    "<address name=\"lan\"><kind>static-address</kind><interface>br0</interface>"
    "<address>10.0.0.1</address><prefix>24</prefix></address>"
    "<radio name=\"wlan0\"><mode>g</mode><channel>6</channel><status>up</status></radio>"
    "<wireless-network name=\"home\"><radio>wlan0</radio><ssid>attic</ssid>"
    "<security>none</security><access-list>family</access-list></wireless-network>"
    "<access-list name=\"family\"><mac>00:11:22:33:44:55</mac></access-list>"
    "<dhcp><enabled>on</enabled></dhcp><dhcp-pool name=\"p\"><interface>br0</interface>"
    "<first>10.0.0.5</first><last>10.0.0.9</last></dhcp-pool>"
    "<dhcp-host name=\"h\"><mac>00:11:22:33:44:66</mac><address>10.0.0.20</address></dhcp-host>"
    "</config>";

constexpr char addresses_file[] = "/var/run/vorn-hostapd-wlan0.macs";
constexpr char dnsmasq_file[] = "/var/run/vorn-dnsmasq.conf";
constexpr char leases_file[] = "/var/run/vorn-dnsmasq.hosts";

class OutsideChanges : public vorn::tests::SettledDevice {
protected:
    void SetUp() override
    {
        Device::SetUp();
        for (const char *plugin : {"dhcp", "network", "save", "system", "wireless"})
            install_plugin(std::string(plugin) + ".vorn");
        shell("ip link add wlan0 type veth peer name air");
        stand_in("hostapd", "ip link set wlan0 up; echo $$ >/tmp/hostapd; exec sleep 1000");
        stand_in("dnsmasq", "trap 'echo again >>/tmp/again' HUP; echo $$ >/tmp/dnsmasq\n"
                            "while :; do sleep 0.02; done");
        stand_in("iw");
        write_file(vorn::test::startup_file, whole_board);
        boot();
        ASSERT_TRUE(comes_true([] { return exists("/tmp/hostapd") && exists("/tmp/dnsmasq"); }));
        forget_runs();
    }

    void commit_something_else()
    {
        lsql("<lsql><write-transaction><update><system><contact>me</contact></system></update>"
             "</write-transaction></lsql>");
        ASSERT_TRUE(settles());
    }

    /* What was there is there again after somebody has written to the file, or removed it. */
    void expect_put_right(const std::string &path)
    {
        const std::string before = read_file(path);
        ASSERT_NE(before, "") << path;
        for (const char *spoil : {"echo '# somebody' >>", "rm ", ": >"}) {
            shell(spoil + path);
            commit_something_else();
            EXPECT_EQ(read_file(path), before) << spoil << path;
        }
    }

    static std::string mtu_of(const std::string &link)
    {
        return shell("ip link show " + link + " | sed -n 's/.* mtu \\([0-9]*\\) .*/\\1/p'");
    }
};

TEST_F(OutsideChanges, OfTheHostNameArePutRight)
{
    ASSERT_EQ(shell("hostname"), "attic\n");
    shell("hostname stranger");

    commit_something_else();

    EXPECT_EQ(shell("hostname"), "attic\n");
}

TEST_F(OutsideChanges, OfFilesThatEverybodyReadsArePutRight)
{
    expect_put_right("/etc/resolv.conf");
    expect_put_right("/etc/TZ");
}

TEST_F(OutsideChanges, OfHostapdsFilesArePutRightAndHostapdStartsWithThem)
{
    expect_put_right(vorn::tests::hostapd_file);
    EXPECT_TRUE(comes_true([] { return !commands_run().empty(); }));
    EXPECT_THAT(commands_run(), testing::Each(HasSubstr("hostapd")));
    forget_runs();

    expect_put_right(addresses_file);
    EXPECT_TRUE(comes_true([] { return !commands_run().empty(); }));
}

TEST_F(OutsideChanges, OfTheFileOfPoolsArePutRightAndItsServerStartsWithIt)
{
    expect_put_right(dnsmasq_file);

    EXPECT_TRUE(comes_true([] { return !commands_run().empty(); }));
    EXPECT_THAT(commands_run(), testing::Each(HasSubstr("dnsmasq")));
    EXPECT_FALSE(exists("/tmp/again"));
}

TEST_F(OutsideChanges, OfTheFileOfFixedLeasesArePutRightAndReadAgain)
{
    expect_put_right(leases_file);

    EXPECT_TRUE(comes_true([] { return exists("/tmp/again"); }));
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(OutsideChanges, OfTheMtuOfABridgeArePutRight)
{
    shell("ip link set br0 mtu 1300; ip link set br1 mtu 1300");

    commit_something_else();

    EXPECT_EQ(mtu_of("br0"), "1500\n");
    EXPECT_EQ(mtu_of("br1"), "1400\n");
    EXPECT_THAT(shell("ip addr show br0"), HasSubstr("10.0.0.1/24"));
}

TEST_F(OutsideChanges, OfTheMtuOfHardwareThatHasNoneSetArePutRight)
{
    shell("ip link add eth0 mtu 1480 type veth peer name to-eth0");
    lsql("<lsql><write-transaction><insert><interface name=\"eth0\"><kind>ethernet</kind>"
         "</interface></insert></write-transaction></lsql>");
    ASSERT_TRUE(settles());
    shell("ip link set eth0 mtu 1300");

    commit_something_else();

    EXPECT_EQ(mtu_of("eth0"), "1480\n");
}

constexpr char what_there_is[] =
    "ip -o link show br0 | cut -d: -f1; ls -li /etc/TZ /etc/resolv.conf /var/run/*.*";

/* Also a bridge that has followed its members; who has joined it does not matter. */
TEST_F(OutsideChanges, ThatAreNoneLeaveEverythingAlone)
{
    shell("ip link add p0 mtu 1280 type veth peer name p1; ip link set p0 master br0");
    const std::string before = shell(what_there_is);
    ASSERT_EQ(mtu_of("br0"), "1280\n");

    commit_something_else();

    EXPECT_EQ(shell(what_there_is), before);
    EXPECT_EQ(mtu_of("br0"), "1280\n");
    EXPECT_THAT(commands_run(), IsEmpty());
    EXPECT_FALSE(exists("/tmp/again"));
}

TEST_F(OutsideChanges, LeaveNoListOfStationsThatIsNotUsed)
{
    ASSERT_TRUE(exists(addresses_file));

    lsql("<lsql><update><wireless-network><access-list/></wireless-network></update></lsql>");

    EXPECT_FALSE(exists(addresses_file));
}

} // namespace
