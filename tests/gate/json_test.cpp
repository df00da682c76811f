/* SPDX-License-Identifier: MIT */
#include <gtest/gtest.h>

#include <string>

#include "gate/answer.h"
#include "gate/bounds.h"
#include "gate/json.h"

namespace {

using namespace vorn::gate;

std::string nested(std::size_t depth)
{
    return std::string(depth, '[') + std::string(depth, ']');
}

TEST(Bodies, ThatNestTooDeepAreNoJson)
{
    EXPECT_TRUE(parse_json(nested(deepest_json)));
    EXPECT_FALSE(parse_json(nested(deepest_json + 1)));
    EXPECT_FALSE(parse_json(std::string(1000000, '[')));
    EXPECT_TRUE(parse_json("[\"" + std::string(100, '[') + "\"]"));
    EXPECT_TRUE(parse_json("[\"\\\"" + std::string(100, '[') + "\"]"));
}

TEST(Bodies, ThatSayAThingTwiceOrAreNoTextAreNoJson)
{
    EXPECT_FALSE(parse_json("{\"op\":\"update\",\"op\":\"delete\"}"));
    EXPECT_FALSE(parse_json("{\"a\":\"\xff\"}"));
    EXPECT_FALSE(parse_json("{\"a\":\"\\u0000\"}"));
    EXPECT_FALSE(parse_json("{} {}"));
    EXPECT_FALSE(parse_json(""));
}

TEST(Texts, ThatAreNoUtf8AreShownWithQuestionMarks)
{
    EXPECT_EQ(written(text("a\xff"
                           "b")),
              "\"a?b\"");
    EXPECT_EQ(written(text("\xc3\xa4")), "\"\xc3\xa4\"");
}

TEST(Answers, HaveHeadersAndALength)
{
    EXPECT_EQ(bytes_of({200, "application/json", "{}"}),
              "Status: 200 OK\r\nContent-Type: application/json\r\nCache-Control: no-store\r\n"
              "Content-Length: 2\r\n\r\n{}");
    EXPECT_EQ(
        bytes_of({304, "", "", {{"ETag", "\"x\""}}}),
        "Status: 304 Not Modified\r\nETag: \"x\"\r\nCache-Control: private, no-cache\r\n\r\n");
}

TEST(Problems, TellWhatIsWrongWithWhat)
{
    const Problem problem = {422, "refused", "no", {{"no", "radio", "r0", "channel", 1}}};

    EXPECT_EQ(answer_of(problem).body,
              "{\"type\":\"urn:vorn:refused\",\"title\":\"The device refuses this.\","
              "\"status\":422,\"detail\":\"no\",\"errors\":[{\"class\":\"radio\",\"name\":\"r0\","
              "\"property\":\"channel\",\"change\":1,\"detail\":\"no\"}]}");
}

} // namespace
