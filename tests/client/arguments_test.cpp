/* SPDX-License-Identifier: MIT */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "client/command_line/arguments.h"
#include "client/command_line/failure.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vorn::client::find_verb;
using vorn::client::Format;
using vorn::client::Invocation;
using vorn::client::Misuse;
using vorn::client::parse_command_line;
using vorn::client::parse_words;
using vorn::client::verbs;

std::string complaint_about(const std::vector<std::string> &words)
{
    try {
        parse_command_line(words);
    } catch (const vorn::client::Failure &failure) {
        EXPECT_EQ(failure.status(), vorn::client::misused);
        return failure.what();
    }
    return "";
}

TEST(CommandLines, AreAVerbItsWordsAndOptionsInAnyOrder)
{
    const Invocation invocation =
        parse_command_line({"--json", "set", "Radio", "--where", "a = b", "-", "--origin=me",
                            "mode=g", "--timeout", "2"});

    ASSERT_EQ(invocation.verb, find_verb("set"));
    EXPECT_THAT(invocation.words, ElementsAre("Radio", "-", "mode=g"));
    EXPECT_EQ(invocation.value("--where"), "a = b");
    EXPECT_FALSE(invocation.has("--all"));
    EXPECT_EQ(invocation.options.output.format, Format::json);
    EXPECT_EQ(invocation.options.origin, "me");
    EXPECT_EQ(invocation.options.timeout_ms(), 2000);
}

TEST(CommandLines, TakeDashesForWordsAfterTwoOfThem)
{
    EXPECT_THAT(parse_command_line({"show", "--", "Radio", "--json"}).words,
                ElementsAre("Radio", "--json"));
    EXPECT_THAT(parse_command_line({"complete", "--", "vornctl --js"}).words,
                ElementsAre("vornctl --js"));
    EXPECT_THAT(parse_command_line({"list", "--"}).words, IsEmpty());
}

TEST(CommandLines, MustHaveWhatIsRequired)
{
    EXPECT_EQ(complaint_about({}), "A subcommand is required");
    EXPECT_EQ(complaint_about({"query"}), "FILE is required");
    EXPECT_EQ(complaint_about({"set", "--where"}), "--where: 1 required CONDITION missing");
    EXPECT_EQ(complaint_about({"--timeout"}), "--timeout: 1 required SECONDS missing");
}

TEST(CommandLines, MustNotHaveWhatIsUnknown)
{
    EXPECT_EQ(complaint_about({"dance"}), "unknown command \"dance\"; vornctl --help lists them");
    EXPECT_EQ(complaint_about({"list", "--foo"}), "The following argument was not expected: --foo");
    EXPECT_EQ(complaint_about({"list", "--jsn"}),
              "The following argument was not expected: --jsn; did you mean \"--json\"?");
    EXPECT_EQ(complaint_about({"--orign", "x", "ping"}),
              "The following argument was not expected: --orign; did you mean \"--origin\"?");
    EXPECT_EQ(complaint_about({"show", "--whre=a", "x"}),
              "The following argument was not expected: --whre=a; did you mean \"--where\"?");
    EXPECT_EQ(complaint_about({"add", "Radio", "--where", "x"}),
              "The following argument was not expected: --where");
    EXPECT_EQ(complaint_about({"query", "a", "b", "c"}),
              "The following arguments were not expected: b c");
}

TEST(CommandLines, MustHaveValuesThatMakeSense)
{
    EXPECT_EQ(complaint_about({"--json", "--xml", "list"}), "--json excludes --xml");
    EXPECT_EQ(complaint_about({"--color", "blue", "list"}),
              "--color: \"blue\" is none of auto, always and never");
    for (const char *seconds : {"0", "", "x", "1x", "86401", "nan", "-1"}) {
        EXPECT_EQ(complaint_about({"--timeout", seconds, "list"}),
                  "--timeout: Value " + std::string(seconds) + " not in range 0.001 to 86400");
    }
}

TEST(Lines, TakeTheOptionsOfTheirVerbOnly)
{
    const Invocation invocation =
        parse_words(*find_verb("delete"), {"Radio", "--all", "--where=a"});

    EXPECT_THAT(invocation.words, ElementsAre("Radio"));
    EXPECT_TRUE(invocation.has("--all"));
    EXPECT_EQ(invocation.value("--where"), "a");
    EXPECT_THROW(parse_words(*find_verb("delete"), {"Radio", "--json"}), Misuse);
    EXPECT_THROW(parse_words(*find_verb("delete"), {}), Misuse);
}

TEST(Verbs, HaveANameOfTheirOwnAndSomethingToDo)
{
    std::set<std::string> names;
    for (const vorn::client::Verb &verb : verbs()) {
        EXPECT_TRUE(names.insert(verb.name).second) << verb.name;
        EXPECT_EQ(find_verb(verb.name), &verb);
        EXPECT_TRUE(verb.run || verb.precedes) << verb.name;
        EXPECT_STRNE(verb.help, "");
    }
    EXPECT_EQ(find_verb("dance"), nullptr);
}

} // namespace
