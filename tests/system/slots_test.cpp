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

TEST_F(Slots, StartWithWhatTheyWroteByteByByte)
{
    boot_slot(1);
    vornctl("add Wlan w0 chan=6");
    const std::string first = saved();
    EXPECT_EQ(upgrade(), "none\n");

    boot_slot(2);
    EXPECT_EQ(saved(), first);
    EXPECT_EQ(vornctl("show Wlan w0 channel -q"), "6\n[0]\n") << "it is migrated";
    EXPECT_EQ(upgrade(), "pending\n");
    vornctl("set Wlan w0 channel=11");
    const std::string second = saved();

    for (int i = 0; i < 2; i++) {
        boot_slot(1);
        EXPECT_EQ(saved(), first);
        EXPECT_EQ(vornctl("show Wlan w0 chan -q"), "6\n[0]\n");
        boot_slot(2);
        EXPECT_EQ(saved(), second);
        EXPECT_EQ(vornctl("show Wlan w0 channel -q"), "11\n[0]\n");
    }
}

TEST_F(Slots, SayWhatHasTakenItsPlace)
{
    use_both();
    boot_slot(1);

    const std::string sentence =
        "the saved configuration was of a newer firmware: generation 2, "
        "which this one wrote, has taken its place, and it is generation 3";
    EXPECT_EQ(taken(), sentence + "\n");
    EXPECT_TRUE(console_shows("history: " + sentence + ".\n"));
    EXPECT_THAT(vornctl("status -v"),
                AllOf(ContainsRegex("schema +[0-9a-f]{16}\n"), ContainsRegex("upgrade +pending\n"),
                      ContainsRegex("taken +the saved configuration was of a newer"),
                      ContainsRegex("plugin \"wlan-1.vorn\" +running, schema wlan 1\n")));
    EXPECT_THAT(vornctl("diff 2 3"), HasSubstr("+   channel = "));
}

TEST_F(Slots, KeepWhatTheOtherWroteUntilTheyAreConfirmed)
{
    use_both();
    vornctl("set history keep=1");
    for (int i = 1; i <= 3; i++)
        vornctl("set Wlan w0 channel=" + std::to_string(i));
    EXPECT_THAT(vornctl("history"), ContainsRegex("\n2 .*\\[pinned\\]\n"));
    EXPECT_EQ(vornctl("show generation 2 pinned -q"), "yes\n[0]\n");

    EXPECT_EQ(vornctl("confirm --upgrade"), "[0]\n");
    EXPECT_EQ(upgrade(), "confirmed\n");
    vornctl("set Wlan w0 channel=9");
    EXPECT_EQ(vornctl("show generation 2"), "[5]\nvornctl: there is no generation \"2\"\n");
    EXPECT_EQ(vornctl("confirm --upgrade"), "[5]\nvornctl: this firmware is confirmed\n");

    boot_slot(2);
    EXPECT_EQ(upgrade(), "none\n");
    boot_slot(1);
    EXPECT_EQ(upgrade(), "pending\n");
    EXPECT_THAT(taken(), StartsWith("the saved configuration is of a newer firmware and is read as "
                                    "it is: there is none that this one wrote"));
}

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

TEST_F(Slots, TakeTheNewestOfAnOlderOneWhenTheyAreToldTo)
{
    use_both();
    boot_slot(1);
    vornctl("batch /dev/stdin <<'EOF'\nset Wlan w0 chan=3\nset history other-slot=newest\nEOF\n");
    const std::string newest = saved();

    boot_slot(2);

    EXPECT_EQ(saved(), newest);
    EXPECT_EQ(vornctl("show Wlan w0 channel -q"), "3\n[0]\n");
}

TEST_F(Slots, AreHandedTheFilesThatBelongToWhatTheyStartWith)
{
    boot_slot(1);
    write_file("/etc/config/wlan-keys", "of the first");
    vornctl("add Wlan w0 chan=6");
    boot_slot(2);
    write_file("/etc/config/wlan-keys", "of the second");
    vornctl("set Wlan w0 channel=11");

    boot_slot(1);
    EXPECT_TRUE(console_shows("versions: handed of the first\n"));
    EXPECT_THAT(console(), Not(HasSubstr("of the second")));
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

/* The power was cut after the startup file was written and before the generation was. */
TEST_F(Slots, StartWithWhatAPowerCutKeptFromTheHistory)
{
    use_both();
    vornctl("set Wlan w0 channel=13");
    const std::string cut_off = saved();
    std::filesystem::remove("/etc/config/history/00000004.gz");

    boot_slot(1);
    EXPECT_EQ(saved(), of_first_);
    boot_slot(2);
    EXPECT_EQ(saved(), cut_off);
}

/* Else the device would go to and fro for ever. */
TEST_F(Slots, DoNotTakeAgainWhatDidNotStayUp)
{
    boot_slot(1);
    vornctl("batch /dev/stdin <<'EOF'\nadd Wlan w0 chan=6\nset history proven-after=0\nEOF\n");
    boot_slot(1);
    const std::string proven = saved();
    boot_slot(2);
    vornctl("batch /dev/stdin <<'EOF'\nset Wlan w0 channel=11\nset history proven-after=\nEOF\n");
    boot_slot(2);
    for (int i = 0; i < 4; i++) {
        kill(daemon_pid(), SIGKILL);
        ASSERT_EQ(exit_status(), -SIGKILL);
        boot();
    }

    EXPECT_EQ(saved(), proven);
    EXPECT_EQ(vornctl("show Wlan w0 channel -q"), "6\n[0]\n");
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
