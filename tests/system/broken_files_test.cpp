/* SPDX-License-Identifier: MIT */
/* Boots on a device whose files are broken, are no files, or lie on a disk that takes no more. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <sys/mount.h>
#include <sys/stat.h>

#include "configured_device.h"

namespace {

using testing::HasSubstr;
using namespace vorn::tests;

constexpr char broken_file[] = "/etc/config/config.xml.broken";
constexpr char broken_text[] = "<config><Radio name=\"old\"/><Radio";
constexpr char add_radio[] = "<lsql><insert><Radio name=\"new\"/></insert></lsql>";

/* Attack. */
class BrokenFiles : public ConfiguredDevice {
protected:
    void SetUp() override
    {
        ConfiguredDevice::SetUp();
        install_plugin("save.vorn");
    }

    static void expect_singletons()
    {
        EXPECT_THAT(lsql("<lsql><select><Board/></select></lsql>"),
                    HasSubstr("<counter>1</counter>"));
        EXPECT_THAT(lsql("<lsql><select><Clock/></select></lsql>"),
                    HasSubstr("<counter>1</counter>"));
    }

    static void expect_boot_was(const std::string &source)
    {
        EXPECT_THAT(lsql(select_save), HasSubstr("<boot>" + source + "</boot>"));
    }
};

TEST_F(BrokenFiles, AreKeptBesideWhenNothingElseCanBeRead)
{
    std::filesystem::remove(rescue);
    write_file(startup, broken_text);
    boot();

    EXPECT_EQ(read_file(startup), broken_text);
    EXPECT_THAT(lsql(select_save),
                HasSubstr("<boot>nothing</boot><broken>/etc/config/config.xml.broken</broken>"));
    EXPECT_TRUE(console_shows("vorn: What could not be read is kept as "
                              "/etc/config/config.xml.broken.\n"));
    expect_singletons();
    lsql(add_radio);

    EXPECT_THAT(read_file(startup), HasSubstr("\"new\""));
    EXPECT_EQ(read_file(broken_file), broken_text);
    EXPECT_EQ(shell("ls /etc/config"), "config.xml\nconfig.xml.broken\n");
}

/* A copy would need room on a disk that may have none. */
TEST_F(BrokenFiles, AreKeptAsTheFilesThatTheyAre)
{
    std::filesystem::remove(rescue);
    write_file(startup, broken_text);
    const ino_t before = number_of(startup);
    boot();

    EXPECT_EQ(number_of(broken_file), before);
}

/* A file of another mount has no second name here; secrets in it stay what they are. */
TEST_F(BrokenFiles, AreCopiedWithTheirModeWhereThereAreNoSecondNames)
{
    std::filesystem::remove(rescue);
    for (const mode_t mode : {0600u, 0640u}) {
        write_file("/etc/elsewhere", broken_text);
        ASSERT_EQ(chmod("/etc/elsewhere", mode), 0);
        write_file(startup, "");
        ASSERT_EQ(mount("/etc/elsewhere", startup, nullptr, MS_BIND, nullptr), 0);
        boot();
        shut_down();

        EXPECT_EQ(read_file(broken_file), broken_text);
        EXPECT_EQ(std::filesystem::status(broken_file).permissions(),
                  static_cast<std::filesystem::perms>(mode));
        umount(startup);
    }
}

/* A document type is refused before what it declares is read. */
TEST_F(BrokenFiles, AreThoseWithADocumentTypeToo)
{
    const std::string text = "<!DOCTYPE config [<!ENTITY a \"b\">]><config><Radio name=\"old\"/>"
                             "</config>";
    std::filesystem::remove(rescue);
    write_file(startup, text);
    boot();

    expect_boot_was("nothing");
    lsql(add_radio);
    EXPECT_THAT(lsql(select_save), HasSubstr("<broken>/etc/config/config.xml.broken</broken>"));
    EXPECT_EQ(read_file(broken_file), text);
}

TEST_F(BrokenFiles, AreKeptUntilSomebodyForgetsThem)
{
    std::filesystem::remove(rescue);
    write_file(startup, broken_text);
    boot();
    constexpr char ping[] = "vornctl ping 2>&1";
    EXPECT_THAT(shell(ping), HasSubstr("warning: this device runs without its configuration"));
    lsql(add_radio);
    const auto tells_how_to_end_it =
        testing::AllOf(HasSubstr("warning: this device has started without its configuration once"),
                       HasSubstr("\"vornctl forget-broken\" ends this warning"));
    EXPECT_THAT(shell(ping), tells_how_to_end_it);
    shut_down();
    boot();
    EXPECT_THAT(lsql(select_save), HasSubstr("<boot>startup</boot><broken>/etc/config"));

    EXPECT_THAT(shell(ping), tells_how_to_end_it);
    EXPECT_THAT(inform("save", {"action=nothing"}), HasSubstr("ERR"));
    EXPECT_EQ(read_file(broken_file), broken_text);
    EXPECT_EQ(inform("save", {"action=forget-broken"}), "OK\n");

    EXPECT_THAT(lsql(select_save), HasSubstr("<broken/>"));
    EXPECT_THAT(shell(ping), testing::Not(HasSubstr("warning")));
    EXPECT_EQ(shell("ls /etc/config"), "config.xml\n");
    EXPECT_EQ(inform("save", {"action=forget-broken"}), "OK\n");
}

TEST_F(BrokenFiles, AreKeptOnceTheNewest)
{
    std::filesystem::remove(rescue);
    write_file(broken_file, "older");
    write_file(startup, broken_text);
    boot();
    shut_down();
    boot();

    EXPECT_EQ(shell("ls /etc/config"), "config.xml\nconfig.xml.broken\n");
    EXPECT_EQ(read_file(broken_file), broken_text);
}

TEST_F(BrokenFiles, AreKeptWhenTheRescueIsBrokenToo)
{
    write_file(rescue, "<rescue/>");
    write_file(startup, broken_text);
    boot();

    EXPECT_EQ(read_file(broken_file), broken_text);
    expect_boot_was("nothing");
}

TEST_F(BrokenFiles, LeaveNothingBesideWhenThereIsADefault)
{
    write_file(startup, broken_text);
    write_default(good_header());

    expect_boot_from("factory");
    expect_boot_was("default");
    EXPECT_EQ(shell("ls /etc/config"), "config.xml\n");
}

TEST_F(BrokenFiles, LeaveNothingBesideWhenThereIsARescue)
{
    write_file(startup, broken_text);

    expect_boot_from("rescued");
    expect_boot_was("rescue");
    EXPECT_EQ(shell("ls /etc/config"), "config.xml\n");
}

TEST_F(BrokenFiles, AreFilesAndNothingElse)
{
    std::filesystem::create_directory(broken_file);
    boot();

    EXPECT_THAT(lsql(select_save), HasSubstr("<broken/>"));
}

TEST_F(BrokenFiles, ThatAreMissingAreNotKept)
{
    std::filesystem::remove(rescue);
    boot();

    expect_boot_was("nothing");
    expect_singletons();
    EXPECT_EQ(shell("ls /etc/config"), "");
}

TEST_F(BrokenFiles, TellThatTheStartupFileWasMadeOfTheDefault)
{
    write_default(good_header());

    expect_boot_from("factory");
    expect_boot_was("default");
}

TEST_F(BrokenFiles, TellThatTheStartupFileWasMadeOfTheRescue)
{
    expect_boot_from("rescued");
    expect_boot_was("rescue");
}

/* The disk with the startup file takes nothing any more. */
/* Attack. */
class WornDisks : public BrokenFiles {
protected:
    void SetUp() override
    {
        BrokenFiles::SetUp();
        ASSERT_EQ(mount("tmpfs", "/etc/config", "tmpfs", 0, nullptr), 0);
        write_file(startup, broken_text);
        ASSERT_EQ(mount(nullptr, "/etc/config", nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    }
    void TearDown() override
    {
        BrokenFiles::TearDown();
        umount("/etc/config");
    }
};

TEST_F(WornDisks, ServeTheDefaultFromWhereItLies)
{
    write_default(good_header());

    expect_boot_from("factory");
    expect_boot_was("default");
    expect_singletons();
    EXPECT_EQ(read_file(startup), broken_text);
}

TEST_F(WornDisks, ServeTheRescueFromWhereItLiesWhenTheDefaultIsNoGood)
{
    write_default("Version: 1\nLength: 4\nMD5sum: " + std::string(32, '0') + "\n");

    expect_boot_from("rescued");
    expect_boot_was("rescue");
}

TEST_F(WornDisks, HaveTheirSingletonsWithoutAnyFile)
{
    std::filesystem::remove(rescue);
    boot();

    expect_boot_was("nothing");
    expect_singletons();
}

TEST_F(WornDisks, KeepTheBrokenFileBeforeTheFirstSaveReplacesIt)
{
    std::filesystem::remove(rescue);
    boot();
    EXPECT_THAT(lsql(select_save), HasSubstr("<broken>/etc/config/config.xml</broken>"));
    EXPECT_TRUE(console_shows("Can't write /etc/config/config.xml.broken: Read-only file system."));
    lsql(add_radio);
    EXPECT_THAT(lsql(select_save),
                HasSubstr("<result>failed</result><reason>/etc/config/config.xml, which could not "
                          "be read, can't be kept as /etc/config/config.xml.broken: Read-only file "
                          "system</reason>"));

    ASSERT_EQ(mount(nullptr, "/etc/config", nullptr, MS_REMOUNT, nullptr), 0);
    std::filesystem::create_directory(broken_file);
    lsql("<lsql><update><Radio><mode>g</mode></Radio></update></lsql>");
    EXPECT_THAT(lsql(select_save), HasSubstr("config.xml.broken: Is a directory</reason>"));
    EXPECT_EQ(read_file(startup), broken_text);

    std::filesystem::remove(broken_file);
    lsql("<lsql><update><Radio><mode>b</mode></Radio></update></lsql>");
    EXPECT_THAT(lsql(select_save), HasSubstr("<result>saved</result>"));
    EXPECT_EQ(read_file(broken_file), broken_text);
    EXPECT_THAT(read_file(startup), HasSubstr("\"new\""));
    EXPECT_EQ(shell("ls /etc/config"), "config.xml\nconfig.xml.broken\n");
}

TEST_F(WornDisks, LoseTheBrokenFileToASaveOnceItIsForgotten)
{
    std::filesystem::remove(rescue);
    boot();
    EXPECT_EQ(inform("save", {"action=forget-broken"}), "OK\n");
    EXPECT_THAT(lsql(select_save), HasSubstr("<broken/>"));

    ASSERT_EQ(mount(nullptr, "/etc/config", nullptr, MS_REMOUNT, nullptr), 0);
    lsql(add_radio);
    EXPECT_THAT(lsql(select_save), HasSubstr("<result>saved</result>"));
    EXPECT_EQ(shell("ls /etc/config"), "config.xml\n");
}

/* What somebody repaired by hand in the meantime is not broken. */
TEST_F(WornDisks, KeepNothingOnceAnotherLoadHasReadTheFile)
{
    std::filesystem::remove(std::string(vorn::test::plugin_folder) + "save.vorn");
    install_plugin("copies.vorn");
    std::filesystem::remove(rescue);
    boot();
    ASSERT_EQ(mount(nullptr, "/etc/config", nullptr, MS_REMOUNT, nullptr), 0);
    write_file(startup, "<config><Radio name=\"repaired\"/></config>");

    for (const char *copy : {"startup-to-running", "running-to-startup"}) {
        lsql("<lsql><update><Copies><" + std::string(copy) + ">now</" + copy +
             "></Copies></update></lsql>");
        EXPECT_TRUE(console_shows("copies: " + std::string(copy) + " 0\n"));
    }

    EXPECT_THAT(read_file(startup), HasSubstr("\"repaired\""));
    EXPECT_EQ(shell("ls /etc/config"), "config.xml\n");
}

TEST_F(WornDisks, KeepNothingOnceTheFileHasGone)
{
    std::filesystem::remove(std::string(vorn::test::plugin_folder) + "save.vorn");
    install_plugin("copies.vorn");
    std::filesystem::remove(rescue);
    boot();
    ASSERT_EQ(mount(nullptr, "/etc/config", nullptr, MS_REMOUNT, nullptr), 0);
    std::filesystem::remove(startup);

    for (const char *copy :
         {"startup-to-running 1", "running-to-startup 0", "running-to-startup 0"}) {
        const std::string name(copy, 18);
        lsql("<lsql><update><Copies><" + name + ">now</" + name + "></Copies></update></lsql>");
        EXPECT_TRUE(console_shows("copies: " + std::string(copy) + "\n"));
        shell("truncate -s 0 /dev/console");
    }

    EXPECT_EQ(shell("ls /etc/config"), "config.xml\n");
}

/* Nor is there a place for the scratch files. */
/* Attack. */
class DisksWithoutScratchFiles : public BrokenFiles {
protected:
    void TearDown() override
    {
        BrokenFiles::TearDown();
        umount("/tmp");
        umount("/etc/config");
    }

    static void make_read_only(const char *folder)
    {
        ASSERT_EQ(mount("tmpfs", folder, "tmpfs", MS_RDONLY, nullptr), 0);
    }
    static void make_full(const char *folder, std::size_t pages)
    {
        ASSERT_EQ(mount("tmpfs", folder, "tmpfs", 0, "size=64k"), 0);
        write_file(std::string(folder) + "/ballast", std::string((16 - pages) * 4096, 'x'));
    }
};

TEST_F(DisksWithoutScratchFiles, ServeTheDefaultInPlaceOfAMissingStartupFile)
{
    write_default(good_header());
    make_read_only("/tmp");

    expect_boot_from("factory");
    expect_boot_was("default");
    EXPECT_TRUE(console_shows("vorn: Can't open /tmp/defaultconfig.xml.\n"
                              "vorn: Error 2 copying default config.\n"
                              "vorn: It can't be copied: /etc/defaultconfig.xml is read where it "
                              "lies.\n"));
    lsql(add_radio);
    EXPECT_THAT(read_file(startup), HasSubstr("<Radio name=\"new\"/>"));
}

TEST_F(DisksWithoutScratchFiles, ServeTheDefaultInPlaceOfABrokenStartupFile)
{
    write_file(startup, broken_text);
    write_default(good_header());
    make_full("/tmp", 0);

    expect_boot_from("factory");
    expect_boot_was("default");
    EXPECT_EQ(read_file(startup), broken_text);
}

TEST_F(DisksWithoutScratchFiles, ServeTheDefaultFromWhereItLies)
{
    write_default(good_header());
    make_read_only("/tmp");
    make_read_only("/etc/config");

    expect_boot_from("factory");
    expect_boot_was("default");
    expect_singletons();
}

/* A checksum list that finds no room leaves the same way. */
TEST_F(DisksWithoutScratchFiles, ServeTheDefaultWhereOnlyTheScratchCopyFindsRoom)
{
    write_default(good_header());
    make_full("/tmp", 1);
    make_read_only("/etc/config");

    expect_boot_from("factory");
    expect_boot_was("default");
}

TEST_F(DisksWithoutScratchFiles, ServeNoDefaultWithAWrongDigest)
{
    write_default("Version: 1\nLength: " + std::to_string(sizeof default_text - 1) +
                  "\nMD5sum: " + md5_of("another text") + "\n");
    make_read_only("/tmp");
    make_read_only("/etc/config");

    expect_boot_from("rescued");
    expect_boot_was("rescue");
    EXPECT_TRUE(console_shows("vorn: Error 2 copying default config.\n"));
}

/* What follows the document is not the document's. */
TEST_F(DisksWithoutScratchFiles, ServeTheDefaultAsFarAsItsLength)
{
    write_file(default_file, good_header() + "\n" + default_text + "<config/>");
    make_read_only("/tmp");
    make_read_only("/etc/config");

    expect_boot_from("factory");
}

/* The startup file's disk has room for the rescue only. */
TEST_F(DisksWithoutScratchFiles, ServeTheDefaultBeforeARescueThatCanBeCopied)
{
    const std::string large =
        "<config><Radio name=\"factory\"/>" + std::string(9000, ' ') + "</config>\n";
    write_file(default_file, "Version: 1\nLength: " + std::to_string(large.size()) +
                                 "\nMD5sum: " + md5_of(large) + "\n\n" + large);
    make_full("/etc/config", 2);

    expect_boot_from("factory");
    expect_boot_was("default");
    EXPECT_EQ(shell("ls /etc/config"), "ballast\n");
}

TEST_F(DisksWithoutScratchFiles, TellThatASaveFoundNoRoom)
{
    write_default(good_header());
    make_full("/etc/config", 0);
    boot();

    lsql(add_radio);

    EXPECT_THAT(lsql(select_save), HasSubstr("<reason>No space left on device</reason>"));
    EXPECT_EQ(shell("ls /etc/config"), "ballast\n");
}

TEST_F(BrokenFiles, AreDoneWithoutWhereTheirFolderIsMissing)
{
    std::filesystem::remove_all("/etc/config");
    write_default(good_header());

    expect_boot_from("factory");
    expect_boot_was("default");
    lsql(add_radio);
    EXPECT_THAT(lsql(select_save), HasSubstr("<reason>No such file or directory</reason>"));
}

/* Attack. */
class Pipes : public BrokenFiles {
protected:
    static void put_pipe(const char *path)
    {
        std::filesystem::remove(path);
        ASSERT_EQ(mkfifo(path, 0600), 0);
    }
};

TEST_F(Pipes, AreNoStartupFile)
{
    put_pipe(startup);
    write_default(good_header());

    expect_boot_from("factory");
    EXPECT_EQ(read_file(startup), default_text);
}

TEST_F(Pipes, AreNoDefaultFile)
{
    put_pipe(default_file);

    expect_boot_from("rescued");
    EXPECT_TRUE(console_shows("vorn: Error 5 copying default config.\n"));
}

TEST_F(Pipes, AreNoRescueFile)
{
    put_pipe(rescue);
    boot();

    expect_boot_was("nothing");
    EXPECT_TRUE(console_shows("vorn: vorn_config_cp: Can't open /etc/rescueconfig.xml\n"));
}

TEST_F(Pipes, AreNoPidFile)
{
    put_pipe("/var/run/vorn.pid");

    expect_boot_from("rescued");
    EXPECT_TRUE(console_shows("vorn: Fatal error: Unable to create pid file"));
}

TEST_F(Pipes, AreNoLockFile)
{
    put_pipe("/var/run/vorn.lock");

    expect_boot_from("rescued");
}

TEST_F(Pipes, AreNoSavedConfigurationToShow)
{
    boot();
    put_pipe(startup);

    EXPECT_THAT(lsql("<get_conf/>"), HasSubstr("<error>Can't read config file.</error>"));
}

} // namespace
