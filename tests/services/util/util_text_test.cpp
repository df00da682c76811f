/* SPDX-License-Identifier: MIT */
#include "support/log.h"
#include "vorn/util.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <random>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using vorn::tests::CapturedLog;

/* Decodes in a buffer of exactly the text's size, so that a step past it is seen. */
std::string decoded(const std::string &text)
{
    const std::unique_ptr<char[]> room(new char[text.size() + 1]);
    std::memcpy(room.get(), text.c_str(), text.size() + 1);
    vorn_util_url_decode(room.get());
    return room.get();
}

TEST(UrlDecoding, ReplacesEncodedBytes)
{
    EXPECT_EQ(decoded("a%20b"), "a b");
    EXPECT_EQ(decoded("%41%42%43"), "ABC");
    EXPECT_EQ(decoded("%c3%A9"), "\xC3\xA9");
    EXPECT_EQ(decoded("%ff%FF"), "\xFF\xFF");
    EXPECT_EQ(decoded("%2541"), "%41");
    EXPECT_EQ(decoded("a%0Ab"), "a\nb");
}

TEST(UrlDecoding, ReadsDigitsAsFarAsTheyGo)
{
    EXPECT_EQ(decoded("%4zx"), "\x04x");
}

TEST(UrlDecoding, LeavesWhatGivesZero)
{
    EXPECT_EQ(decoded("a%00b"), "a%00b");
    EXPECT_EQ(decoded("%zz"), "%zz");
    EXPECT_EQ(decoded("%0g"), "%0g");
    EXPECT_EQ(decoded("% 1"), "% 1");
    EXPECT_EQ(decoded("%-1"), "%-1");
}

TEST(UrlDecoding, LeavesEverythingElse)
{
    EXPECT_EQ(decoded(""), "");
    EXPECT_EQ(decoded("a+b&c=d"), "a+b&c=d");
    EXPECT_EQ(decoded("caf\xC3\xA9"), "caf\xC3\xA9");
}

TEST(UrlDecoding, StaysInsideATextThatEndsTooSoon)
{
    EXPECT_EQ(decoded("%"), "%");
    EXPECT_EQ(decoded("%4"), "%4");
    EXPECT_EQ(decoded("abc%"), "abc%");
    EXPECT_EQ(decoded("%%%"), "%%%");
}

TEST(UrlDecoding, TakesNullWithAMessage)
{
    CapturedLog log;

    vorn_util_url_decode(nullptr);

    EXPECT_EQ(log.text(), "vorn: Null text.\n");
}

/* One file, and the lines that come of it. */
class KeyValueLines : public testing::Test {
protected:
    KeyValueLines()
    {
        char name[] = "/tmp/vorn-keys-XXXXXX";
        close(mkstemp(name));
        path = name;
    }
    ~KeyValueLines() override { unlink(path.c_str()); }

    void write(const std::string &text) { std::ofstream(path, std::ios::binary) << text; }

    /* What is appended to a text in a room of exactly that size. */
    std::string line(const void *columns, int size = 4096, const char *prefix = nullptr,
                     const std::string &before = "")
    {
        const std::unique_ptr<char[]> room(new char[static_cast<std::size_t>(size)]);
        std::memset(room.get(), '#', static_cast<std::size_t>(size));
        std::memcpy(room.get(), before.c_str(), before.size() + 1);
        result = vorn_util_add_line_from_proc(room.get(), size, path.c_str(), prefix, columns);
        EXPECT_NE(std::memchr(room.get(), '\0', static_cast<std::size_t>(size)), nullptr);
        return room.get();
    }

    static constexpr const char *abc[] = {"a", "b", "c", nullptr};
    std::string path;
    int result = -1;
    CapturedLog log;
};

TEST_F(KeyValueLines, GiveTheValuesInTheOrderOfTheColumns)
{
    write("c=3\na=1\nb=2\n");

    EXPECT_EQ(line(abc), "1 2 3\n");
    EXPECT_EQ(result, 0);
}

TEST_F(KeyValueLines, LeaveAColumnWithoutAValueEmpty)
{
    write("a=1\nc=3\n");

    EXPECT_EQ(line(abc), "1  3\n");
}

TEST_F(KeyValueLines, OfNothingAreBlanks)
{
    write("");

    EXPECT_EQ(line(abc), "  \n");
}

TEST_F(KeyValueLines, SkipWhatIsNoPairOrNoColumn)
{
    write("nonsense\nx=9\na=1\n=5\nb=2=2\nc=3");

    EXPECT_EQ(line(abc), "1 2=2 3\n");
}

TEST_F(KeyValueLines, TakeTheLastOfARepeatedKey)
{
    write("a=1\na=2\n");

    EXPECT_EQ(line(abc), "2  \n");
}

TEST_F(KeyValueLines, PutAValueWithBlanksBetweenQuotes)
{
    write("a=one two\nb=\"quoted already\"\nc= x\n");

    EXPECT_EQ(line(abc), "\"one two\" \"quoted already\" \" x\"\n");
}

TEST_F(KeyValueLines, IgnoreTheMarksOfKeysAndColumns)
{
    static const char *const columns[] = {"#a", "b", "*c", nullptr};
    write("#a=1\n*b=2\n*c=3\n");

    EXPECT_EQ(line(columns), "1 2 \n");
}

TEST_F(KeyValueLines, BeginWithThePrefix)
{
    write("a=1\n");

    EXPECT_EQ(line(abc, 4096, "eth0 "), "eth0 1  \n");
    EXPECT_EQ(line(abc, 4096, ""), "1  \n");
}

TEST_F(KeyValueLines, AreAppendedToTheTextThatIsThere)
{
    write("a=1\n");

    EXPECT_EQ(line(abc, 4096, "eth0 ", "before\n"), "before\neth0 1  \n");
}

TEST_F(KeyValueLines, KnowNoColumnBeyondTheSixtySecond)
{
    std::vector<std::string> names;
    std::vector<const char *> columns;
    std::string text;
    for (int i = 0; i < 70; i++)
        names.push_back("k" + std::to_string(i));
    for (const std::string &name : names) {
        columns.push_back(name.c_str());
        text += name + "=1\n";
    }
    columns.push_back(nullptr);
    write(text);

    std::string expected;
    for (int i = 0; i < 70; i++)
        expected += i <= 61 ? "1 " : " ";
    expected.back() = '\n';
    EXPECT_EQ(line(columns.data()), expected);
}

TEST_F(KeyValueLines, LookAtTheFirst2048Bytes)
{
    write("a=" + std::string(2046, '1') + "222\nb=2\n");
    EXPECT_EQ(line(abc), std::string(2046, '1') + "  \n");

    write("x=" + std::string(2042, 'x') + "\na=12345\n");
    EXPECT_EQ(line(abc), "1  \n");
}

TEST_F(KeyValueLines, KeepToTheirRoomWhateverItIs)
{
    write("a=12345\nb=678\nc=9\n");
    const std::string whole = "p 12345 678 9\n";

    for (int size = 1; size < 40; size++) {
        const std::string text = line(abc, size, "p ");
        EXPECT_LT(text.size(), static_cast<std::size_t>(size));
        if (size >= 18) {
            EXPECT_EQ(text, whole);
        }
    }
    EXPECT_EQ(line(abc, 3), "");
    EXPECT_EQ(line(abc, 4, "p "), "");
    EXPECT_EQ(line(abc, 5, "p "), "p "); /* which takes all the room, the line's end too */
    EXPECT_EQ(line(abc, 10, "p "), "p\n");
    EXPECT_EQ(line(abc, 11, "p "), "p 12345 ");
    EXPECT_EQ(line(abc, 12, "p "), "p 12345\n");
}

TEST_F(KeyValueLines, HaveRoomForAnEmptyColumnWhereThereIsOneByte)
{
    write("b=1\n");

    EXPECT_EQ(line(abc, 2), "");
    EXPECT_EQ(line(abc, 3), " ");
}

TEST_F(KeyValueLines, NeedAFileThatCanBeOpened)
{
    const std::string missing = path;
    path = "/no/such/file";
    char room[100] = "kept";

    EXPECT_EQ(vorn_util_add_line_from_proc(room, sizeof room, path.c_str(), nullptr, abc), 1);

    EXPECT_STREQ(room, "kept");
    EXPECT_EQ(log.text(), "vorn: Can't open /no/such/file.\n");
    path = missing;
}

/* With nobody to write its opening would wait, with somebody who does not its reading. */
TEST_F(KeyValueLines, OfAPipeThatNobodyWritesIntoAreBlanks)
{
    const std::string regular = path;
    path += ".pipe";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);

    EXPECT_EQ(line(abc, 100, "p "), "p   \n");
    const int writer = open(path.c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_EQ(line(abc, 100, "p "), "p   \n");

    close(writer);
    unlink(path.c_str());
    path = regular;
}

TEST_F(KeyValueLines, AreOneLineThatFitsWhateverTheFileHolds)
{
    std::mt19937 random(1);
    for (int round = 0; round < 400; round++) {
        const bool has_nuls = round % 2 == 0;
        const unsigned long letters = has_nuls ? 11 : 10;
        std::string text(random() % 2100, '\0');
        for (char &byte : text)
            byte = "ab=c\n \"*#x\0"[random() % letters];
        write(text);
        const std::string whole = line(abc, 8192, "label ");
        EXPECT_EQ(result, 0);
        EXPECT_EQ(whole.rfind("label ", 0), 0u) << whole;
        if (!has_nuls) {
            EXPECT_EQ(whole.find('\n'), whole.size() - 1) << whole;
        }

        const std::size_t room = random() % 300 + 1;
        const std::string cut = line(abc, static_cast<int>(room), round % 2 ? "label " : nullptr);
        EXPECT_EQ(result, 0);
        EXPECT_LT(cut.size(), room);
    }
}

} // namespace
