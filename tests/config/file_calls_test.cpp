/* SPDX-License-Identifier: MIT */
/*
 * What the system is asked for when files are written and read, and in which order: only a power
 * cut would show the difference otherwise. The calls are wrapped, in this program only.
 */
#include "config/config_document.h"
#include "config/config_fixture.h"
#include "config/file_replace.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include <unistd.h>

namespace {

/* What was asked for, a line each, and how many reads a signal interrupts first. */
std::string *asked = nullptr;
int interrupted_reads = 0;

std::string name_of(int descriptor)
{
    char name[4096] = "";
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    if (readlink(link.c_str(), name, sizeof name - 1) < 0) return "?";
    return std::string(name).substr(std::string(name).rfind('/') + 1);
}

} // namespace

extern "C" {

int __real_fsync(int descriptor);
int __real_rename(const char *from, const char *to);
ssize_t __real_read(int descriptor, void *room, size_t size);

int __wrap_fsync(int descriptor)
{
    if (asked) *asked += "flush " + name_of(descriptor) + "\n";
    return __real_fsync(descriptor);
}

int __wrap_rename(const char *from, const char *to)
{
    if (asked) *asked += "rename\n";
    return __real_rename(from, to);
}

ssize_t __wrap_read(int descriptor, void *room, size_t size)
{
    if (interrupted_reads > 0) {
        interrupted_reads--;
        errno = EINTR;
        return -1;
    }
    return __real_read(descriptor, room, size);
}

} // extern "C"

namespace vorn::tests {

/* Attack. */
class FileCalls : public testing::Test {
protected:
    FileCalls() { asked = &calls; }
    ~FileCalls() override
    {
        asked = nullptr;
        interrupted_reads = 0;
    }

    CapturedLog log;
    ScratchFolder folder;
    std::string path = folder / "file";
    std::string calls;
};

TEST_F(FileCalls, FlushWhatIsWrittenBeforeItHasItsNameAndTheNameBeforeAnybodyIsTold)
{
    FileReplacement file(path.c_str());
    std::fputs("new", file.stream());
    EXPECT_EQ(calls, "");

    ASSERT_TRUE(file.commit());

    const std::string folder_path = path.substr(0, path.rfind('/'));
    const std::string folder_name = folder_path.substr(folder_path.rfind('/') + 1);
    EXPECT_EQ(calls, "flush file.new\nrename\nflush " + folder_name + "\n");
}

TEST_F(FileCalls, AreMadeAgainWhenASignalInterruptsThem)
{
    write(path, "<config><Radio/></config>");
    interrupted_reads = 3;

    ConfigDocument document = parse_config(path.c_str());

    ASSERT_TRUE(document);
    EXPECT_EQ(interrupted_reads, 0);
    EXPECT_TRUE(document.take_next());
}

} // namespace vorn::tests
