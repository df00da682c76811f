/* SPDX-License-Identifier: MIT */
/* What the schema says that may be done is said to each for himself. */
#include "api/access_fixture.h"

#include <gmock/gmock.h>

#include <regex>
#include <string>

namespace {

using testing::HasSubstr;
using testing::Not;
using vorn::tests::AccessTest;
using vorn::tests::ClassBuilder;

class SchemaForOne : public AccessTest {
protected:
    SchemaForOne()
    {
        ClassBuilder("schema-class").with("insertable").with("deletable").add_resolved();
        ClassBuilder("schema-property", VORN_CLASS_GROUP_NAMED)
            .with("property")
            .with("writable")
            .with("changeable")
            .with("insertable")
            .add_resolved();
        ClassBuilder("trial", VORN_CLASS_SINGLETON).with("confirm").with("id").add_resolved();
        for (const char *each : {"Radio", "Key", "Address", "Static", "Tunnel"})
            put("schema-class", each, {{"insertable", "yes"}, {"deletable", "yes"}});
        property("Radio", "channel");
        property("Radio", "mode");
        property("Radio", "uptime", "no");
        property("Key", "secret");
        property("Tunnel", "peer");
        property("trial", "confirm");
        property("trial", "id");
    }

    static void property(const char *klass, const char *name, const char *changeable = "yes")
    {
        put("schema-property", klass,
            {{"property", name},
             {"writable", changeable},
             {"changeable", changeable},
             {"insertable", changeable}});
    }

    /* "yes" and "no" for each of the properties that the class is asked for. */
    static std::string select(const std::string &of, const std::string &property)
    {
        return "<lsql><select><schema-property name=\"" + of +
               "\"><changeable/><insertable/></schema-property></select><where><eq><property>"
               "property</property><value>" +
               property + "</value></eq></where></lsql>";
    }
    std::string bob_may(const std::string &of, const std::string &property)
    {
        return told_in(ask_as("bob", select(of, property)));
    }
    std::string bob_may(const std::string &of)
    {
        return told_in(ask_as("bob", "<lsql><select><schema-class name=\"" + of +
                                         "\"><insertable/><deletable/></schema-class>"
                                         "</select></lsql>"));
    }

private:
    /* What is told, in its order: "changeable=yes insertable=no". */
    static std::string told_in(const std::string &answer)
    {
        static const std::regex word("<(changeable|insertable|deletable)>(yes|no)</");
        std::string told;
        for (std::sregex_iterator each(answer.begin(), answer.end(), word), end; each != end;
             ++each)
            told += (told.empty() ? "" : " ") + each->str(1) + "=" + each->str(2);
        return told;
    }
};

TEST_F(SchemaForOne, IsAsItStandsWithoutRules)
{
    EXPECT_EQ(bob_may("Radio", "channel"), "changeable=yes insertable=yes");
    EXPECT_EQ(bob_may("Radio", "uptime"), "changeable=no insertable=no");
    EXPECT_EQ(bob_may("Radio"), "insertable=yes deletable=yes");
}

TEST_F(SchemaForOne, TellsWhichPropertiesHeMayChange)
{
    rule("r", 1, "gate:bob", "Radio", "channel", "update", "deny");
    EXPECT_EQ(bob_may("Radio", "channel"), "changeable=no insertable=yes");
    EXPECT_EQ(bob_may("Radio", "mode"), "changeable=yes insertable=yes");
    EXPECT_EQ(bob_may("Radio", "uptime"), "changeable=no insertable=no");
    EXPECT_EQ(bob_may("Radio"), "insertable=yes deletable=yes");
    EXPECT_THAT(ask_as("eve", select("Radio", "channel")),
                HasSubstr("<changeable>yes</changeable>"));
    EXPECT_THAT(ask(select("Radio", "channel")), HasSubstr("<changeable>yes</changeable>"));
}

TEST_F(SchemaForOne, TellsTheSameOfAllPropertiesAsOfOne)
{
    rule("r", 1, "gate:bob", "Radio", "channel", "update", "deny");
    EXPECT_THAT(ask_as("bob", "<lsql><select><schema-property name=\"Radio\" properties=\"all\"/>"
                              "</select></lsql>"),
                HasSubstr("<property>channel</property><writable>yes</writable>"
                          "<changeable>no</changeable><insertable>yes</insertable>"));
}

TEST_F(SchemaForOne, ComparesWhatItTells)
{
    rule("r", 1, "gate:bob", "Radio", "channel", "update", "deny");
    const std::string changeable =
        "<lsql><select><schema-property name=\"Radio\"><property/></schema-property></select>"
        "<where><eq><property>changeable</property><value>yes</value></eq></where></lsql>";
    EXPECT_THAT(ask_as("bob", changeable),
                HasSubstr("<dataset><schema-property name=\"Radio\"><property>mode</property>"
                          "</schema-property></dataset>"));
    EXPECT_THAT(ask_as("eve", changeable), HasSubstr("<counter>2</counter>"));
}

TEST_F(SchemaForOne, TellsOfWhichClassesHeMayInsertAndDelete)
{
    rule("r", 1, "gate:bob", "Radio", "", "insert", "deny");
    rule("s", 2, "gate:bob", "Key", "", "delete", "deny");
    EXPECT_EQ(bob_may("Radio"), "insertable=no deletable=yes");
    EXPECT_EQ(bob_may("Radio", "mode"), "changeable=yes insertable=no");
    EXPECT_EQ(bob_may("Key"), "insertable=yes deletable=no");
}

TEST_F(SchemaForOne, TellsThatNothingIsInsertedWhereSomethingRequiredMayNotBeSet)
{
    rule("r", 1, "gate:bob", "Key", "serial", "insert", "deny");
    EXPECT_EQ(bob_may("Key"), "insertable=no deletable=yes");
    EXPECT_EQ(bob_may("Key", "secret"), "changeable=yes insertable=no");
}

TEST_F(SchemaForOne, TellsOfAFamilyWhatHoldsForItsMembers)
{
    property("Address", "kind");
    rule("r", 1, "gate:bob", "Static", "", "insert update delete", "deny");
    EXPECT_EQ(bob_may("Static"), "insertable=no deletable=no");
    EXPECT_EQ(bob_may("Tunnel"), "insertable=yes deletable=yes");
    EXPECT_EQ(bob_may("Address"), "insertable=yes deletable=no") << "one, and each";
    EXPECT_EQ(bob_may("Address", "kind"), "changeable=no insertable=yes");

    rule("q", 0, "gate:bob", "Address", "", "*", "deny");
    rule("p", 0, "gate:bob", "Tunnel", "peer", "read update", "permit");
    EXPECT_EQ(bob_may("Tunnel", "peer"), "changeable=yes insertable=no");
}

TEST_F(SchemaForOne, SaysNothingOfMembersThatAreNotThereForHim)
{
    property("Address", "kind");
    rule("r", 1, "gate:bob", "Static", "", "*", "deny");
    EXPECT_EQ(bob_may("Static"), "");
    EXPECT_EQ(bob_may("Address"), "insertable=yes deletable=yes");
    EXPECT_EQ(bob_may("Address", "kind"), "changeable=yes insertable=yes");
}

TEST_F(SchemaForOne, TellsWhoMayEndTrials)
{
    rule("r", 1, "gate:bob", "trial", "", "update", "deny");
    EXPECT_EQ(bob_may("trial", "confirm"), "changeable=yes insertable=yes");
    EXPECT_EQ(bob_may("trial", "id"), "changeable=no insertable=yes");
    rule("q", 0, "gate:bob", "trial", "", "confirm", "deny");
    EXPECT_EQ(bob_may("trial", "confirm"), "changeable=no insertable=yes");
}

TEST_F(SchemaForOne, IsNotToldWhereItMayNotBeRead)
{
    rule("r", 1, "gate:bob", "schema-property", "changeable", "read", "deny");
    rule("s", 2, "gate:bob", "Radio", "channel", "read update insert", "deny");
    rule("t", 3, "gate:bob", "Key", "", "read", "deny");
    EXPECT_EQ(bob_may("Radio", "mode"), "insertable=yes");
    EXPECT_EQ(bob_may("Radio", "channel"), "");
    EXPECT_EQ(bob_may("Key"), "");
}

/* Whatever is told is what happens to whoever tries. */
TEST_F(SchemaForOne, AgreesWithWhatIsRefused)
{
    rule("r", 1, "gate:bob", "Radio", "channel", "update", "deny");
    rule("s", 2, "gate:bob", "Radio", "mode", "insert", "deny");
    const auto denied = HasSubstr("Access denied");
    const auto change = [](const std::string &element) {
        return "<explain><update><Radio name=\"r0\">" + element + "</Radio></update></explain>";
    };
    const auto make = [](const std::string &element) {
        return "<explain><insert><Radio name=\"r9\">" + element + "</Radio></insert></explain>";
    };
    EXPECT_EQ(bob_may("Radio", "channel"), "changeable=no insertable=yes");
    EXPECT_THAT(ask_as("bob", change("<channel>1</channel>")), denied);
    EXPECT_THAT(ask_as("bob", make("<channel>1</channel>")), Not(denied));
    EXPECT_EQ(bob_may("Radio", "mode"), "changeable=yes insertable=no");
    EXPECT_THAT(ask_as("bob", change("<mode>a</mode>")), Not(denied));
    EXPECT_THAT(ask_as("bob", make("<mode>a</mode>")), denied);
}

} // namespace
