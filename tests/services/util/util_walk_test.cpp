/* SPDX-License-Identifier: MIT */
#include "core/process.h"
#include "support/log.h"
#include "vorn/eloop.h"
#include "vorn/util.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vorn::tests::CapturedLog;

namespace fs = std::filesystem;

/* What the walker calls back with, one text a call. */
int note(char *output, int size, const char *path, const char *label, const void *user)
{
    auto *calls = static_cast<std::vector<std::string> *>(const_cast<void *>(user));
    calls->push_back(fs::path(path).filename().string() + "|" + label + "|" + std::to_string(size));
    std::snprintf(output, static_cast<std::size_t>(size), "%s\n", label);
    return 7;
}

class Walks : public testing::Test {
protected:
    Walks()
    {
        char path[] = "/tmp/vorn-walk-XXXXXX";
        folder = std::string(mkdtemp(path)) + "/";
    }
    ~Walks() override { fs::remove_all(folder); }

    void put(const std::string &name)
    {
        fs::create_directories(fs::path(folder + name).parent_path());
        std::ofstream(folder + name) << "x";
    }
    int walk(const std::string &pattern, const char *label = "")
    {
        const int result = vorn_util_dir_walk((folder + pattern).c_str(), output, sizeof output,
                                              label, note, &calls);
        std::sort(calls.begin(), calls.end());
        return result;
    }

    std::string folder;
    char output[200] = "";
    std::vector<std::string> calls;
    CapturedLog log;
};

TEST_F(Walks, CallBackForAFile)
{
    put("stat");

    EXPECT_EQ(walk("stat", "here "), 7);

    EXPECT_THAT(calls, ElementsAre("stat|here |200"));
}

TEST_F(Walks, AnswerWithTheStatusOfWhatIsNoFile)
{
    fs::create_directory(folder + "folder");

    EXPECT_EQ(walk("folder"), 0);
    EXPECT_EQ(walk("nothing"), -1);

    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(Walks, ReplaceAStarByEveryEntry)
{
    put("eth0/stats");
    put("eth1/stats");
    put("eth2/other");
    put(".hidden/stats");

    EXPECT_EQ(walk("*/stats", "if "), 0);

    ASSERT_EQ(calls.size(), 2u);
    EXPECT_THAT(calls[0], testing::StartsWith("stats|if eth0 |"));
    EXPECT_THAT(calls[1], testing::StartsWith("stats|if eth1 |"));
}

TEST_F(Walks, GiveTheRoomThatIsLeft)
{
    put("a/f");
    put("b/f");

    walk("*/f");

    EXPECT_THAT(
        calls, testing::UnorderedElementsAre(testing::EndsWith("|200"), testing::EndsWith("|197")));
    EXPECT_EQ(std::strlen(output), 6u);
}

TEST_F(Walks, AddEachStarsEntryToTheLabel)
{
    put("a/x1/f");
    put("b/x2/f");

    walk("*/*/f");

    EXPECT_THAT(calls[0], testing::StartsWith("f|a x1 |"));
    EXPECT_THAT(calls[1], testing::StartsWith("f|b x2 |"));
}

TEST_F(Walks, TakeTextAroundAStar)
{
    put("one.txt");

    walk("*");

    EXPECT_THAT(calls, ElementsAre("one.txt|one.txt |200"));
}

TEST_F(Walks, AnswerZeroForAFolderThatIsMissing)
{
    EXPECT_EQ(walk("nowhere/*"), 0);
}

TEST_F(Walks, EndAlsoWhenAnEntryIsNamedByAStar)
{
    put("*");
    put("sub/*/f");

    EXPECT_EQ(walk("*"), 0);
    walk("sub/*/f");

    EXPECT_EQ(calls.size(), 2u);
}

TEST_F(Walks, CutLongPatternsAndLabels)
{
    put(std::string(100, 'n'));

    EXPECT_EQ(walk("*", std::string(200, 'l').c_str()), 0);

    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(Walks, FitTheKeyValueReader)
{
    static const char *const columns[] = {"a", nullptr};
    fs::create_directory(folder + "eth0");
    std::ofstream(folder + "eth0/f") << "a=1\n";

    vorn_util_dir_walk((folder + "*/f").c_str(), output, sizeof output, "",
                       vorn_util_add_line_from_proc, columns);

    EXPECT_STREQ(output, "eth0 1\n");
}

TEST_F(Walks, NeedAPatternARoomAndACallback)
{
    EXPECT_EQ(vorn_util_dir_walk(nullptr, output, 1, "", note, nullptr), -1);
    EXPECT_EQ(vorn_util_dir_walk("x", nullptr, 1, "", note, nullptr), -1);
    EXPECT_EQ(vorn_util_dir_walk("x", output, 1, "", nullptr, nullptr), -1);

    EXPECT_EQ(log.text(), "vorn: Null pattern.\nvorn: Null output.\nvorn: Null callback.\n");
}

using Folders = Walks;

TEST_F(Folders, AreMadeOnce)
{
    const std::string path = folder + "new";
    const mode_t before = umask(027);

    EXPECT_EQ(vorn_util_mkdir(path.c_str()), 0);
    umask(before);

    struct stat status;
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0750u);
    EXPECT_EQ(vorn_util_mkdir(path.c_str()), 0);
}

TEST_F(Folders, AreNotMadeWhereSomethingIsOrNothingCanBe)
{
    put("file");

    EXPECT_EQ(vorn_util_mkdir((folder + "file").c_str()), 0);
    EXPECT_TRUE(fs::is_regular_file(folder + "file"));
    EXPECT_EQ(vorn_util_mkdir((folder + "no/where").c_str()), -1);
    EXPECT_EQ(vorn_util_mkdir(nullptr), -1);
}

using Processes = Walks;

TEST_F(Processes, AreFoundByAPartOfTheirName)
{
    EXPECT_GT(vorn_util_findpid("services_tes"), 0);
    EXPECT_EQ(vorn_util_findpid("no process has this name"), -1);
    EXPECT_EQ(vorn_util_findpid(nullptr), -1);
}

class Reboots : public Walks {
protected:
    Reboots()
    {
        eloop_init(nullptr);
        vorn::reboot_requested = 0;
    }
    ~Reboots() override
    {
        eloop_init(nullptr);
        vorn::reboot_requested = 0;
        vorn_process_no_actions = 0;
    }
};

TEST_F(Reboots, EndTheLoopAndLeaveARequest)
{
    vorn_reboot();

    EXPECT_EQ(eloop_terminated(), 1);
    EXPECT_EQ(vorn::reboot_requested, 1);
    EXPECT_EQ(log.text(), "");
}

TEST_F(Reboots, AreAnnounced)
{
    vorn_util_reboot();

    EXPECT_EQ(eloop_terminated(), 1);
    EXPECT_EQ(log.text(), "vorn: Rebooting the system.\n");
}

TEST_F(Reboots, DoNotHappenWithoutActions)
{
    vorn_process_no_actions = 1;

    vorn_util_reboot();

    EXPECT_EQ(eloop_terminated(), 0);
    EXPECT_EQ(vorn::reboot_requested, 0);
    EXPECT_EQ(log.text(), "vorn: Rebooting the system is disabled.\n");
}

} // namespace
