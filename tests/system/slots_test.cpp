/* SPDX-License-Identifier: MIT */
/* Two firmwares on one device: each starts with what it wrote, whatever the other has done. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "vornctl_device.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char startup[] = "/etc/config/config.xml";

class Slots : public vorn::tests::VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        install_plugin("history.vorn");
        install_plugin("plugins.vorn");
        install_plugin("versions.vorn");
        std::filesystem::copy_file(in_plugins("versions"), versions);
        std::filesystem::remove(in_plugins("versions"));
    }

    /* The firmware with that version of the plugin. */
    void boot_slot(int version)
    {
        if (daemon_pid() > 0) shut_down();
        insert_slot(version);
        boot();
    }

    static void insert_slot(int version)
    {
        for (int each = 1; each <= 3; each++)
            std::filesystem::remove(in_plugins("wlan-" + std::to_string(each)));
        std::filesystem::copy_file(versions, in_plugins("wlan-" + std::to_string(version)));
    }

    static std::string in_plugins(const std::string &name)
    {
        return "/usr/lib/vorn/plugins/" + name + ".vorn";
    }

    static std::string saved() { return read_file(startup); }
    static std::string upgrade() { return shell("vornctl show history upgrade -q"); }
    static std::string taken() { return shell("vornctl show history taken -q"); }

    /* The first slot has saved channel 6, the second one 11. */
    void use_both()
    {
        boot_slot(1);
        vornctl("add Wlan w0 chan=6");
        of_first_ = saved();
        boot_slot(2);
        vornctl("set Wlan w0 channel=11");
        of_second_ = saved();
    }

    std::string of_first_;
    std::string of_second_;
    static constexpr char versions[] = "/tmp/versions.vorn";
};

TEST_F(Slots, KeepTheOthersConfigurationAfterTheirOwnHasTakenItsPlace)
{
    use_both();
    boot_slot(1);
    vornctl("set history keep=1");
    boot_slot(1);
    for (int i = 1; i <= 3; i++)
        vornctl("set Wlan w0 chan=" + std::to_string(i));

    boot_slot(2);
    EXPECT_EQ(saved(), of_second_);
}

TEST_F(Slots, AreConfirmedByThemselvesAfterATime)
{
    use_both();
    vornctl("set history upgrade-after=1");

    EXPECT_EQ(shell("for i in $(seq 100); do vornctl show history upgrade -q | grep confirmed && "
                    "break; sleep 0.05; done"),
              "confirmed\n");
    boot_slot(2);
    EXPECT_EQ(upgrade(), "none\n");
}

TEST_F(Slots, AreNotConfirmedByThemselvesWhenThatIsNotWanted)
{
    use_both();
    vornctl("set history upgrade-after=never");
    EXPECT_THAT(vornctl("set history upgrade-after=soon"), StartsWith("[1]\n"));
    boot_slot(2);

    EXPECT_EQ(upgrade(), "pending\n");
}

/* A device that has never saved: what it was delivered with. */
TEST_F(Slots, StartWithWhatNoSaveHasKept)
{
    const std::string delivered = "<?xml version=\"1.0\"?>\n<?vorn-schema wlan=\"1\"?>\n<config>"
                                  "<Wlan name=\"w0\"><chan>1</chan></Wlan></config>\n";
    write_file(startup, delivered);
    boot_slot(1);
    boot_slot(2);
    vornctl("set Wlan w0 channel=11");

    boot_slot(1);

    EXPECT_EQ(saved(), delivered);
}

/* Attack. */
TEST_F(Slots, AreNotToldByAFileThatMakesNoSense)
{
    std::filesystem::create_directories("/etc/config/history");
    write_file("/etc/config/history/upgrades",
               "confirmed\nconfirmed " + std::string(300, 'x') + "\nran x\nfailed\nunsettled");
    boot_slot(1);

    EXPECT_EQ(vornctl("add Wlan w0 chan=6"), "[0]\n");
    EXPECT_THAT(vornctl("status"), HasSubstr("upgrade"));
}

} // namespace
