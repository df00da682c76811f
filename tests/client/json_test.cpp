/* SPDX-License-Identifier: MIT */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "client/command_line/json.h"

namespace {

using vorn::client::JsonWriter;

TEST(JsonWriters, PutEveryMemberOnALineOfItsOwn)
{
    JsonWriter json(2);
    json.open_list();
    json.open_object();
    json.member("a", "b");
    json.name("c");
    json.open_list();
    json.number(-1);
    json.text("d");
    json.close_list();
    json.close_object();
    json.text("e");
    json.close_list();

    EXPECT_EQ(json.document(), "[\n  {\n    \"a\": \"b\",\n    \"c\": [\n      -1,\n      \"d\"\n"
                               "    ]\n  },\n  \"e\"\n]");
}

TEST(JsonWriters, LeaveWhatIsEmptyOnOneLine)
{
    JsonWriter json(2);
    json.open_object();
    json.name("a");
    json.open_list();
    json.close_list();
    json.name("b");
    json.open_object();
    json.close_object();
    json.close_object();

    EXPECT_EQ(json.document(), "{\n  \"a\": [],\n  \"b\": {}\n}");
}

TEST(JsonWriters, WriteOneLineWithoutAnIndentation)
{
    JsonWriter json(0);
    json.open_object();
    json.member("a", "b");
    json.name("c");
    json.number(3);
    json.close_object();

    EXPECT_EQ(json.document(), "{\"a\":\"b\",\"c\":3}");
}

TEST(JsonWriters, EscapeWhatATextCannotHold)
{
    JsonWriter json(0);
    json.text("\"\\/\b\f\n\r\t\x01\x1F\x7F \xC3\xA4\xE2\x82\xAC\xF0\x9F\x99\x82");

    EXPECT_EQ(json.document(), "\"\\\"\\\\/\\b\\f\\n\\r\\t\\u0001\\u001f\x7F "
                               "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x99\x82\"");
}

TEST(JsonWriters, ReplaceBytesThatAreNoCharacters)
{
    JsonWriter json(0);
    json.text("a\xFF\xC3z");

    EXPECT_EQ(json.document(), "\"a\xEF\xBF\xBD\xEF\xBF\xBDz\"");
}

} // namespace
