/* SPDX-License-Identifier: MIT */
/* Saves onto a file system that is nearly full, or that has become read-only. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include <sys/mount.h>

#include "faults/faulty_device.h"

namespace {

using testing::AnyOf;
using testing::Eq;
using testing::HasSubstr;
using namespace vorn::tests;

constexpr char folder[] = "/etc/config";
constexpr char ballast[] = "/etc/config/ballast";
constexpr int page = 4096;
constexpr int pages = 16;

/* The device's configuration on a file system of 64 KiB. */
class SmallDisks : public FaultyDevice {
protected:
    void SetUp() override
    {
        FaultyDevice::SetUp();
        install_plugin("save.vorn");
        const std::string board = read_file(vorn::test::startup_file);
        ASSERT_EQ(mount("tmpfs", folder, "tmpfs", 0, "size=64k"), 0);
        write_file(vorn::test::startup_file, board);
        boot();
        ask(insert_groups());
        ask(change("first"));
        ASSERT_GT(read_file(vorn::test::startup_file).size(), 2u * page);
    }

    void TearDown() override
    {
        if (daemon_pid() > 0) shut_down();
        FaultyDevice::TearDown();
        umount(folder);
    }

    /* Enough to need several pages, so that some of a save fits where the rest does not. */
    static std::string insert_groups()
    {
        std::string groups;
        for (int i = 0; i < 200; i++)
            groups += "<Acl name=\"group" + std::to_string(i) + "\"><mac>" + std::to_string(i) +
                      "</mac></Acl>";
        return "<lsql><insert>" + groups + "</insert></lsql>";
    }

    static std::string change(const std::string &label)
    {
        return "<lsql><write-transaction><update><Board><label>" + label +
               "</label></Board></update></write-transaction></lsql>";
    }

    static std::string with_label(std::string text, const std::string &label)
    {
        const auto start = text.find("<label>") + 7;
        return text.replace(start, text.find("</label>") - start, label);
    }

    /* Everything of it can be parsed, and is what was saved last. */
    static void expect_readable(const std::string &text)
    {
        EXPECT_EQ(read_file(vorn::test::startup_file), text);
        EXPECT_EQ(shell("xmllint --noout /etc/config/config.xml 2>&1"), "");
    }
};

TEST_F(SmallDisks, KeepTheOldFileUntilThereIsRoom)
{
    int failures = 0, saves = 0;
    for (int filled = 0; filled < pages && !HasFailure(); filled++) {
        SCOPED_TRACE(testing::Message() << "with " << filled << " pages taken");
        const std::string before = read_file(vorn::test::startup_file);
        const std::string label = "f" + std::to_string(filled);
        write_file(ballast, std::string(static_cast<std::size_t>(filled) * page, 'x'));
        new_messages();

        ask(change(label));
        ASSERT_TRUE(is_idle());
        const bool saved = read_file(vorn::test::startup_file) != before;
        const std::string messages = new_messages();
        (saved ? saves : failures)++;
        expect_readable(saved ? with_label(before, label) : before);
        EXPECT_TRUE(saved || messages.find("No space left on device") != std::string::npos ||
                    messages.find("Can't open") != std::string::npos)
            << messages;
        EXPECT_FALSE(exists("/etc/config/config.xml.new"));

        std::filesystem::remove(ballast);
        ask(change("after"));
        expect_readable(with_label(before, "after"));
    }
    EXPECT_GT(failures, 2);
    EXPECT_GT(saves, 2);
    report("save onto a nearly full disk", pages,
           std::to_string(failures) + " refused, " + std::to_string(saves) + " saved");
}

TEST_F(SmallDisks, ThatBecomeReadOnlyKeepTheOldFileUntilTheyAreWritable)
{
    const std::string before = read_file(vorn::test::startup_file);
    ASSERT_EQ(mount(nullptr, folder, nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);

    ask(change("lost"));
    ASSERT_TRUE(is_idle());
    expect_readable(before);
    EXPECT_THAT(console(), HasSubstr("vorn: Can't open /etc/config/config.xml.\n"));

    ASSERT_EQ(mount(nullptr, folder, nullptr, MS_REMOUNT, nullptr), 0);
    ask(change("kept"));
    expect_readable(with_label(before, "kept"));
    report("save onto a read-only disk", 1, "refused, then saved");
}

} // namespace
