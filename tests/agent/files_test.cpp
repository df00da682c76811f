/* SPDX-License-Identifier: MIT */
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include <unistd.h>

#include "agent/files.h"

namespace {

using vorn::fleet::Note;
using vorn::fleet::Reason;

struct Notes : testing::Test {
    Notes()
    {
        char pattern[] = "/tmp/vorn-agent-XXXXXX";
        folder = mkdtemp(pattern);
        path = folder + "/note";
    }
    ~Notes() override { std::filesystem::remove_all(folder); }

    std::string folder;
    std::string path;
};

TEST_F(Notes, OutliveWhoeverWroteThem)
{
    ASSERT_TRUE(vorn::fleet::write_note(path, {9007199254740991, 3, Reason::unreached}));

    const Note note = vorn::fleet::read_note(path);

    EXPECT_EQ(note.generation, 9007199254740991);
    EXPECT_EQ(note.attempts, 3);
    EXPECT_EQ(note.ended, Reason::unreached);
    EXPECT_FALSE(std::filesystem::exists(path + ".new"));
}

TEST_F(Notes, AreNoneWhereNothingCanBeRead)
{
    EXPECT_EQ(vorn::fleet::read_note(path).attempts, 0);
    for (const char *each : {"", "x", "1 2", "1 2 999"}) {
        std::ofstream(path) << each;
        EXPECT_EQ(vorn::fleet::read_note(path).attempts, 0) << each;
    }
}

TEST_F(Notes, AreNotWrittenWhereTheyCanNotBe)
{
    EXPECT_FALSE(vorn::fleet::write_note(folder + "/none/note", {1, 1, Reason::none}));
}

TEST_F(Notes, FollowNoLink)
{
    const std::string other = folder + "/other";
    std::ofstream(other) << "precious";
    std::filesystem::create_symlink(other, path + ".new");

    ASSERT_TRUE(vorn::fleet::write_note(path, {1, 1, Reason::none}));

    EXPECT_EQ(std::filesystem::file_size(other), 8U);
}

} // namespace
