/* SPDX-License-Identifier: MIT */
/* The house among the examples, on a device with all reference plugins. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "settled_device.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using vorn::test::startup_file;
using vorn::tests::SettledDevice;

class Houses : public SettledDevice {
protected:
    void SetUp() override
    {
        SettledDevice::SetUp();
        shell("ip link add eth0 type veth peer name trunk && ip link set trunk up && "
              "ip link add eth1 type veth peer name line && ip link set line up");
        for (const auto &each : std::filesystem::directory_iterator(built_plugins())) {
            if (each.path().extension() == ".vorn") install_plugin(each.path().filename());
        }
        for (const char *program : {"hostapd", "dnsmasq", "udhcpc", "ntpd", "syslogd", "dropbear"})
            stand_in(program, "exec sleep 1000");
        for (const char *program : {"iw", "nft"})
            stand_in(program, "cat >/dev/null");
        std::filesystem::copy_file(example("house.xml"), startup_file,
                                   std::filesystem::copy_options::overwrite_existing);
    }

    static int count(const std::string &command, const std::string &what)
    {
        return std::stoi(shell(command + " | grep -o '" + what + "' | wc -l"));
    }
};

TEST_F(Houses, AreConfiguredAsTheirFileSays)
{
    boot();

    for (const char *klass : {"interface", "address", "radio", "wireless-network",
                              "wireless-schedule", "dhcp-pool", "dhcp-host", "ipv6-announcement",
                              "dns-record", "zone", "forwarding", "firewall-rule", "ntp-server"}) {
        const int wanted =
            count("cat " + example("house.xml"), "<" + std::string(klass) + " name=");
        EXPECT_GT(wanted, 0) << klass;
        EXPECT_EQ(count("vornctl --json show " + std::string(klass), "\"name\":"), wanted) << klass;
    }
    EXPECT_EQ(shell("vornctl show -q system hostname"), "house\n");
}

TEST_F(Houses, AreWhatAChangeCouldMakeOfADevice)
{
    shell("echo '<config/>' >" + std::string(startup_file));
    boot();

    const std::string told =
        shell("vornctl explain import " + example("house.xml") + " 2>&1; echo $?");

    EXPECT_THAT(told, EndsWith("\n0\n"));
    EXPECT_THAT(told, HasSubstr("br-guests"));
}

} // namespace
