/* SPDX-License-Identifier: MIT */
/* What becomes of a document of an earlier version, and what of one that goes back. */
#include "config/config_fixture.h"
#include "config/declared_schemas.h"
#include "core/base/limits.h"
#include "core/plugin_page.h"
#include "vorn/config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace vorn::tests {

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

char *copy(const std::string &text)
{
    return strdup(text.c_str());
}

/* Whose code ran when the functions of a table were called. */
std::vector<std::uint32_t> under_way;

/* "10.0.0.1/24" to address and prefix. */
char *split_cidr(const char *text, unsigned int part)
{
    const AllocationsAllowed allowed;
    under_way.emplace_back(*code_under_way);
    const char *slash = std::strchr(text, '/');
    if (!slash) return nullptr;
    return part == 0 ? copy(std::string(text, slash)) : copy(slash + 1);
}

/* The prefix loses its leading zeros. */
char *join_cidr(const char *const *texts, unsigned int count)
{
    const AllocationsAllowed allowed;
    under_way.emplace_back(*code_under_way);
    EXPECT_EQ(count, 2U);
    if (!texts[0] || !texts[1]) return nullptr;
    return copy(std::string(texts[0]) + "/" + std::to_string(std::atoi(texts[1])));
}

constexpr const char *cidr_parts[] = {"address", "prefix", nullptr};

std::string in(const std::string &body, const std::string &versions = "")
{
    const std::string said = versions.empty() ? "" : "<?vorn-schema " + versions + "?>\n";
    return "<?xml version=\"1.0\"?>\n" + said + "<config>" + body + "</config>";
}

/* Without indentation, and without the root. */
std::string body_of(const std::string &document)
{
    std::string body;
    for (std::size_t at = 0; at < document.size(); at++) {
        body += document[at];
        if (document[at] != '\n') continue;
        body.pop_back();
        while (at + 1 < document.size() && document[at + 1] == ' ')
            at++;
    }
    const std::size_t first = body.find("<config>");
    if (first == std::string::npos) return "";
    return body.substr(first + 8, body.rfind("</config>") - first - 8);
}

class MigrationTest : public ConfigTest {
protected:
    std::string migrate(const std::string &document, const char *versions = nullptr)
    {
        char *lines = nullptr;
        const Text migrated(vorn_config_migrate(document.c_str(), versions, &lines));
        losses = lines ? lines : "(none)";
        std::free(lines);
        return migrated ? migrated.get() : "";
    }
    /* From the version before, and to it. */
    std::string there(const std::string &body) { return body_of(migrate(in(body))); }
    std::string back(const std::string &body)
    {
        return body_of(migrate(in(body, "radio=\"1\""), "radio=0"));
    }

    void expect_there_and_back(const std::string &old, const std::string &now)
    {
        EXPECT_EQ(there(old), now);
        EXPECT_EQ(losses, "");
        EXPECT_EQ(back(now), old);
        EXPECT_EQ(losses, "");
    }

    DeclaredSchemas schemas;
    std::string losses;
};

} // namespace

TEST_F(MigrationTest, RenamesAClass)
{
    schemas.declare("radio", 1, {VORN_RENAME_CLASS(1, "Wlan", "Radio")});
    const std::string old = "<Wlan name=\"a\"><mode>g</mode></Wlan><Board/><Wlan name=\"b\"/>";
    const std::string now = "<Radio name=\"a\"><mode>g</mode></Radio><Board/><Radio name=\"b\"/>";
    expect_there_and_back(old, now);
}

TEST_F(MigrationTest, LeavesAnInstanceWhoseNewNameIsTaken)
{
    schemas.declare("radio", 1, {VORN_RENAME_CLASS(1, "Wlan", "Radio")});
    EXPECT_EQ(there("<Radio name=\"a\"/><Wlan name=\"a\"/><Wlan name=\"b\"/>"),
              "<Radio name=\"a\"/><Wlan name=\"a\"/><Radio name=\"b\"/>");
    EXPECT_EQ(losses, "Wlan \"a\": there is a \"Radio\" of that name already\n"
                      "Radio \"a\": nothing tells it from what was \"Wlan\"\n");
}

TEST_F(MigrationTest, KnowsOneInstanceOfASingletonAndManyOfAGroup)
{
    schemas.declare("radio", 1,
                    {VORN_RENAME_CLASS(1, "Base", "Board"), VORN_RENAME_CLASS(1, "Macs", "Acl"),
                     VORN_RENAME_CLASS(1, "Path", "Route")});
    EXPECT_EQ(there("<Board/><Base/><Acl name=\"a\"/><Macs name=\"a\"/><Route/><Path/>"),
              "<Board/><Base/><Acl name=\"a\"/><Acl name=\"a\"/><Route/><Route/>");
    EXPECT_THAT(losses, HasSubstr("Base: there is a \"Board\" of that name already\n"));
}

TEST_F(MigrationTest, RenamesAProperty)
{
    schemas.declare("radio", 1, {VORN_RENAME_PROPERTY(1, "Radio", "chan", "channel")});
    const std::string old = "<Radio name=\"a\"><x>1</x><chan>6</chan></Radio><Key name=\"a\"/>";
    const std::string now = "<Radio name=\"a\"><x>1</x><channel>6</channel></Radio>"
                            "<Key name=\"a\"/>";
    EXPECT_EQ(there(old), now);
    EXPECT_EQ(back(now), old);
    EXPECT_EQ(losses, "");
    EXPECT_EQ(there("<Key><chan>6</chan></Key>"), "<Key><chan>6</chan></Key>");
}

TEST_F(MigrationTest, LeavesAValueWhoseNewNameIsTaken)
{
    schemas.declare("radio", 1, {VORN_RENAME_PROPERTY(1, "Radio", "chan", "channel")});
    const std::string both = "<Radio name=\"a\"><chan>6</chan><channel>7</channel></Radio>";
    EXPECT_EQ(there(both), both);
    EXPECT_EQ(losses, "Radio \"a\": chan: \"channel\" is there already\n");
    EXPECT_EQ(back(both), both);
    EXPECT_EQ(losses, "Radio \"a\": channel: \"chan\" is there already\n");
}

TEST_F(MigrationTest, MovesAPropertyToTheInstanceOfTheSameName)
{
    schemas.declare("radio", 1, {VORN_MOVE_PROPERTY(1, "Radio", "serial", "Key", "number")});
    const std::string old = "<Radio name=\"a\"><serial>1</serial><mode>g</mode></Radio>"
                            "<Radio name=\"b\"><serial>2</serial></Radio><Radio name=\"c\"/>"
                            "<Key name=\"b\"><x>3</x></Key>";
    const std::string now = "<Radio name=\"a\"><mode>g</mode></Radio>"
                            "<Key name=\"a\"><number>1</number></Key><Radio name=\"b\"/>"
                            "<Radio name=\"c\"/><Key name=\"b\"><x>3</x><number>2</number></Key>";
    EXPECT_EQ(there(old), now);
    EXPECT_EQ(losses, "");
    EXPECT_EQ(back(now), "<Radio name=\"a\"><mode>g</mode><serial>1</serial></Radio>"
                         "<Radio name=\"b\"><serial>2</serial></Radio><Radio name=\"c\"/>"
                         "<Key name=\"b\"><x>3</x></Key>");
    EXPECT_EQ(losses, "");
}

TEST_F(MigrationTest, MovesAPropertyToTheOnlyInstanceOfASingleton)
{
    schemas.declare("radio", 1, {VORN_MOVE_PROPERTY(1, "Radio", "country", "Board", nullptr)});
    EXPECT_EQ(there("<Radio name=\"a\"><country>DE</country></Radio>"),
              "<Radio name=\"a\"/><Board><country>DE</country></Board>");
    EXPECT_EQ(losses, "");
    EXPECT_EQ(back("<Radio name=\"a\"/><Board><country>DE</country></Board>"),
              "<Radio name=\"a\"><country>DE</country></Radio><Board/>");
    EXPECT_EQ(losses, "");

    const std::string two = "<Radio name=\"a\"><country>DE</country></Radio>"
                            "<Radio name=\"b\"><country>AT</country></Radio>";
    EXPECT_EQ(there(two), "<Radio name=\"a\"/><Board><country>DE</country></Board>"
                          "<Radio name=\"b\"><country>AT</country></Radio>");
    EXPECT_EQ(losses, "Radio \"b\": country: \"country\" of \"Board\" is there already\n");
    EXPECT_EQ(back("<Radio name=\"a\"/><Radio name=\"b\"/><Board><country>DE</country></Board>"),
              "<Radio name=\"a\"/><Radio name=\"b\"/><Board><country>DE</country></Board>");
    EXPECT_EQ(losses, "Board: country: no instance of \"Radio\" belongs to it\n");
}

TEST_F(MigrationTest, MovesAPropertyToTheOneWithoutAName)
{
    schemas.declare("radio", 1, {VORN_MOVE_PROPERTY(1, "Old", "p", "New", nullptr)});
    EXPECT_EQ(there("<Old><p>1</p></Old><New name=\"x\"/><New/><New name=\"y\"/>"),
              "<Old/><New name=\"x\"/><New><p>1</p></New><New name=\"y\"/>");
}

TEST_F(MigrationTest, KnowsASingletonThatHasAnotherNameByNow)
{
    schemas.declare("radio", 2,
                    {VORN_MOVE_PROPERTY(1, "Radio", "country", "Base", nullptr),
                     VORN_RENAME_CLASS(2, "Base", "Board")});
    EXPECT_EQ(there("<Radio name=\"a\"><country>DE</country></Radio>"),
              "<Radio name=\"a\"/><Board><country>DE</country></Board>");
}

TEST_F(MigrationTest, KnowsAClassByItsNameAtThePlaceOfTheStep)
{
    schemas.declare("radio", 2,
                    {VORN_RENAME_CLASS(1, "Board", "Radio"),
                     VORN_MOVE_PROPERTY(2, "Radio", "country", "Board", nullptr)});
    EXPECT_EQ(there("<Board name=\"a\"><country>DE</country></Board>"),
              "<Radio name=\"a\"/><Board><country>DE</country></Board>");
}

TEST_F(MigrationTest, SaysWhenTheWayBackMakesAnInstance)
{
    schemas.declare("radio", 1, {VORN_MOVE_PROPERTY(1, "Radio", "serial", "Key", nullptr)});
    EXPECT_EQ(back("<Key name=\"a\"><serial>1</serial></Key>"),
              "<Radio name=\"a\"><serial>1</serial></Radio>");
    EXPECT_EQ(losses, "Key \"a\": serial: \"Radio\" is made for it\n");
    EXPECT_EQ(there("<Radio name=\"a\"><serial>1</serial></Radio><Key name=\"a\"/>"),
              "<Radio name=\"a\"/><Key name=\"a\"><serial>1</serial></Key>");
    EXPECT_EQ(losses, "Key \"a\": nothing tells it from one that was made\n");
}

TEST_F(MigrationTest, MovesNothingToWhereNoInstanceBelongsToIt)
{
    schemas.declare("radio", 1,
                    {VORN_MOVE_PROPERTY(1, "Radio", "to", "Route", nullptr),
                     VORN_MOVE_PROPERTY(1, "Board", "serial", "Key", nullptr)});
    const std::string old = "<Radio name=\"a\"><to>b</to></Radio><Board><serial>1</serial></Board>";
    EXPECT_EQ(there(old), old);
    EXPECT_EQ(losses, "Radio \"a\": to: no instance of \"Route\" belongs to it\n"
                      "Board: serial: no instance of \"Key\" belongs to it\n");
}

TEST_F(MigrationTest, SplitsAProperty)
{
    schemas.declare("radio", 1,
                    {VORN_SPLIT_PROPERTY(1, "Radio", "cidr", split_cidr, join_cidr, cidr_parts)});
    const std::string old = "<Radio name=\"a\"><cidr>10.0.0.1/24</cidr></Radio>";
    const std::string now = "<Radio name=\"a\"><address>10.0.0.1</address><prefix>24</prefix>"
                            "</Radio>";
    expect_there_and_back(old, now);
    EXPECT_EQ(there(now), now);
    EXPECT_EQ(there("<Radio name=\"a\"><cidr>1/024</cidr></Radio>"),
              "<Radio name=\"a\"><address>1</address><prefix>024</prefix></Radio>");
    EXPECT_EQ(losses, "Radio \"a\": cidr: the way back before version 1 leads to another text\n");
}

TEST_F(MigrationTest, LeavesWhatCannotBeSplitOrJoined)
{
    schemas.declare("radio", 1,
                    {VORN_SPLIT_PROPERTY(1, "Radio", "cidr", split_cidr, join_cidr, cidr_parts)});
    const std::string odd = "<Radio name=\"a\"><cidr>10.0.0.1</cidr></Radio>";
    EXPECT_EQ(there(odd), odd);
    EXPECT_EQ(losses, "Radio \"a\": cidr: it can't be split\n");
    const std::string half = "<Radio name=\"a\"><address>10.0.0.1</address></Radio>";
    EXPECT_EQ(back(half), half);
    EXPECT_EQ(losses, "Radio \"a\": address: it can't be joined\n");
    const std::string mixed = "<Radio name=\"a\"><cidr>1/2</cidr><prefix>3</prefix></Radio>";
    EXPECT_EQ(there(mixed), mixed);
    EXPECT_EQ(losses, "Radio \"a\": cidr: \"prefix\" is there already\n");
    EXPECT_EQ(back(mixed), mixed);
    EXPECT_EQ(losses, "Radio \"a\": prefix: \"cidr\" is there already\n");
}

/* A daemon that dies there knows whose fault it was. */
TEST_F(MigrationTest, KnowsWhoseFunctionsItCalls)
{
    constexpr PluginOwner owner = 7;
    constexpr auto what = owner | static_cast<std::uint32_t>(Callback::migration) << 8;
    {
        const InPlugin declares(owner, Callback::init);
        schemas.declare(
            "radio", 1,
            {VORN_SPLIT_PROPERTY(1, "Radio", "cidr", split_cidr, join_cidr, cidr_parts)});
    }
    under_way.clear();
    there("<Radio name=\"a\"><cidr>10.0.0.1/24</cidr></Radio>");
    EXPECT_THAT(under_way, ElementsAre(what, what, what)) << "each part, and the way back";
    EXPECT_EQ(current_plugin(), no_plugin) << "they have ended";
}

TEST_F(MigrationTest, SplitsAPropertyThatIsAPartItself)
{
    schemas.declare(
        "radio", 1,
        {VORN_SPLIT_PROPERTY(1, "Radio", "address", split_cidr, join_cidr, cidr_parts)});
    expect_there_and_back("<Radio name=\"a\"><address>1/2</address></Radio>",
                          "<Radio name=\"a\"><address>1</address><prefix>2</prefix></Radio>");
}

TEST_F(MigrationTest, LeavesWhatBecomesATextThatNoFileCanHold)
{
    const vorn_split_fn split = [](const char *, unsigned int) { return copy("\x01"); };
    schemas.declare("radio", 1, {VORN_SPLIT_PROPERTY(1, "Radio", "cidr", split, 0, cidr_parts)});
    const std::string old = "<Radio name=\"a\"><cidr>1</cidr></Radio>";
    EXPECT_EQ(there(old), old);
    EXPECT_EQ(losses, "Radio \"a\": cidr: it can't be split\n");
}

TEST_F(MigrationTest, JoinsProperties)
{
    schemas.declare("radio", 1,
                    {VORN_JOIN_PROPERTIES(1, "Radio", cidr_parts, join_cidr, split_cidr, "cidr")});
    const std::string now = "<Radio name=\"a\"><cidr>10.0.0.1/24</cidr></Radio>";
    const std::string old = "<Radio name=\"a\"><address>10.0.0.1</address><prefix>24</prefix>"
                            "</Radio>";
    expect_there_and_back(old, now);
    EXPECT_EQ(there("<Radio name=\"a\"><address>1</address><prefix>024</prefix></Radio>"),
              "<Radio name=\"a\"><cidr>1/24</cidr></Radio>");
    EXPECT_EQ(losses, "Radio \"a\": prefix: the way back before version 1 leads to another text\n");
}

TEST_F(MigrationTest, NamesWhatHasNoWayBack)
{
    schemas.declare("radio", 1,
                    {VORN_SPLIT_PROPERTY(1, "Radio", "cidr", split_cidr, nullptr, cidr_parts),
                     VORN_JOIN_PROPERTIES(1, "Key", cidr_parts, join_cidr, nullptr, "cidr")});
    const std::string now = "<Radio name=\"a\"><address>1</address></Radio>"
                            "<Key name=\"a\"><cidr>1/2</cidr></Key>";
    EXPECT_EQ(back(now), now);
    EXPECT_EQ(losses, "Radio \"a\": address: there is no way back before version 1\n"
                      "Key \"a\": cidr: there is no way back before version 1\n");
}

TEST_F(MigrationTest, MapsAValueAtMostOnceInAVersion)
{
    schemas.declare("radio", 1,
                    {VORN_MAP_VALUE(1, "Radio", "mode", "a", "b"),
                     VORN_MAP_VALUE(1, "Radio", "mode", "b", "a"),
                     VORN_MAP_VALUE(1, "Radio", "mode", "11g", "")});
    const std::string old = "<Radio name=\"a\"><mode>a</mode></Radio>"
                            "<Radio name=\"b\"><mode>b</mode></Radio>"
                            "<Radio name=\"c\"><mode>11g</mode></Radio>"
                            "<Radio name=\"d\"><mode>x</mode></Radio>";
    const std::string now = "<Radio name=\"a\"><mode>b</mode></Radio>"
                            "<Radio name=\"b\"><mode>a</mode></Radio>"
                            "<Radio name=\"c\"><mode/></Radio>"
                            "<Radio name=\"d\"><mode>x</mode></Radio>";
    expect_there_and_back(old, now);
}

TEST_F(MigrationTest, MapsAValueAgainInTheNextVersion)
{
    schemas.declare("radio", 2,
                    {VORN_MAP_VALUE(1, "Radio", "mode", "a", "b"),
                     VORN_MAP_VALUE(2, "Radio", "mode", "b", "c")});
    const std::string old = in("<Radio name=\"a\"><mode>a</mode></Radio>");
    EXPECT_EQ(body_of(migrate(old)), "<Radio name=\"a\"><mode>c</mode></Radio>");
    EXPECT_EQ(migrate(migrate(old, "radio=1")), migrate(old));
    EXPECT_EQ(migrate(migrate(old), "radio=0"), migrate(old, "radio=0"));
    EXPECT_EQ(losses, "");
}

TEST_F(MigrationTest, NamesValuesThatCannotBeToldApart)
{
    schemas.declare("radio", 1,
                    {VORN_MAP_VALUE(1, "Radio", "mode", "b", "b"),
                     VORN_MAP_VALUE(1, "Radio", "mode", "a", "b"),
                     VORN_MAP_VALUE(1, "Key", "mode", "a", "b")});
    EXPECT_EQ(back("<Radio name=\"a\"><mode>b</mode></Radio>"),
              "<Radio name=\"a\"><mode>b</mode></Radio>");
    EXPECT_EQ(losses, "Radio \"a\": mode: several values have become \"b\" in version 1\n");
    EXPECT_EQ(there("<Key name=\"a\"><mode>b</mode></Key>"),
              "<Key name=\"a\"><mode>b</mode></Key>");
    EXPECT_EQ(losses, "Key \"a\": mode: another value has become \"b\" in version 1\n");
    EXPECT_EQ(back("<Key name=\"a\"><mode>a</mode></Key>"), "<Key name=\"a\"><mode>a</mode></Key>");
    EXPECT_EQ(losses, "Key \"a\": mode: \"a\" means something else before version 1\n");
}

TEST_F(MigrationTest, GivesADefaultAndTakesItBack)
{
    schemas.declare("radio", 1, {VORN_DEFAULT_VALUE(1, "Radio", "power", "20")});
    EXPECT_EQ(there("<Radio name=\"a\"/><Radio name=\"b\"><power>3</power></Radio>"),
              "<Radio name=\"a\"><power>20</power></Radio><Radio name=\"b\"><power>3</power>"
              "</Radio>");
    EXPECT_EQ(back("<Radio name=\"a\"><power>20</power></Radio><Radio name=\"b\"><power>3</power>"
                   "</Radio>"),
              "<Radio name=\"a\"/><Radio name=\"b\"/>");
    EXPECT_EQ(losses, "Radio \"b\": power: there is none before version 1\n");
}

TEST_F(MigrationTest, DropsOnPurposeAndSaysSo)
{
    schemas.declare("radio", 1,
                    {VORN_DROP_PROPERTY(1, "Radio", "turbo"), VORN_DROP_CLASS(1, "Old")});
    EXPECT_EQ(there("<Old name=\"a\"/><Radio name=\"a\"><turbo>1</turbo><mode>g</mode></Radio>"
                    "<Old/>"),
              "<Radio name=\"a\"><mode>g</mode></Radio>");
    EXPECT_EQ(losses, "Radio \"a\": turbo: it is dropped in version 1\n"
                      "Old \"a\": it is dropped in version 1\nOld: it is dropped in version 1\n");
    const std::string later = "<Radio name=\"a\"><turbo>1</turbo></Radio><Old name=\"a\"/>";
    EXPECT_EQ(back(later), later) << "it was not there to be dropped";
}

TEST_F(MigrationTest, TakesTheStepsOfEachVersionInTheirOrder)
{
    schemas.declare(
        "radio", 3,
        {VORN_RENAME_CLASS(1, "Wlan", "Radio"), VORN_RENAME_PROPERTY(1, "Radio", "b", "c"),
         VORN_RENAME_PROPERTY(1, "Radio", "a", "b"), VORN_DEFAULT_VALUE(2, "Radio", "d", "1"),
         VORN_RENAME_CLASS(3, "Radio", "Phy"), VORN_RENAME_PROPERTY(3, "Phy", "d", "e")});
    const std::string old = in("<Wlan name=\"x\"><a>1</a><b>2</b></Wlan>");
    EXPECT_EQ(body_of(migrate(old)), "<Phy name=\"x\"><b>1</b><c>2</c><e>1</e></Phy>");
    EXPECT_EQ(body_of(migrate(old, "radio=1")), "<Radio name=\"x\"><b>1</b><c>2</c></Radio>");
    EXPECT_EQ(migrate(migrate(old, "radio=1")), migrate(old));
    EXPECT_EQ(migrate(migrate(migrate(old), "radio=1")), migrate(old));
    EXPECT_EQ(migrate(migrate(old), "radio=0"), migrate(old, "radio=0"));
}

TEST_F(MigrationTest, SaysInTheDocumentOfWhichVersionItIs)
{
    schemas.declare("radio", 2);
    schemas.declare("time", 1);
    const std::string head = "<?xml version=\"1.0\"?>\n";
    EXPECT_EQ(migrate(in("")), head + "<?vorn-schema radio=\"2\" time=\"1\"?>\n<config/>\n");
    EXPECT_EQ(migrate(in(""), "radio=1 time=0"), head + "<?vorn-schema radio=\"1\"?>\n<config/>\n");
    EXPECT_EQ(migrate(in(""), "radio=0 time=0"), head + "<config/>\n");
    EXPECT_EQ(migrate(in("", "away=\"7\" radio=\"9\" zone=\"3\"")),
              head + "<?vorn-schema away=\"7\" radio=\"9\" time=\"1\" zone=\"3\"?>\n<config/>\n");
    EXPECT_EQ(losses, "radio: nothing is known here of version 9\n");
    EXPECT_EQ(migrate(in("", "radio=\"9\""), "radio=1"),
              head + "<?vorn-schema radio=\"9\" time=\"1\"?>\n<config/>\n");
    EXPECT_EQ(losses, "radio: nothing is known here of version 9\n");
}

TEST_F(MigrationTest, UndoesFirstWhatWasDoneLast)
{
    schemas.declare("key", 1, {VORN_MOVE_PROPERTY(1, "Radio", "id", "Key", nullptr)});
    schemas.declare("zone", 1, {VORN_RENAME_PROPERTY(1, "Key", "id", "serial")});
    const std::string old =
        "<Radio name=\"a\"><id>1</id></Radio><Key name=\"a\"><use>2</use></Key>";
    const std::string now =
        "<Radio name=\"a\"/><Key name=\"a\"><use>2</use><serial>1</serial></Key>";
    EXPECT_EQ(there(old), now);
    EXPECT_EQ(body_of(migrate(in(now, "key=\"1\" zone=\"1\""), "key=0 zone=0")), old);
    EXPECT_EQ(losses, "");
}

TEST_F(MigrationTest, NamesWhatNoFileCanHold)
{
    schemas.declare("radio", 1);
    const std::string name(longest_name_in_file + 1, 'x');
    EXPECT_EQ(there("<Radio name=\"a\"><" + name + "/><mode/></Radio><" + name + "/>"),
              "<Radio name=\"a\"><mode/></Radio>");
    EXPECT_THAT(losses, AllOf(HasSubstr("Radio \"a\": xx"), HasSubstr("\nxx"),
                              EndsWith(": no file can hold it\n")));
}

TEST_F(MigrationTest, IsRefusedVersionsThatThereAreNot)
{
    schemas.declare("radio", 2);
    for (const char *versions :
         {"radio=3", "time=1", "radio", "radio=", "radio=x", "radio=1 x", "radio=1radio=1"})
        EXPECT_EQ(migrate(in(""), versions), "") << versions;
    EXPECT_NE(log.text().find("vorn: These are no versions: \"radio\".\n"), std::string::npos);
    EXPECT_EQ(losses, "(none)");
    EXPECT_EQ(migrate("<other/>"), "");
    EXPECT_EQ(migrate("<config>"), "");
    EXPECT_EQ(vorn_config_migrate(nullptr, nullptr, nullptr), nullptr);
}

TEST_F(MigrationTest, LeavesADocumentOfALaterVersionAsItIs)
{
    schemas.declare("radio", 1, {VORN_DROP_CLASS(1, "Radio")});
    EXPECT_EQ(body_of(migrate(in("<Radio name=\"a\"/>", "radio=\"2\""))), "<Radio name=\"a\"/>");
    EXPECT_EQ(body_of(migrate(in("<Radio name=\"a\"/>", "radio=\"1\""))), "<Radio name=\"a\"/>");
}

TEST_F(MigrationTest, IsWholeOrNotWithoutMemory)
{
    schemas.declare("radio", 2,
                    {VORN_RENAME_CLASS(1, "Wlan", "Radio"),
                     VORN_SPLIT_PROPERTY(1, "Radio", "cidr", split_cidr, join_cidr, cidr_parts),
                     VORN_MOVE_PROPERTY(2, "Radio", "serial", "Key", nullptr),
                     VORN_DROP_PROPERTY(2, "Radio", "mode")});
    const std::string old = in("<Wlan name=\"a\"><cidr>1/2</cidr><serial>3</serial>"
                               "<mode>g</mode></Wlan><Radio name=\"b\"/><Board/>",
                               "away=\"1\"");
    FailEachAllocation(
        [&] {
            char *lines = nullptr;
            char *migrated = vorn_config_migrate(old.c_str(), "radio=2", &lines);
            EXPECT_EQ(migrated == nullptr, AllocationFailed());
            EXPECT_EQ(migrated == nullptr, lines == nullptr);
            std::free(migrated);
            std::free(lines);
        },
        20);
}

} // namespace vorn::tests
