/* SPDX-License-Identifier: MIT */
#include "config/default_file.h"
#include "support/log.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <random>
#include <string>

#include <unistd.h>

namespace vorn::tests {

namespace {

const std::string digest(32, 'a');
const std::string whole = "Version: 1\nLength: 9\nMD5sum: " + digest + "\n\n";

std::string digest_of(const std::string &text)
{
    Md5 sum;
    sum.add(text.data(), text.size());
    char found[md5_length + 1];
    sum.finish(found);
    return found;
}

} // namespace

class DefaultHeaders : public testing::Test {
protected:
    int read(const std::string &text)
    {
        std::FILE *stream = std::tmpfile();
        std::fwrite(text.data(), 1, text.size(), stream);
        std::rewind(stream);
        const int code = read_default_header(stream, header);
        rest.clear();
        for (int c = 0; (c = std::fgetc(stream)) != EOF;)
            rest += static_cast<char>(c);
        std::fclose(stream);
        return code;
    }

    CapturedLog log{0};
    DefaultHeader header;
    std::string rest;
};

TEST_F(DefaultHeaders, EndWithAnEmptyLine)
{
    EXPECT_EQ(read(whole + "the document"), 0);

    EXPECT_EQ(header.length, 9);
    EXPECT_EQ(header.md5sum, digest);
    EXPECT_EQ(rest, "the document");
    EXPECT_EQ(log.text(), "");
}

TEST_F(DefaultHeaders, MayRepeatALineAndTheLastOneHolds)
{
    EXPECT_EQ(read("Length: 4\n" + whole), 0);

    EXPECT_EQ(header.length, 9);
}

TEST_F(DefaultHeaders, TakeAnEmptyLengthAsZero)
{
    EXPECT_EQ(read("Length: \nVersion: 1\nMD5sum: " + digest + "\n\n"), 0);

    EXPECT_EQ(header.length, 0);
}

TEST_F(DefaultHeaders, MayHaveLinesOfSoManyBytesAndNoMore)
{
    EXPECT_EQ(
        read("Length: " + std::string(1013, '0') + "9\nVersion: 1\nMD5sum: " + digest + "\n\n"), 0);
    EXPECT_EQ(header.length, 9);

    EXPECT_EQ(
        read("Length: " + std::string(1014, '0') + "9\nVersion: 1\nMD5sum: " + digest + "\n\n"), 2);
}

struct BadHeader {
    const char *name;
    std::string text;
    int code;
    std::string message;
};

void PrintTo(const BadHeader &header, std::ostream *stream)
{
    *stream << header.name;
}

class BadHeaders : public DefaultHeaders, public testing::WithParamInterface<BadHeader> {};

TEST_P(BadHeaders, AreToldByTheirCode)
{
    EXPECT_EQ(read(GetParam().text), GetParam().code);

    EXPECT_EQ(log.text(), "vorn: " + GetParam().message);
}

const BadHeader bad_headers[] = {
    {"Empty", "", 1, "Headers ended prematurely in default.\n"},
    {"WithoutAnEnd", "Version: 1\nLength: 9\nMD5sum: " + digest + "\n", 1,
     "Headers ended prematurely in default.\n"},
    {"WithoutASeparator", "Version:1\n\n", 2, "Couldn't read header line in default.\n"},
    {"WithALineTooLong", "Version: 1" + std::string(2000, ' ') + "\n\n", 2,
     "Couldn't read header line in default.\n"},
    {"WithANul", std::string("Ver\0sion: 1\n\n", 13), 2, "Couldn't read header line in default.\n"},
    {"OfAnotherVersion", "Version: 2\n\n", 3, "Bad default Version: 2.\n"},
    {"OfVersionOneAndABlank", "Version: 1 \n\n", 3, "Bad default Version: 1 .\n"},
    {"WithALengthThatIsNoNumber", "Length: 9x\n\n", 4, "Bad default Length: 9x.\n"},
    {"WithAShortDigest", "MD5sum: abc\n\n", 5, "Bad default Md5sum: abc.\n"},
    {"WithALongDigest", "MD5sum: " + digest + "b\n\n", 5, "Bad default Md5sum: " + digest + "b.\n"},
    {"WithAnotherName", "version: 1\n\n", 6, "Bad default header name: version.\n"},
    {"WithNothing", "\n", 7, "Headers are missing.\n"},
    {"WithLengthAlone", "Length: 9\n\n", 8, "Headers are missing.\n"},
    {"WithVersionAlone", "Version: 1\n\n", 9, "Headers are missing.\n"},
    {"WithoutDigest", "Version: 1\nLength: 9\n\n", 10, "Headers are missing.\n"},
    {"WithDigestAlone", "MD5sum: " + digest + "\n\n", 11, "Headers are missing.\n"},
    {"WithoutVersion", "MD5sum: " + digest + "\nLength: 9\n\n", 12, "Headers are missing.\n"},
    {"WithoutLength", "MD5sum: " + digest + "\nVersion: 1\n\n", 13, "Headers are missing.\n"},
};

INSTANTIATE_TEST_SUITE_P(Some, BadHeaders, testing::ValuesIn(bad_headers),
                         [](const auto &each) { return each.param.name; });

/* The document is read in blocks: the last one may be of one byte, or missing. */
TEST_F(DefaultHeaders, GoBeforeADocumentOfAnyLengthThatTheirDigestIsOf)
{
    const std::string path = testing::TempDir() + "vorn-default-" + std::to_string(getpid());
    for (const std::size_t length : {0u, 1u, 2u, 1023u, 1024u, 1025u, 2049u}) {
        SCOPED_TRACE(length);
        const std::string document(length, 'x');
        for (const std::size_t announced : {length, length + 1}) {
            std::ofstream(path) << "Version: 1\nLength: " << announced
                                << "\nMD5sum: " << digest_of(document) << "\n\n"
                                << document;
            long found = -1;

            const File file = open_checked_default(path.c_str(), found);

            EXPECT_TRUE(file);
            EXPECT_EQ(found, static_cast<long>(announced));
        }
    }
    unlink(path.c_str());
}

TEST_F(DefaultHeaders, ThatAreGarbageEndInACode)
{
    std::mt19937 random(7);
    const auto below = [&random](std::size_t limit) {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
    };
    for (int round = 0; round < 500; round++) {
        std::string text = whole + "the document";
        for (std::size_t i = below(4) + 1; i > 0; i--) {
            text[below(text.size())] = static_cast<char>(below(256));
        }
        log.take();

        const int code = read(text);

        EXPECT_TRUE(code >= 0 && code <= 13) << code;
        EXPECT_EQ(code == 0, log.text().empty()) << text;
    }
}

} // namespace vorn::tests
