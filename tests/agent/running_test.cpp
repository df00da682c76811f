/* SPDX-License-Identifier: MIT */
#include <gtest/gtest.h>

#include "agent/device/running.h"

namespace {

using namespace vorn::fleet;
using vorn::client::Configuration;
using vorn::client::Instance;
using vorn::client::Request;
using vorn::client::Schema;

Instance class_told(const char *name, const char *type, const char *superclass = "",
                    const char *identifier = "", const char *is_saved = "yes")
{
    return {"schema-class",
            name,
            {{"type", type},
             {"persistent", is_saved},
             {"abstract", *identifier != '\0' ? "yes" : "no"},
             {"superclass", superclass},
             {"subclass-identifier", identifier}}};
}

Instance property_told(const char *class_name, const char *name, const char *is_writable = "yes",
                       const char *is_secret = "no")
{
    return {"schema-property",
            class_name,
            {{"property", name},
             {"readable", "yes"},
             {"writable", is_writable},
             {"required", "no"},
             {"persistent", "yes"},
             {"secret", is_secret}}};
}

struct WhatRuns : testing::Test {
    Refusal judged(const char *class_name, const Part &part)
    {
        return judge({{class_name, part}}, schema);
    }

    std::string steps(const Content &wanted)
    {
        Request request(Request::Kind::transaction);
        add_steps(request, wanted, running, schema);
        return request.empty() ? "" : request.text();
    }

    Schema schema = Schema::of(
        {class_told("system", "singleton"), class_told("radio", "unique-named"),
         class_told("rule", "anonymous"), class_told("address", "unique-named", "", "kind"),
         class_told("static", "unique-named", "address"), class_told("fleet", "singleton"),
         class_told("save", "singleton", "", "", "no")},
        {property_told("system", "location"), property_told("system", "uptime", "no"),
         property_told("radio", "channel"), property_told("radio", "key", "yes", "yes"),
         property_told("rule", "text"), property_told("address", "kind"),
         property_told("static", "ip"), property_told("fleet", "brokers"),
         property_told("fleet", "generation"), property_told("save", "time")});
    Configuration running = {
        {"system", {}, {{"location", "roof"}}},
        {"radio", "r0", {{"channel", "1"}, {"key", "********"}}},
        {"radio", "r1", {{"channel", "6"}}},
        {"rule", {}, {{"text", "a"}}},
    };
};

TEST_F(WhatRuns, IsNotAskedForAClassThatThereIsNone)
{
    EXPECT_EQ(judged("nothing", {true, {}, {}}).reason, Reason::unknown_class);
    EXPECT_EQ(judged("save", {true, {}, {}}).reason, Reason::unknown_class);
    EXPECT_EQ(judged("static", {true, {}, {}}).reason, Reason::unknown_class);
    EXPECT_EQ(judged("x/><delete", {true, {}, {}}).reason, Reason::unknown_class);
    EXPECT_FALSE(judged("address", {true, {{"a", {{"kind", "static"}, {"ip", "x"}}}}, {}}));
}

TEST_F(WhatRuns, IsNotAskedForAPropertyThatNobodySets)
{
    for (const char *each : {"uptime", "nothing", "x/><delete"})
        EXPECT_EQ(judged("system", {false, {{std::nullopt, {{each, "x"}}}}, {}}).reason,
                  Reason::rejected)
            << each;
    EXPECT_EQ(judged("fleet", {false, {{std::nullopt, {{"generation", "9"}}}}, {}}).reason,
              Reason::rejected);
    EXPECT_FALSE(judged("fleet", {false, {{std::nullopt, {{"brokers", "b"}}}}, {}}));
}

TEST_F(WhatRuns, HasNamesWhereItsClassesDo)
{
    EXPECT_EQ(judged("radio", {false, {{std::nullopt, {}}}, {}}).reason, Reason::rejected);
    EXPECT_EQ(judged("system", {false, {{"a", {}}}, {}}).reason, Reason::rejected);
    EXPECT_EQ(judged("rule", {false, {{std::nullopt, {}}}, {}}).reason, Reason::rejected);
    EXPECT_FALSE(judged("rule", {true, {{std::nullopt, {{"text", "b"}}}}, {}}));
}

TEST_F(WhatRuns, IsChangedInPart)
{
    EXPECT_EQ(steps({{"radio", {false, {{"r0", {{"channel", "11"}}}}, {"r1", "r7"}}}}),
              "<lsql><write-transaction>"
              "<delete must-match=\"yes\"><radio name=\"r1\"/></delete>"
              "<update must-match=\"yes\"><radio name=\"r0\"><channel>11</channel></radio></update>"
              "</write-transaction></lsql>");
}

TEST_F(WhatRuns, BecomesAllOfAClass)
{
    EXPECT_EQ(
        steps({{"radio", {true, {{"r1", {{"channel", "6"}}}, {"r2", {{"channel", "9"}}}}, {}}}}),
        "<lsql><write-transaction>"
        "<delete must-match=\"yes\"><radio name=\"r0\"/></delete>"
        "<insert><radio name=\"r2\"><channel>9</channel></radio></insert>"
        "</write-transaction></lsql>");
}

TEST_F(WhatRuns, StaysWhereItIsRightAlready)
{
    EXPECT_EQ(steps({{"system", {true, {{std::nullopt, {{"location", "roof"}}}}, {}}},
                     {"radio", {false, {{"r0", {{"channel", "1"}}}}, {"r9"}}},
                     {"rule", {true, {{std::nullopt, {{"text", "a"}}}}, {}}}}),
              "");
}

TEST_F(WhatRuns, IsHeldAgainstTheDocument)
{
    const Content wanted = {
        {"system", {true, {{std::nullopt, {{"location", "cellar"}}}}, {}}},
        {"radio", {false, {{"r0", {{"channel", "1"}}}, {"r5", {{"channel", "1"}}}}, {"r1", "r9"}}},
        {"rule", {true, {{std::nullopt, {{"text", "b"}}}}, {}}},
    };

    const Content found = in_force(wanted, running);

    EXPECT_EQ(differences(wanted, found),
              (std::vector<Difference>{{"radio", "r5", "", "1", ""},
                                       {"radio", "r1", "", "", "1"},
                                       {"rule", "", "text", "b", "a"},
                                       {"system", "", "location", "cellar", "roof"}}));
    EXPECT_NE(hash_of(wanted), hash_of(found));
}

TEST_F(WhatRuns, EqualsTheDocumentWithItsSecretsHidden)
{
    const Content wanted = {
        {"radio",
         {true,
          {{"r0", {{"channel", "1"}, {"key", "precious"}}}, {"r1", {{"channel", "6"}}}},
          {}}}};

    const Content hidden = with_hidden_secrets(wanted, schema);

    EXPECT_EQ(hash_of(hidden), hash_of(in_force(wanted, running)));
    EXPECT_TRUE(differences(hidden, in_force(wanted, running)).empty());
}

} // namespace
