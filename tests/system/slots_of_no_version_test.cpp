/* SPDX-License-Identifier: MIT */
/* Two firmwares of which none tells a version: what each wrote is known by their schemas alone. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <string>

#include "slots.h"

namespace {

using testing::HasSubstr;
using vorn::tests::Slots;

class Others : public Slots {
protected:
    /* One that has the plugin, one that has not. */
    void boot_other(bool has_plugin)
    {
        if (daemon_pid() > 0) shut_down();
        std::filesystem::remove(in_plugins("plugins"));
        if (has_plugin) install_plugin("plugins.vorn");
        boot();
    }

    static std::string of_generation(const std::string &number, const std::string &property)
    {
        return shell("vornctl show generation " + number + " " + property + " -q 2>&1");
    }
};

TEST_F(Others, KeepWhatTheFirstOneRanOnBeforeTheyFirstSave)
{
    const std::string delivered = read_file(startup);
    boot_other(false);
    boot_other(true);
    vornctl("set Radio r0 channel=1");

    EXPECT_EQ(shell("zcat /etc/config/history/00000001.gz | tail -n1"), delivered + "\n");
    EXPECT_EQ(of_generation("1", "pinned"), "yes\n");
    EXPECT_EQ("ran " + of_generation("1", "schema"),
              shell("sed -n 's/^\\(ran [^ ]*\\).*/\\1/p' /etc/config/history/upgrades"));
    EXPECT_THAT(of_generation("3", "schema"), HasSubstr("there is no generation"));
}

/* There is room for five. */
TEST_F(Others, KeepWhatTheConfirmedOneSavedHoweverManyThereAre)
{
    const std::string names[] = {"plugins", "trial", "commits"};
    for (unsigned int firmware = 0; firmware < 7; firmware++) {
        if (daemon_pid() > 0) shut_down();
        for (unsigned int i = 0; i < std::size(names); i++) {
            std::filesystem::remove(in_plugins(names[i]));
            if ((firmware >> i & 1) != 0) install_plugin(names[i] + ".vorn");
        }
        boot();
        if (firmware < 6) vornctl("set Radio r0 channel=" + std::to_string(firmware + 1));
    }

    EXPECT_EQ(of_generation("2", "pinned"), "yes\n");
    EXPECT_EQ(of_generation("3", "pinned"), "no\n");
    EXPECT_EQ(of_generation("4", "pinned"), "yes\n");
}

/* As a power cut in a save leaves it: a configuration of either, whose generation is missing. */
TEST_F(Others, AreNotTakenForWhoWroteWhatMayBeTheirOwn)
{
    boot_other(true);
    vornctl("set Radio r0 channel=1");
    boot_other(false);
    vornctl("set Radio r0 channel=2");
    std::filesystem::remove("/etc/config/history/00000003.gz");

    boot_other(false);

    EXPECT_EQ(of_generation("3", "schema"), "unknown\n");
    EXPECT_EQ(of_generation("3", "pinned"), "yes\n");
    EXPECT_EQ(of_generation("2", "pinned"), "yes\n");
}

TEST_F(Others, KeepNothingOfTheirOwnThatSomebodyHasEdited)
{
    boot_other(true);
    vornctl("set Radio r0 channel=1");
    boot_other(false);
    vornctl("set Radio r0 channel=2");
    shell("sed -i 's/>2</>3</' /etc/config/config.xml");

    boot_other(false);

    EXPECT_THAT(of_generation("4", "schema"), HasSubstr("there is no generation"));
}

/* While it is open which firmware stays: each content once, however often the device starts. */
TEST_F(Others, KeepWhatSomebodyEditsOncePerContent)
{
    boot_other(false);
    boot_other(true);
    const auto boot_with = [&](const char *channel) {
        shell("sed -i 's|<channel>[0-9]*<|<channel>" + std::string(channel) + "<|' " + startup);
        boot_other(true);
        return shell("ls /etc/config/history | grep -c gz");
    };
    EXPECT_EQ(boot_with("3"), "2\n");
    EXPECT_EQ(boot_with("3"), "2\n");
    EXPECT_EQ(boot_with("4"), "3\n");
    EXPECT_EQ(boot_with("3"), "3\n");
    EXPECT_EQ(upgrade(), "pending\n");
}

/* The flash wears out. */
TEST_F(Others, NoteNothingThatTheHistoryTellsAnyway)
{
    boot_other(true);
    vornctl("set Radio r0 channel=1");
    const std::string noted = read_file("/etc/config/history/upgrades");

    boot_other(true);

    EXPECT_EQ(read_file("/etc/config/history/upgrades"), noted);
}

} // namespace
