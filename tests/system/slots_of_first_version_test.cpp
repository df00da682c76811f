/* SPDX-License-Identifier: MIT */
/* The first firmware whose plugin declares a version, and the one before it, which declares none.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "slots.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using vorn::tests::Slots;

class FirstVersion : public Slots {
protected:
    /* The firmware without versions has saved channel 6, the other one 11. */
    void use_old_and_new()
    {
        boot_slot(0);
        vornctl("add Wlan w0 chan=6");
        of_old_ = saved();
        boot_slot(2);
        vornctl("set Wlan w0 channel=11");
        of_new_ = saved();
    }

    /* As the device is without the plugin, which somebody has taken out. */
    void boot_without()
    {
        shut_down();
        take_out_slot();
        boot();
    }

    std::string of_old_;
    std::string of_new_;
};

TEST_F(FirstVersion, StartsWithWhatItWroteAndSoDoesTheOneBefore)
{
    boot_slot(0);
    vornctl("add Wlan w0 chan=6");
    const std::string old = saved();
    EXPECT_THAT(old, Not(HasSubstr("vorn-schema")));

    boot_slot(2);
    EXPECT_EQ(saved(), old);
    EXPECT_EQ(vornctl("show Wlan w0 channel -q"), "6\n[0]\n") << "it is migrated";
    EXPECT_EQ(upgrade(), "pending\n");
    vornctl("set Wlan w0 channel=11");
    const std::string newer = saved();
    EXPECT_THAT(newer, HasSubstr("<?vorn-schema wlan=\"2\"?>"));

    for (int i = 0; i < 2; i++) {
        boot_slot(0);
        EXPECT_EQ(saved(), old);
        EXPECT_EQ(vornctl("show Wlan w0 chan -q"), "6\n[0]\n");
        boot_slot(2);
        EXPECT_EQ(saved(), newer);
        EXPECT_EQ(vornctl("show Wlan w0 channel -q"), "11\n[0]\n");
    }
}

TEST_F(FirstVersion, GoesOnFromWhatTheOneBeforeSavedInBetweenWhenItIsToldTo)
{
    use_old_and_new();
    boot_slot(0);
    vornctl("batch /dev/stdin <<'EOF'\nset Wlan w0 chan=3\nset history other-slot=newest\nEOF\n");
    const std::string newest = saved();

    boot_slot(2);

    EXPECT_EQ(saved(), newest);
    EXPECT_EQ(vornctl("show Wlan w0 channel -q"), "3\n[0]\n");
}

TEST_F(FirstVersion, IsSaidToHaveWrittenWhatGivesWay)
{
    use_old_and_new();
    boot_slot(0);
    vornctl("set history keep=1");

    EXPECT_EQ(taken(), "the saved configuration was of a newer firmware: generation 2, which this "
                       "one wrote, has taken its place, and it is generation 3\n");
    EXPECT_EQ(upgrade(), "pending\n");
    EXPECT_EQ(vornctl("show generation 3 pinned -q"), "yes\n[0]\n");
}

/* A device that has never saved: what it was delivered with. */
TEST_F(FirstVersion, LeavesTheOneBeforeWhatNoSaveHasKept)
{
    const std::string delivered = saved();
    boot_slot(0);
    boot_slot(2);
    vornctl("add Wlan w0 channel=11");

    boot_slot(0);

    EXPECT_EQ(saved(), delivered);
}

/* The power was cut after the startup file was written and before the generation was. */
TEST_F(FirstVersion, StartsWithWhatAPowerCutKeptFromTheHistory)
{
    use_old_and_new();
    vornctl("set Wlan w0 channel=13");
    const std::string cut_off = saved();
    std::filesystem::remove("/etc/config/history/00000004.gz");

    boot_slot(0);
    EXPECT_EQ(saved(), of_old_);
    boot_slot(2);
    EXPECT_EQ(saved(), cut_off);
}

/* An older firmware that comes on the device for the first time. */
TEST_F(FirstVersion, IsReadAsItIsByOneThatHasWrittenNothingYet)
{
    boot_slot(2);
    vornctl("add Wlan w0 channel=11");
    of_new_ = saved();

    boot_slot(0);

    EXPECT_EQ(saved(), of_new_);
    EXPECT_THAT(taken(), StartsWith("the saved configuration is of a newer firmware and is read as "
                                    "it is: there is none that this one wrote"));
    EXPECT_TRUE(console_shows("Schema \"wlan\": the document is of version 2, later than 0, and is "
                              "read as it is.\n"));
    EXPECT_THAT(vornctl("status -v"), HasSubstr("channel"));
    vornctl("add Wlan w1 chan=3");
    const std::string of_old = saved();
    EXPECT_THAT(of_old, AllOf(HasSubstr("<channel>11</channel>"), Not(HasSubstr("vorn-schema"))));

    boot_slot(2);
    EXPECT_EQ(saved(), of_new_);
    boot_slot(0);
    EXPECT_EQ(saved(), of_old);
}

/* Without the plugin history nothing takes the place of anything, and nothing is lost either. */
TEST_F(FirstVersion, MigratesWhatTheOneBeforeSavedWithoutAHistory)
{
    std::filesystem::remove(in_plugins("history"));
    boot_slot(2);
    vornctl("add Wlan w0 channel=11");

    boot_slot(0);
    vornctl("add Wlan w1 chan=3");
    EXPECT_EQ(vornctl("show Wlan w0 chan -q"), "\n[0]\n");
    EXPECT_THAT(saved(), Not(HasSubstr("vorn-schema")));

    boot_slot(2);
    EXPECT_EQ(vornctl("show Wlan w0 channel -q"), "11\n[0]\n");
    EXPECT_EQ(vornctl("show Wlan w1 channel -q"), "3\n[0]\n");
}

/* Nobody here reads what it wrote in another form. */
TEST_F(FirstVersion, IsNotFoundWhereAPluginIsTakenOutAndBroughtBack)
{
    boot_slot(2);
    vornctl("batch /dev/stdin <<'EOF'\nadd Wlan w1 channel=1\nadd Wlan w0 channel=2\nEOF\n");
    for (int round = 0; round < 3; round++) {
        const std::string channel = std::to_string(round + 1);
        boot_without();
        vornctl("set Radio r0 channel=" + channel);
        const std::string without = saved();
        EXPECT_THAT(without, HasSubstr("<?vorn-schema wlan=\"2\"?>"));
        EXPECT_EQ(taken(), "\n") << round;

        boot_slot(2);
        EXPECT_EQ(taken(), "\n") << round;
        EXPECT_EQ(saved(), without);
        EXPECT_EQ(vornctl("show Radio r0 channel -q"), channel + "\n[0]\n");
        EXPECT_EQ(shell("vornctl show Wlan --json | grep -o '\"w[01]\"' | tr -d '\\n'"),
                  "\"w1\"\"w0\"");
        vornctl("set Wlan w0 channel=" + std::to_string(round + 5));
    }
}

/* Nothing of it is in the file that could tell. */
TEST_F(FirstVersion, IsNotFoundWhereAPluginWithoutInstancesIsTakenOutAndBroughtBack)
{
    boot_slot(2);
    vornctl("set Radio r0 channel=1");
    ASSERT_THAT(saved(), Not(HasSubstr("Wlan")));
    boot_without();
    vornctl("set Radio r0 channel=2");
    boot_without();
    vornctl("set Radio r0 channel=3");
    const std::string without = saved();

    boot_slot(2);

    EXPECT_EQ(taken(), "\n");
    EXPECT_EQ(saved(), without);
    EXPECT_EQ(vornctl("show Radio r0 channel -q"), "3\n[0]\n");
}

TEST_F(FirstVersion, IsNotFoundWhereAPluginRunsAgainThatCouldNot)
{
    boot_slot(2);
    vornctl("set Radio r0 channel=1");
    shut_down();
    take_out_slot();
    install_plugin("old_version.vorn");
    std::filesystem::rename(in_plugins("old_version"), in_plugins(name_of(2)));
    boot();
    vornctl("set Radio r0 channel=2");
    const std::string without = saved();

    boot_slot(2);

    EXPECT_EQ(taken(), "\n");
    EXPECT_EQ(saved(), without);
}

/* It may run again at the next start, and is no sign of another firmware until then. */
TEST_F(FirstVersion, IsNotFoundWhereAPluginIsLeftOut)
{
    use_old_and_new();
    install_plugin("old_version.vorn");
    boot_slot(0);

    EXPECT_EQ(saved(), of_new_);
    EXPECT_EQ(taken(), "\n");
}

} // namespace
