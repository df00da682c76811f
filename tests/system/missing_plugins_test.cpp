/* SPDX-License-Identifier: MIT */
/* A boot that lacks a plugin, and what a save must not do to what only that plugin knows. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "configured_device.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using namespace vorn::tests;

constexpr char board_plugin[] = "/usr/lib/vorn/plugins/board.vorn";
constexpr char copies_plugin[] = "/usr/lib/vorn/plugins/copies.vorn";
constexpr char list_of_plugins[] = "/etc/vorn-plugins";
constexpr char list_beside_startup[] = "/etc/config/vorn-plugins";
constexpr char change_copies[] = "<lsql><update><Copies><rescue-to-default>no</rescue-to-default>"
                                 "</Copies></update></lsql>";
constexpr char why_not_saved[] =
    "vorn: Not saving: the plugin \"board.vorn\" is missing, and what is its "
    "own would be lost.\n";

/* A device whose last boot had all its plugins, and saved. */
/* Attack. */
class MissingPlugins : public ConfiguredDevice {
protected:
    void SetUp() override
    {
        ConfiguredDevice::SetUp();
        install_plugin("copies.vorn");
        install_plugin("save.vorn");
        set_up_with("<Radio name=\"mine\"><channel>6</channel></Radio>");
    }

    void set_up_with(const std::string &instances)
    {
        write_file(startup, "<config>" + instances + "</config>");
        boot();
        save_something();
        shut_down();
        saved_ = read_file(startup);
        ASSERT_THAT(saved_, HasSubstr("mine"));
    }

    static void save_something() { lsql(change_copies); }

    void take_away(const char *plugin)
    {
        taken_ = read_file(plugin);
        std::filesystem::remove(plugin);
    }

    void boot_without_board()
    {
        take_away(board_plugin);
        boot();
    }

    std::string saved_;
    std::string taken_;
};

TEST_F(MissingPlugins, AreRememberedByTheirFilesOfTheLastSave)
{
    const std::string list = read_file(list_of_plugins);

    EXPECT_THAT(list, HasSubstr("board.vorn\n"));
    EXPECT_THAT(list, HasSubstr("copies.vorn\n"));
    EXPECT_THAT(list, HasSubstr("save.vorn\n"));
    EXPECT_EQ(shell("ls /etc/config"), "config.xml\n");
}

TEST_F(MissingPlugins, AreWrittenDownAgainOnlyWhenThereAreOthers)
{
    const ino_t before = number_of(list_of_plugins);
    boot();
    shut_down();
    EXPECT_EQ(number_of(list_of_plugins), before);

    std::filesystem::remove("/usr/lib/vorn/plugins/save.vorn");
    boot();

    EXPECT_THAT(read_file(list_of_plugins), Not(HasSubstr("save.vorn")));
}

TEST_F(MissingPlugins, AreToldOfWhenASinglePieceIsTheirs)
{
    write_file(startup, "<config><Radio name=\"mine\"/></config>");

    boot_without_board();

    EXPECT_TRUE(console_shows("vorn: The plugin \"board.vorn\" is missing: what is its own is not "
                              "loaded, but kept.\n"));
}

TEST_F(MissingPlugins, AreNoOtherFilesOfTheFolder)
{
    write_file("/usr/lib/vorn/plugins/a-file-with-notes.txt", "notes");

    boot();

    EXPECT_THAT(console(), Not(HasSubstr("notes")));
}

TEST_F(MissingPlugins, LoseNothingToASave)
{
    boot_without_board();
    EXPECT_TRUE(console_shows("vorn: The plugin \"board.vorn\" is missing: what is its own is not "
                              "loaded, but kept.\n"));

    save_something();

    EXPECT_EQ(read_file(startup), saved_);
    EXPECT_THAT(
        read_file(startup),
        HasSubstr("  <Radio name=\"mine\">\n    <channel>6</channel>\n  </Radio>\n</config>"));
    EXPECT_THAT(lsql(select_save), HasSubstr("<result>saved</result>"));
}

TEST_F(MissingPlugins, LoseNothingWhenTheyCannotBeLoaded)
{
    write_file(board_plugin, read_file(board_plugin).substr(0, 1000));
    boot();

    save_something();

    EXPECT_THAT(read_file(startup), HasSubstr("<Radio name=\"mine\">"));
}

TEST_F(MissingPlugins, AreInADefaultThatIsMadeWithoutThem)
{
    boot_without_board();

    lsql("<lsql><update><Copies><running-to-default>now</running-to-default></Copies></update>"
         "</lsql>");

    EXPECT_TRUE(console_shows("copies: running-to-default 0\n"));
    EXPECT_THAT(read_file(default_file), HasSubstr("<Radio name=\"mine\">"));
}

/* One whose configuration is too large to be kept for it. */
class MissingLargePlugins : public MissingPlugins {
protected:
    void SetUp() override
    {
        ConfiguredDevice::SetUp();
        install_plugin("copies.vorn");
        install_plugin("save.vorn");
        set_up_with("<Radio name=\"mine\"/><Acl name=\"a\"><mac>" +
                    std::string(std::size_t{1} << 20, 'x') + "</mac></Acl>");
    }
};

TEST_F(MissingLargePlugins, LoseNothingToASave)
{
    boot_without_board();
    EXPECT_TRUE(console_shows("vorn: More than can be kept is unknown: 1 pieces are not.\n"));
    EXPECT_TRUE(console_shows("vorn: The plugin \"board.vorn\" is missing: what is its own is not "
                              "loaded, and nothing is saved until it is back.\n"));

    save_something();

    EXPECT_TRUE(console_shows(why_not_saved));
    EXPECT_EQ(read_file(startup), saved_);
    EXPECT_THAT(lsql(select_save), HasSubstr("<result>failed</result><reason>the plugin "
                                             "\"board.vorn\" is missing"));
}

TEST_F(MissingLargePlugins, MakeNoDefaultEither)
{
    boot_without_board();

    lsql("<lsql><update><Copies><running-to-default>now</running-to-default></Copies></update>"
         "</lsql>");

    EXPECT_TRUE(console_shows("copies: running-to-default 1\n"));
    EXPECT_FALSE(exists(default_file));
}

TEST_F(MissingPlugins, AreNoHindranceOnceTheyAreBack)
{
    boot_without_board();
    save_something();
    shut_down();
    write_file(board_plugin, taken_);
    boot();

    lsql("<lsql><insert><Radio name=\"new\"/></insert></lsql>");

    EXPECT_THAT(read_file(startup), HasSubstr("new"));
    EXPECT_EQ(lsql("<lsql><select><Radio/></select></lsql>"),
              answer("<Radio name=\"mine\"/><Radio name=\"new\"/>", 2));
    EXPECT_THAT(read_file(startup), HasSubstr("<channel>6</channel>"));
}

TEST_F(MissingPlugins, WithoutAnythingInTheFileAreForgotten)
{
    take_away(copies_plugin);
    write_file(startup, "<config><Radio name=\"mine\"/></config>");
    boot();

    lsql("<lsql><insert><Radio name=\"new\"/></insert></lsql>");

    EXPECT_THAT(read_file(startup), HasSubstr("new"));
    EXPECT_THAT(read_file(list_of_plugins), Not(HasSubstr("copies.vorn")));
}

/* A device that has never saved anything since its first boot. */
TEST_F(MissingLargePlugins, AreRememberedFromABootThatHadThemAll)
{
    std::filesystem::remove(list_of_plugins);
    boot();
    shut_down();
    boot_without_board();

    save_something();

    EXPECT_EQ(read_file(startup), saved_);
    EXPECT_THAT(console(), HasSubstr(why_not_saved));
}

TEST_F(MissingLargePlugins, AreForgottenWithTheirList)
{
    std::filesystem::remove(list_of_plugins);
    boot_without_board();

    save_something();

    EXPECT_THAT(read_file(startup), Not(HasSubstr("xxx")));
}

/* A device on whose disk the list has no place. */
class UnwritableLists : public MissingLargePlugins {
protected:
    void SetUp() override
    {
        MissingLargePlugins::SetUp();
        std::filesystem::remove(list_of_plugins);
        block(list_of_plugins);
    }

    /* Where the new file would be made there is a folder. */
    static void block(const char *list)
    {
        std::filesystem::create_directories(std::string(list) + ".new/x");
    }
    static void clear_way(const char *list)
    {
        std::filesystem::remove_all(std::string(list) + ".new");
    }
};

TEST_F(UnwritableLists, ArePutBesideTheStartupFile)
{
    boot();
    save_something();
    EXPECT_THAT(read_file(list_beside_startup), HasSubstr("board.vorn\n"));
    shut_down();
    boot_without_board();

    save_something();

    EXPECT_EQ(read_file(startup), saved_);
    EXPECT_TRUE(console_shows(why_not_saved));
}

TEST_F(UnwritableLists, LeaveTheStartupFileAloneAgainWhenTheyCanBeWritten)
{
    boot();
    shut_down();
    clear_way(list_of_plugins);
    install_plugin("alarms.vorn");
    boot();

    save_something();

    EXPECT_THAT(read_file(list_of_plugins), HasSubstr("alarms.vorn\n"));
    EXPECT_FALSE(exists(list_beside_startup));
}

TEST_F(UnwritableLists, AreToldOfByEverySaveAndTriedAgainByIt)
{
    block(list_beside_startup);
    boot();
    EXPECT_THAT(console(), Not(HasSubstr("remember the plugins")));

    save_something();
    EXPECT_TRUE(console_shows(
        "vorn: Can't remember the plugins of this save: neither /etc/vorn-plugins nor "
        "/etc/config/vorn-plugins can be written. One that is missing at a later boot will lose "
        "what "
        "is its own.\n"));

    clear_way(list_of_plugins);
    lsql("<lsql><insert><Radio name=\"new\"/></insert></lsql>");
    EXPECT_THAT(read_file(list_of_plugins), HasSubstr("board.vorn\n"));
}

TEST_F(MissingPlugins, AreNotMeantByWhatNoPluginEverKnewWhichIsKeptAllTheSame)
{
    write_file(startup, "<config><Toaster/><Radio name=\"mine\"/></config>");
    boot();

    lsql("<lsql><insert><Radio name=\"new\"/></insert></lsql>");

    EXPECT_THAT(read_file(startup), HasSubstr("new"));
    EXPECT_THAT(read_file(startup), HasSubstr("  <Toaster/>\n</config>"));
    EXPECT_THAT(console(), Not(HasSubstr("is missing")));
}

} // namespace
