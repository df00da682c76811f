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

TEST_F(BrokenFiles, AreKeptUntilSomebodyForgetsThem)
{
    std::filesystem::remove(rescue);
    write_file(startup, broken_text);
    boot();
    lsql(add_radio);
    shut_down();
    boot();
    EXPECT_THAT(lsql(select_save), HasSubstr("<boot>startup</boot><broken>/etc/config"));

    EXPECT_THAT(inform("save", {"action=nothing"}), HasSubstr("ERR"));
    EXPECT_EQ(read_file(broken_file), broken_text);
    EXPECT_EQ(inform("save", {"action=forget-broken"}), "OK\n");

    EXPECT_THAT(lsql(select_save), HasSubstr("<broken/>"));
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
