/* SPDX-License-Identifier: MIT */
/*
 * A new firmware of which a plugin can't be loaded. It may be the one that was confirmed and has
 * come to harm, and nobody can tell; so it must not cost the other one what that one wrote.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "slots.h"

namespace {

using testing::HasSubstr;
using vorn::tests::Slots;

class BrokenFirmware : public Slots {
protected:
    void boot_broken()
    {
        shut_down();
        install_plugin("old_version.vorn");
        boot_slot(2);
    }

    void boot_other()
    {
        shut_down();
        std::filesystem::remove(in_plugins("old_version"));
        boot_slot(1);
    }
};

TEST_F(BrokenFirmware, KeepsWhatTheOtherOneWroteHoweverOftenItSaves)
{
    boot_slot(1);
    vornctl("add Wlan w0 chan=6");
    vornctl("set history keep=1 proven-after=0");
    const std::string of_other = saved();
    for (int boots = 1; boots <= 2; boots++) {
        boot_broken();
        vornctl("set Wlan w0 channel=" + std::to_string(boots));
        vornctl("set Wlan w0 channel=" + std::to_string(boots + 2));
    }
    EXPECT_EQ(vornctl("show generation 4"), "[5]\nvornctl: there is no generation \"4\"\n");
    EXPECT_EQ(upgrade(), "none\n");

    boot_other();
    EXPECT_EQ(saved(), of_other);
}

TEST_F(BrokenFirmware, KeepsWhatTheOtherOneRanOn)
{
    const std::string delivered = read_file(startup);
    boot_slot(1);
    boot_broken();
    vornctl("set Radio r0 channel=1");

    EXPECT_EQ(shell("zcat /etc/config/history/00000001.gz | tail -n1"), delivered + "\n");
    EXPECT_EQ(vornctl("show generation 1 pinned -q"), "yes\n[0]\n");
}

TEST_F(BrokenFirmware, IsNotProvenThoughItIsConfirmedAndStaysUp)
{
    use_both();
    vornctl("set history proven-after=0");
    EXPECT_EQ(vornctl("confirm --upgrade"), "[0]\n");
    boot_broken();

    EXPECT_EQ(shell("for i in $(seq 1000); do vornctl show history proven -q | grep yes && break; "
                    "sleep 0.05; done"),
              "yes\n");
    EXPECT_THAT(read_file("/etc/config/history/upgrades"), HasSubstr("unproven"));
    EXPECT_EQ(vornctl("show generation 2 pinned -q"), "yes\n[0]\n");
}

} // namespace
