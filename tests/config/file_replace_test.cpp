/* SPDX-License-Identifier: MIT */
#include "config/config_fixture.h"
#include "config/file_replace.h"
#include "support/log.h"

#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <string>

#include <sys/stat.h>

namespace vorn::tests {

class FileReplacements : public testing::Test {
protected:
    static mode_t mode_of(const std::string &path)
    {
        struct stat status = {};
        EXPECT_EQ(stat(path.c_str(), &status), 0);
        return status.st_mode & 07777U;
    }
    bool replace_by(const char *text, FileKind kind = FileKind::kept)
    {
        FileReplacement file(path.c_str(), kind);
        if (!file) return false;
        std::fputs(text, file.stream());
        return file.commit();
    }

    CapturedLog log;
    ScratchFolder folder;
    std::string path = folder / "file";
};

TEST_F(FileReplacements, LeaveTheOldFileUntilTheyAreCommitted)
{
    write(path, "old");
    FileReplacement file(path.c_str());
    std::fputs("new", file.stream());
    std::fflush(file.stream());
    EXPECT_EQ(content(path), "old");

    EXPECT_TRUE(file.commit());

    EXPECT_EQ(content(path), "new");
    EXPECT_EQ(folder.file_count(), 1U);
}

TEST_F(FileReplacements, LeaveNothingWhenTheyAreGivenUp)
{
    write(path, "old");

    {
        const FileReplacement file(path.c_str());
        std::fputs("new", file.stream());
    }

    EXPECT_EQ(content(path), "old");
    EXPECT_EQ(folder.file_count(), 1U);
}

TEST_F(FileReplacements, KeepTheModeOfTheOldFile)
{
    write(path, "old");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);

    EXPECT_TRUE(replace_by("new"));

    EXPECT_EQ(mode_of(path), 0640U);
}

TEST_F(FileReplacements, HaveTheUsualModeWithoutAnOldFile)
{
    const mode_t before = umask(022);

    EXPECT_TRUE(replace_by("new"));

    umask(before);
    EXPECT_EQ(mode_of(path), 0644U);
}

TEST_F(FileReplacements, OfScratchFilesTakeOverNoMode)
{
    write(path, "planted");
    ASSERT_EQ(chmod(path.c_str(), 0666), 0);

    EXPECT_TRUE(replace_by("new", FileKind::scratch));

    EXPECT_EQ(mode_of(path), 0600U);
}

TEST_F(FileReplacements, ReplaceALinkItself)
{
    const std::string elsewhere = folder / "elsewhere";
    write(elsewhere, "theirs");
    std::filesystem::create_symlink(elsewhere, path);
    std::filesystem::create_symlink(elsewhere, path + ".new");

    EXPECT_TRUE(replace_by("new"));

    EXPECT_EQ(content(elsewhere), "theirs");
    EXPECT_EQ(content(path), "new");
    EXPECT_FALSE(std::filesystem::is_symlink(path));
}

TEST_F(FileReplacements, SayWhyTheyCannotBeCommitted)
{
    std::filesystem::create_directory(path);

    EXPECT_FALSE(replace_by("new"));

    EXPECT_EQ(log.text(), "vorn: Can't write " + path + ": Is a directory.\n");
    EXPECT_EQ(folder.file_count(), 1U);
}

TEST_F(FileReplacements, AreWholeOrNothingWithoutMemory)
{
    write(path, "old");

    FailEachAllocation([this] {
        const bool done = replace_by("new");

        const AllocationsAllowed allowed;
        EXPECT_EQ(done, !AllocationFailed());
        EXPECT_EQ(content(path), done ? "new" : "old");
        EXPECT_EQ(folder.file_count(), 1U);
    });
}

TEST_F(FileReplacements, ByACopyHoldAllBytes)
{
    const std::string bytes = std::string(1024, 'a') + '\0' + std::string(1500, 'b');
    write(folder / "source", bytes);

    EXPECT_TRUE(copy_file((folder / "source").c_str(), path.c_str()));

    EXPECT_EQ(content(path), bytes);
}

TEST_F(FileReplacements, ByACopyOfNothingKeepTheOldFile)
{
    write(path, "old");

    EXPECT_FALSE(copy_file((folder / "source").c_str(), path.c_str()));

    EXPECT_EQ(content(path), "old");
    EXPECT_EQ(log.text(), "vorn: vorn_config_cp: Can't open " + (folder / "source") + "\n");
}

TEST_F(FileReplacements, ByACopyOfWhatCannotBeReadKeepTheOldFile)
{
    write(path, "old");
    std::filesystem::create_directory(folder / "source");

    EXPECT_FALSE(copy_file((folder / "source").c_str(), path.c_str()));

    EXPECT_EQ(content(path), "old");
    EXPECT_EQ(log.text(), "vorn: Can't read " + (folder / "source") + ".\n");
}

TEST_F(FileReplacements, ByACopyWithItsModeMayBeReadByWhoMayReadTheSource)
{
    write(folder / "source", "theirs");
    for (const mode_t mode : {0640u, 0600u}) {
        ASSERT_EQ(chmod((folder / "source").c_str(), mode), 0);

        EXPECT_EQ(copy_file_with_mode((folder / "source").c_str(), path.c_str()), 0);

        EXPECT_EQ(mode_of(path), mode);
        EXPECT_EQ(content(path), "theirs");
    }
}

TEST_F(FileReplacements, ByACopyToNowhereSaySo)
{
    write(path, "old");
    const std::string nowhere = folder / "no/file";

    EXPECT_FALSE(copy_file(path.c_str(), nowhere.c_str()));

    EXPECT_EQ(log.text(), "vorn: vorn_config_cp: Can't open " + nowhere + "\n");
}

TEST_F(FileReplacements, CopyNoMoreThanTheyAreTold)
{
    write(folder / "source", std::string(3000, 'a'));
    std::FILE *source = std::fopen((folder / "source").c_str(), "r");
    std::FILE *target = std::fopen(path.c_str(), "w");

    EXPECT_EQ(copy_bytes(source, target, 2500), 2500);
    EXPECT_EQ(copy_bytes(source, target, LONG_MAX), 500);
    EXPECT_EQ(copy_bytes(source, target, LONG_MAX), 0);

    std::fclose(source);
    std::fclose(target);
    EXPECT_EQ(content(path), std::string(3000, 'a'));
}

} // namespace vorn::tests
