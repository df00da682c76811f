/* SPDX-License-Identifier: MIT */
/* Files that belong to the configuration go where it goes. */
#include "config/config_files.h"
#include "config/config_fixture.h"
#include "config/config_hold.h"
#include "core/plugin_page.h"
#include "support/allocation.h"
#include "vorn/config.h"
#include "vorn/config_files.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

#include <sys/stat.h>

namespace vorn::tests {

namespace {

/* A path that was added stays for the life of the process. */
struct OneFile {
    OneFile()
    {
        const InPlugin watched(its_plugin, Callback::init);
        vorn_config_add_file(path.c_str(), take, this);
    }

    static void take(const char *bytes, std::size_t size, void *data)
    {
        const AllocationsAllowed allowed;
        static_cast<OneFile *>(data)->taken = std::string(bytes, size);
        static_cast<OneFile *>(data)->taken_by = current_plugin();
    }

    static constexpr PluginOwner its_plugin = 5;

    ScratchFolder folder;
    std::string path = folder / "keys";
    std::string taken = "(nothing)";
    PluginOwner taken_by = no_plugin;
};

class ConfigFiles : public testing::Test {
protected:
    ConfigFiles()
    {
        log.set_level(0);
        std::filesystem::remove(file().path);
        file().taken = "(nothing)";
    }
    ~ConfigFiles() override { vorn_config_release(); }

    static OneFile &file()
    {
        static auto *one = new OneFile; // NOLINT: plugins are never unloaded either
        return *one;
    }
    static int write_down(const std::string &text)
    {
        return vorn_config_write_file(file().path.c_str(), text.data(), text.size());
    }
    static std::string read_back()
    {
        std::size_t size = 0;
        const Allocated<char> bytes(vorn_config_read_file(file().path.c_str(), &size));
        return bytes ? std::string(bytes.get(), size) : "(none)";
    }

    CapturedLog log;
};

} // namespace

TEST_F(ConfigFiles, AreReplacedWholeForRootAlone)
{
    EXPECT_EQ(read_back(), "(none)");
    EXPECT_EQ(write_down(std::string("a\0b", 3)), 0);

    struct stat status;
    ASSERT_EQ(stat(file().path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    EXPECT_EQ(content(file().path), std::string("a\0b", 3));
    EXPECT_EQ(read_back(), std::string("a\0b", 3));
    EXPECT_EQ(file().folder.file_count(), 1u);
}

TEST_F(ConfigFiles, StayAsTheyAreWhileSavingIsHeld)
{
    write_down("old");
    vorn_config_hold("it is on trial");

    EXPECT_EQ(write_down("new"), 0);

    EXPECT_EQ(content(file().path), "old");
    EXPECT_EQ(read_back(), "new");
    vorn_config_release();
    EXPECT_EQ(read_back(), "old");
    EXPECT_EQ(file().taken, "old");
}

TEST_F(ConfigFiles, AreTakenAsEmptyWhereThereIsNone)
{
    vorn_config_hold("it is on trial");
    write_down("new");

    vorn_config_release();

    EXPECT_EQ(file().taken, "");
    EXPECT_EQ(read_back(), "(none)");
}

TEST_F(ConfigFiles, ThatNobodyWroteAreNotTakenBack)
{
    vorn_config_hold("it is on trial");
    vorn_config_release();

    EXPECT_EQ(file().taken, "(nothing)");
}

TEST_F(ConfigFiles, AreWrittenWithWhatIsConfirmed)
{
    write_down("old");
    vorn_config_hold("it is on trial");
    write_down("new");
    SaveReason reason;

    EXPECT_TRUE(write_kept_files(reason));

    EXPECT_EQ(content(file().path), "new");
    vorn_config_release();
    EXPECT_EQ(file().taken, "(nothing)");
}

TEST_F(ConfigFiles, SayWhyTheyCantBeWritten)
{
    vorn_config_hold("it is on trial");
    write_down("new");
    std::filesystem::create_directory(file().path);
    SaveReason reason;

    EXPECT_FALSE(write_kept_files(reason));

    EXPECT_EQ(reason.get(), file().path + ": Is a directory");
    EXPECT_EQ(read_back(), "new");
    std::filesystem::remove(file().path);
}

TEST_F(ConfigFiles, AreListedOnceEach)
{
    int times = 0;
    for (unsigned int i = 0; const char *path = vorn_config_get_file(i); i++)
        times += path == file().path;

    EXPECT_EQ(times, 1);
}

TEST_F(ConfigFiles, AreKnownByTheirPaths)
{
    std::size_t size = 0;
    log.set_level(1);

    EXPECT_EQ(vorn_config_write_file("/x", "", 0), EINVAL);
    EXPECT_EQ(log.take(), "vorn: File \"/x\" is not one of the configuration.\n");
    EXPECT_EQ(vorn_config_read_file("/x", &size), nullptr);
    EXPECT_EQ(vorn_config_take_file("/x", "", 0), 1);
    EXPECT_EQ(vorn_config_take_file(file().path.c_str(), "other", 5), 0);
    EXPECT_EQ(file().taken, "other");
    EXPECT_EQ(file().taken_by, OneFile::its_plugin);
}

TEST_F(ConfigFiles, KeepWhatTheyHadWithoutMemory)
{
    write_down("old");
    vorn_config_hold("it is on trial");
    write_down("kept");
    constexpr unsigned long least = 2;
    FailEachAllocation(
        [] {
            const int result = write_down("new");
            EXPECT_EQ(result, AllocationFailed() ? ENOMEM : 0);
            std::size_t size = 0;
            const Allocated<char> bytes(vorn_config_read_file(file().path.c_str(), &size));
            EXPECT_EQ(!bytes || result == ENOMEM, AllocationFailed());
            const AllocationsAllowed allowed;
            EXPECT_EQ(read_back(), result == 0 ? "new" : "kept");
            write_down("kept");
        },
        least);
}

TEST_F(ConfigFiles, AreAddedWithAPathAndAFunctionAlone)
{
    log.set_level(1);
    EXPECT_EQ(vorn_config_add_file(nullptr, OneFile::take, nullptr), 1);
    EXPECT_EQ(vorn_config_add_file("/not/there", nullptr, nullptr), 1);
    EXPECT_EQ(log.text(), "vorn: Null path.\nvorn: Null take.\n");
}

TEST_F(ConfigFiles, AreAddedWithMemoryAlone)
{
    FailEachAllocation([] {
        const int result = vorn_config_add_file("/not/there", OneFile::take, &file());
        EXPECT_EQ(result == 1, AllocationFailed());
    });

    EXPECT_EQ(vorn_config_take_file("/not/there", "bytes", 5), 0);
    EXPECT_EQ(file().taken, "bytes");
}

} // namespace vorn::tests
