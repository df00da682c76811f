/* SPDX-License-Identifier: MIT */
/* What a generation's file says, whoever has packed it. */
#include <gtest/gtest.h>

#include <string>

#include <zlib.h>

extern "C" {
#include "generation.h"
}

namespace {

/* As gzip packs it, whose checksum is right. */
std::string packed(const std::string &plain)
{
    constexpr int gzip_format = 15 + 16;
    constexpr int usual_memory = 8;
    z_stream stream = {};
    EXPECT_EQ(deflateInit2(&stream, 6, Z_DEFLATED, gzip_format, usual_memory, Z_DEFAULT_STRATEGY),
              Z_OK);
    std::string bytes(deflateBound(&stream, plain.size()), '\0');
    std::string text = plain;
    stream.next_in = reinterpret_cast<Bytef *>(text.data());
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef *>(bytes.data());
    stream.avail_out = static_cast<uInt>(bytes.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    bytes.resize(stream.total_out);
    deflateEnd(&stream);
    return bytes;
}

/* Why it can't be read; "read" when it can, and what it refers to lies within it. */
std::string unpacked(const std::string &bytes)
{
    generation found;
    const char *reason = generation_unpack(reinterpret_cast<const unsigned char *>(bytes.data()),
                                           bytes.size(), &found);
    if (reason) return reason;
    EXPECT_EQ(found.document[found.size], '\0');
    for (int i = 0; i < found.file_count; i++)
        EXPECT_EQ(found.files[i].bytes[found.files[i].size], '\0');
    generation_free(&found);
    return "read";
}

const std::string files_of_nine = [] {
    std::string lines;
    for (int i = 0; i < 9; i++)
        lines += "file 0 /" + std::to_string(i) + "\n";
    return lines;
}();

/* What was packed in order and makes no sense all the same. */
TEST(PackedTexts, AreTakenApartWithinTheirBounds)
{
    const std::string head = "vorn generation 1\n";
    const auto read = [&](const std::string &rest) { return unpacked(packed(head + rest)); };
    const std::string whole = "number 7\ntime 9\ndocument 3\nfile 2 /k\n\nabc\nxy\n";
    ASSERT_EQ(read(whole), "read");
    ASSERT_EQ(read("later word\n" + whole), "read") << "a later program's";
    ASSERT_EQ(read("document 0\n\n\n"), "read");
    const std::string eight = files_of_nine.substr(0, files_of_nine.size() - 10);
    ASSERT_EQ(read(eight + "\n" + std::string(9, '\n')), "read");

    for (std::size_t i = 0; i < whole.size(); i++)
        EXPECT_EQ(read(whole.substr(0, i)), "what is in it makes no sense") << "cut after " << i;
    for (const char *rest : {"document 4\nfile 2 /k\n\nabc\nxy\n",
                             "document 2\nfile 2 /k\n\nabc\nxy\n",
                             "document 2\nfile 3 /k\n\nabc\nxy\n",
                             "document 3\nfile 3 /k\n\nabc\nxy\n",
                             "document 3\nfile 1 /k\n\nabc\nxy\n",
                             "document 3\nfile 67108865 /k\n\nabc\nxy\n",
                             "document 67108865\n\nabc\n",
                             "document 4294967299\n\nabc\n",
                             "document 4\nword\n\nab c\n",
                             "document 18446744073709551615\n\nabc\n",
                             "document 18446744073709551619\n\nabc\n",
                             "document -1\n\nabc\n",
                             "document +3\n\nabc\n",
                             "document  3\n\nabc\n",
                             "document 3 \n\nabc\n",
                             "document\n\n\n",
                             "document 3\nfile 2\n\nabc\nxy\n",
                             "document 3\nfile 2/k\n\nabc\nxy\n",
                             "document 3\nfile x /k\n\nabc\nxy\n",
                             "document 3\nfile 2 /\\00k\n\nabc\nxy\n",
                             "document 3\n\nabc\nxy\n",
                             "number x\n\n\n",
                             "number 7x\n\n\n",
                             "time -9\n\n\n",
                             "time 9 \n\n\n",
                             "comment \\00\n\n\n",
                             "comment \\0\n\n\n",
                             "comment \\\n\n\n",
                             "comment \\0A\n\n\n",
                             "comment \\g0\n\n\n"})
        EXPECT_EQ(read(rest), "what is in it makes no sense") << rest;
    EXPECT_EQ(read(files_of_nine + "\n" + std::string(10, '\n')), "what is in it makes no sense")
        << "more files than there is room for";
    EXPECT_EQ(unpacked(packed("vorn generation 2\n" + whole)), "what is in it makes no sense");
    EXPECT_EQ(unpacked(packed("vorn generation 1")), "what is in it makes no sense");
}

TEST(PackedTexts, AreReadFromTheWholeFileAlone)
{
    const std::string text = "vorn generation 1\ndocument 3\n\nabc\n";
    const std::string bytes = packed(text);
    const std::string size = bytes.substr(bytes.size() - 4);
    ASSERT_EQ(unpacked(bytes), "read");

    EXPECT_EQ(unpacked(bytes + size), "its checksum is wrong") << "more after it";
    EXPECT_EQ(unpacked(bytes + packed(text)), "its checksum is wrong");
    std::string lied = bytes;
    lied[bytes.size() - 4] = static_cast<char>(lied[bytes.size() - 4] + 1);
    EXPECT_EQ(unpacked(lied), "its checksum is wrong") << "a larger size";
    lied[bytes.size() - 4] = 0;
    EXPECT_EQ(unpacked(lied), "it is not whole") << "no size";
    lied = bytes;
    lied[bytes.size() - 8] = static_cast<char>(lied[bytes.size() - 8] ^ 1);
    EXPECT_EQ(unpacked(lied), "its checksum is wrong");
    EXPECT_EQ(unpacked(bytes.substr(0, 17)), "it is not whole");
    EXPECT_EQ(unpacked(std::string(13, 'x') + std::string("\5\0\0\0", 4)), "it is not whole");
    EXPECT_EQ(unpacked(""), "it is not whole");
}

TEST(PackedTexts, TakeNoMoreMemoryThanTheyAreLarge)
{
    std::string bomb(4096, '\0');
    bomb[0] = '\x1f';
    bomb[1] = '\x8b';
    bomb.replace(4092, 4, "\xff\xff\xff\x7f");
    EXPECT_EQ(unpacked(bomb), "it is not whole");
    bomb.replace(4092, 4, "\xff\xff\xff\x03");
    EXPECT_EQ(unpacked(bomb), "it is not whole") << "less than the most, and too much for its size";
    bomb.insert(4092, 1 << 16, 'x');
    bomb.replace(bomb.size() - 4, 4, std::string("\1\0\0\4", 4));
    EXPECT_EQ(unpacked(bomb), "it is not whole") << "more than the most";
}

} // namespace
