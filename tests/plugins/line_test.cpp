/* SPDX-License-Identifier: MIT */
/* Lines for programs that read the log: whatever is in a value, it stays one. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

extern "C" {
#include "line.h"
}

namespace {

std::string line_of(const std::string &value)
{
    line made;
    line_begin(&made, "<29>vorn[1]: ");
    line_add(&made, "origin", value.c_str());
    line_add(&made, "result", "done");
    line_end(&made);
    return {made.text, made.length};
}

/* What a reader of RFC 5424 takes for the value, or what is wrong with the line. */
std::string read_back(const std::string &text)
{
    const std::string head = "<29>vorn[1]: [change@32473 origin=\"";
    if (text.rfind(head, 0) != 0) return "(no head)";
    std::string value;
    std::size_t at = head.size();
    for (; at < text.size() && text[at] != '"'; at++) {
        const char character = text[at];
        if (character == ']') return "(a bracket)";
        if (static_cast<unsigned char>(character) < ' ') return "(a control character)";
        if (character == '\\') at++;
        value += text[at];
    }
    return text.substr(at) == "\" result=\"done\"]" ? value : "(no end)";
}

TEST(LogLines, HaveEachValueInQuotes)
{
    EXPECT_EQ(line_of("vornctl"), "<29>vorn[1]: [change@32473 origin=\"vornctl\" result=\"done\"]");
}

TEST(LogLines, CannotBeForgedByAValue)
{
    EXPECT_EQ(line_of("a\"] \\ \n<0>kernel: x"),
              "<29>vorn[1]: [change@32473 origin=\"a\\\"\\] \\\\ ?<0>kernel: x\" result=\"done\"]");
    EXPECT_EQ(read_back(line_of("\xe2\x80\xa8 \xc2\x85 \xe2\x82\xac \xff \xc3")),
              "? ? \xe2\x82\xac ? ?")
        << "characters that end lines, and what is no character";
    EXPECT_EQ(read_back(line_of("\xe2\x80\xa9 \xc2\x9f \xc2\xa0 \xc0\x8a \xe2\x80\xaa")),
              "? ? \xc2\xa0 ?? \xe2\x80\xaa");
}

TEST(LogLines, StayWhatTheyAreWithAnyValue)
{
    std::mt19937 random(1);
    const std::string dangerous = "\"\\]\n\r[= \x1b\x7f\xc2\x85\xe2\x80\xa8\xf0\xff";
    for (int i = 0; i < 20000; i++) {
        std::string value;
        for (std::size_t length = random() % 60; length > 0; length--)
            value += random() % 3 ? dangerous[random() % dangerous.size()]
                                  : static_cast<char>(1 + random() % 255);
        const std::string back = read_back(line_of(value));
        ASSERT_EQ(back.find('('),
                  value.find('(') == std::string::npos ? std::string::npos : back.find('('));
        ASSERT_LE(back.size(), value.size());
    }
}

TEST(LogLines, AreCutWithinNoEscape)
{
    for (std::size_t length = line_room - 80; length < line_room + 20; length++) {
        line made;
        line_begin(&made, "");
        line_add(&made, "changes", std::string(length, ']').c_str());
        line_add(&made, "failures", "none");
        line_end(&made);
        ASSERT_LT(made.length, static_cast<std::size_t>(line_room));
        ASSERT_EQ(made.text[made.length], '\0');
        EXPECT_THAT(std::string(made.text), testing::EndsWith("\"]"));
        EXPECT_THAT(std::string(made.text), testing::Not(testing::EndsWith("\\\"]")));
    }
}

} // namespace
