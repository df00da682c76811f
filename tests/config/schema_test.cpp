/* SPDX-License-Identifier: MIT */
/* What plugins declare of their part of the configuration, and what a document says of it. */
#include "config/declared_schemas.h"
#include "config/schema_declaration.h"
#include "support/builders.h"
#include "vorn/schema.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace vorn::tests {

namespace {

using testing::HasSubstr;

char *split_nothing(const char *, unsigned int)
{
    return nullptr;
}

char *join_nothing(const char *const *, unsigned int)
{
    return nullptr;
}

constexpr const char *parts[] = {"a", "b", nullptr};
constexpr const char *no_parts[] = {nullptr};
constexpr const char *same_parts[] = {"a", "a", nullptr};

class SchemaTest : public ModelTest {
protected:
    SchemaTest() { log.set_level(0); }

    /* What the log says of a table that is refused; "" of one that is not. */
    std::string refused(std::vector<vorn_migration> steps, unsigned int version = 3)
    {
        log.take();
        const int result = schemas.declare("radio", version, std::move(steps));
        const std::string said = log.take();
        EXPECT_EQ(result != 0, !said.empty());
        EXPECT_EQ(result != 0, find_schema("radio") == nullptr);
        DeclaredSchemas::forget();
        return said;
    }

    DeclaredSchemas schemas;
};

int compare(const std::string &document)
{
    return vorn_schema_compare(document.data(), document.size());
}

} // namespace

TEST_F(SchemaTest, IsToldByNameInTheOrderOfNames)
{
    EXPECT_EQ(vorn_schema_get_name(0), nullptr);
    EXPECT_EQ(schemas.declare("time", 2), 0);
    EXPECT_EQ(schemas.declare("radio", 7, {VORN_DROP_CLASS(7, "Old")}), 0);
    EXPECT_EQ(schemas.declare("system.base-1_x", 1), 0);

    EXPECT_STREQ(vorn_schema_get_name(0), "radio");
    EXPECT_STREQ(vorn_schema_get_name(1), "system.base-1_x");
    EXPECT_STREQ(vorn_schema_get_name(2), "time");
    EXPECT_EQ(vorn_schema_get_name(3), nullptr);
    EXPECT_EQ(vorn_schema_get_version("radio"), 7U);
    EXPECT_STREQ(vorn_schema_get_plugin("radio"), "radio.vorn");
    EXPECT_EQ(vorn_schema_get_version("none"), 0U);
    EXPECT_EQ(vorn_schema_get_version(nullptr), 0U);
    EXPECT_STREQ(vorn_schema_get_plugin("none"), "");
    EXPECT_STREQ(vorn_schema_get_plugin(nullptr), "");
}

TEST_F(SchemaTest, TakesAWholeTable)
{
    EXPECT_EQ(refused({
                  VORN_RENAME_CLASS(1, "Wlan", "Radio"),
                  VORN_RENAME_PROPERTY(1, "Radio", "a", "b"),
                  VORN_RENAME_PROPERTY(1, "Radio", "b", "c"),
                  VORN_RENAME_PROPERTY(2, "Radio", "c", "a"),
                  VORN_MOVE_PROPERTY(2, "Radio", "country", "System", nullptr),
                  VORN_SPLIT_PROPERTY(2, "Radio", "a", split_nothing, nullptr, parts),
                  VORN_JOIN_PROPERTIES(2, "Radio", parts, join_nothing, nullptr, "b"),
                  VORN_MAP_VALUE(3, "Radio", "mode", "a", ""),
                  VORN_DEFAULT_VALUE(3, "Radio", "new", "1"),
                  VORN_DROP_PROPERTY(3, "Radio", "turbo"),
                  VORN_DROP_CLASS(3, "Old"),
              }),
              "");
}

TEST_F(SchemaTest, RefusesATableThatMakesNoSense)
{
    vorn_migration unknown = {1, 10, "Radio", "a", "b", "c", parts, "d", "e", nullptr, nullptr};
    EXPECT_EQ(refused({}, 0),
              "vorn: Schema \"radio\" of plugin \"radio.vorn\": it has the version 0.\n");
    EXPECT_EQ(refused({VORN_DROP_CLASS(1, "A"), VORN_DROP_CLASS(0, "B")}),
              "vorn: Schema \"radio\" of plugin \"radio.vorn\": step 2: it is of version 0.\n");
    EXPECT_THAT(refused({VORN_DROP_CLASS(4, "A")}), HasSubstr("a version that is not there yet"));
    EXPECT_THAT(refused({VORN_DROP_CLASS(2, "A"), VORN_DROP_CLASS(1, "B")}),
                HasSubstr("step 2: it is of an earlier version than the one before"));
    for (const int kind : {10, 0, -1}) {
        unknown.kind = kind;
        EXPECT_THAT(refused({unknown}), HasSubstr("step 1: it is of an unknown kind")) << kind;
    }
}

TEST_F(SchemaTest, RefusesAStepThatLacksSomething)
{
    const vorn_migration bad[] = {
        VORN_DROP_CLASS(1, nullptr),
        VORN_DROP_CLASS(1, "no name"),
        VORN_DROP_PROPERTY(1, "A", nullptr),
        VORN_DROP_PROPERTY(1, "A", ""),
        VORN_RENAME_CLASS(1, "A", nullptr),
        VORN_RENAME_PROPERTY(1, "A", "b", nullptr),
        VORN_MOVE_PROPERTY(1, "A", "b", nullptr, "c"),
        VORN_MOVE_PROPERTY(1, "A", "b", "C", "2"),
        VORN_SPLIT_PROPERTY(1, "A", "b", nullptr, join_nothing, parts),
        VORN_SPLIT_PROPERTY(1, "A", "b", split_nothing, join_nothing, nullptr),
        VORN_SPLIT_PROPERTY(1, "A", "b", split_nothing, join_nothing, no_parts),
        VORN_SPLIT_PROPERTY(1, "A", "b", split_nothing, join_nothing, same_parts),
        VORN_JOIN_PROPERTIES(1, "A", parts, nullptr, split_nothing, "b"),
        VORN_MAP_VALUE(1, "A", "b", nullptr, "c"),
        VORN_MAP_VALUE(1, "A", "b", "c", "\x01"),
        VORN_DEFAULT_VALUE(1, "A", "b", nullptr),
    };
    for (const vorn_migration &step : bad)
        EXPECT_THAT(refused({step}), HasSubstr("step 1: it lacks something")) << step.kind;
}

TEST_F(SchemaTest, RefusesRenamesInACircle)
{
    EXPECT_EQ(
        refused({VORN_RENAME_CLASS(2, "A", "B"), VORN_RENAME_CLASS(2, "B", "A")}),
        "vorn: Schema \"radio\" of plugin \"radio.vorn\": renames of \"A\" lead in version 2 to "
        "where they began.\n");
    EXPECT_THAT(refused({VORN_RENAME_CLASS(1, "A", "A")}), HasSubstr("where they began"));
    EXPECT_THAT(
        refused({VORN_RENAME_PROPERTY(1, "A", "b", "c"), VORN_RENAME_PROPERTY(1, "A", "d", "b"),
                 VORN_RENAME_PROPERTY(1, "A", "c", "d")}),
        HasSubstr("where they began"));
    EXPECT_THAT(refused({VORN_MOVE_PROPERTY(1, "A", "b", "C", nullptr),
                         VORN_MOVE_PROPERTY(1, "C", "b", "A", "b")}),
                HasSubstr("where they began"));
    EXPECT_THAT(refused({VORN_MOVE_PROPERTY(1, "A", "b", "A", "c")}),
                HasSubstr("it moves within a class"));
    EXPECT_EQ(refused({VORN_RENAME_CLASS(1, "A", "B"), VORN_RENAME_CLASS(2, "B", "A")}), "");
    EXPECT_EQ(
        refused({VORN_RENAME_PROPERTY(1, "A", "b", "c"), VORN_RENAME_PROPERTY(1, "D", "c", "b")}),
        "");
}

TEST_F(SchemaTest, IsRefusedANameThatIsNoneOrTaken)
{
    EXPECT_EQ(schemas.declare("radio", 1), 0);
    EXPECT_EQ(schemas.declare("radio", 1), 1);
    EXPECT_EQ(log.text(),
              "vorn: Schema \"radio\" of plugin \"radio.vorn\": the name is declared already.\n");
    for (const char *name : {"", "1a", "a b", "a\"", "a=", "\xc3\xa4"})
        EXPECT_EQ(schemas.declare(name, 1), 1) << name;
    EXPECT_EQ(schemas.declare(std::string(63, 'a').c_str(), 1), 0);
    EXPECT_EQ(schemas.declare(std::string(64, 'a').c_str(), 1), 1);
}

TEST_F(SchemaTest, LeavesAClassToOnePlugin)
{
    EXPECT_EQ(schemas.declare("radio", 1, {VORN_RENAME_CLASS(1, "Wlan", "Radio")}), 0);
    EXPECT_EQ(schemas.declare("other", 1, {VORN_DROP_PROPERTY(1, "Radio", "a")}), 1);
    EXPECT_EQ(log.text(), "vorn: Schema \"other\" of plugin \"other.vorn\": what becomes of class "
                          "\"Radio\" says \"radio\" already.\n");
    EXPECT_EQ(schemas.declare("other", 1, {VORN_RENAME_CLASS(1, "Old", "Wlan")}), 1);
    EXPECT_EQ(schemas.declare("other", 1, {VORN_MOVE_PROPERTY(1, "Own", "a", "Radio", nullptr)}),
              0);
}

TEST_F(SchemaTest, SaysWhatIsMissing)
{
    log.set_level(1);
    char file[] = "p.vorn";
    vorn_plugin plugin = {file};
    EXPECT_EQ(vorn_plugin_set_schema(nullptr, "a", 1, nullptr, 0), 1);
    EXPECT_EQ(vorn_plugin_set_schema(&plugin, nullptr, 1, nullptr, 0), 1);
    EXPECT_EQ(vorn_plugin_set_schema(&plugin, "a", 1, nullptr, 1), 1);
    EXPECT_EQ(log.text(), "vorn: Null plugin.\nvorn: Null name.\nvorn: Null steps.\n");
}

TEST_F(SchemaTest, IsDeclaredWholeOrNotWithoutMemory)
{
    char file[] = "p.vorn";
    vorn_plugin plugin = {file};
    FailEachAllocation(
        [&] {
            const int result = vorn_plugin_set_schema(&plugin, "a", 1, nullptr, 0);
            EXPECT_EQ(result == 1, AllocationFailed());
            EXPECT_EQ(vorn_schema_get_version("a"), result == 0 ? 1U : 0U);
            DeclaredSchemas::forget();
        },
        3);
}

TEST_F(SchemaTest, HasAnIdThatDoesNotDependOnTheOrder)
{
    ClassBuilder("Radio").persistent().with("channel").with("mode").add_resolved();
    ClassBuilder("Route", VORN_CLASS_ANONYMOUS).with("to").add_resolved();
    const std::string id = vorn_schema_get_id();
    EXPECT_EQ(id.size(), 16U);
    EXPECT_EQ(id.find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_EQ(id, "ea0487a69432431d") << "another daemon has to find the same";

    forget_classes();
    ClassBuilder("Route", VORN_CLASS_ANONYMOUS).with("to").add_resolved();
    ClassBuilder("Radio").persistent().with("mode").with("channel").add_resolved();
    EXPECT_EQ(vorn_schema_get_id(), id);
}

TEST_F(SchemaTest, HasAnotherIdWithAnotherNameTypePersistenceOrVersion)
{
    std::vector<std::string> ids = {vorn_schema_get_id()};
    ClassBuilder("A").with("p").add_resolved();
    ids.emplace_back(vorn_schema_get_id());
    ClassBuilder("B", VORN_CLASS_ANONYMOUS).with("p").add_resolved();
    ids.emplace_back(vorn_schema_get_id());
    ClassBuilder("C").persistent().with("p").add_resolved();
    ids.emplace_back(vorn_schema_get_id());
    ClassBuilder("D").persistent().with("p", unsaved).add_resolved();
    ids.emplace_back(vorn_schema_get_id());
    schemas.declare("a", 1);
    ids.emplace_back(vorn_schema_get_id());
    DeclaredSchemas::forget();
    schemas.declare("a", 2);
    ids.emplace_back(vorn_schema_get_id());
    DeclaredSchemas::forget();
    EXPECT_EQ(vorn_schema_get_id(), ids[4]);
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(std::unique(ids.begin(), ids.end()), ids.end());
}

TEST_F(SchemaTest, IsComparedWithWhatADocumentSays)
{
    EXPECT_EQ(compare("<config/>"), VORN_SCHEMA_SAME);
    schemas.declare("radio", 3);
    schemas.declare("time", 2);
    const std::string head = "<?xml version=\"1.0\"?>\n";
    EXPECT_EQ(compare(head + "<?vorn-schema radio=\"3\" time=\"2\"?>\n<config/>"),
              VORN_SCHEMA_SAME);
    EXPECT_EQ(compare(head + "<?vorn-schema time='2' away=\"9\" radio=\"3\" ?>"), VORN_SCHEMA_SAME);
    EXPECT_EQ(compare(head + "<?vorn-schema radio=\"3\"?>\n<config/>"), VORN_SCHEMA_OLDER);
    EXPECT_EQ(compare(head + "<config/>"), VORN_SCHEMA_OLDER);
    EXPECT_EQ(compare(head + "<?vorn-schema radio=\"2\" time=\"3\"?>"), VORN_SCHEMA_NEWER);
    for (const char *far : {"99999999999", "4294967297", "4294967295"}) {
        EXPECT_EQ(compare(head + "<?vorn-schema radio=\"" + far + "\"?>"), VORN_SCHEMA_NEWER)
            << far;
    }
    EXPECT_EQ(vorn_schema_compare(nullptr, 0), VORN_SCHEMA_SAME);
}

TEST_F(SchemaTest, IsTheSameWithoutTheMemoryToCompare)
{
    schemas.declare("radio", 3);
    const std::string document = "<?vorn-schema radio=\"9\"?>";
    FailEachAllocation(
        [&] { EXPECT_EQ(compare(document) == VORN_SCHEMA_SAME, AllocationFailed()); });
}

/* A document that nobody has changed is saved as it was. */
TEST_F(SchemaTest, IsSaidAmongThoseOfOthersByName)
{
    schemas.declare("radio", 3);
    schemas.declare("time", 2);
    EXPECT_STREQ(said_versions("rad=\"1\" radio=\"9\" radios=\"4\" z=\"5\"").get(),
                 "rad=\"1\" radio=\"3\" radios=\"4\" time=\"2\" z=\"5\"");
}

TEST_F(SchemaTest, IsToldByOneInstructionBeforeTheRoot)
{
    schemas.declare("radio", 3);
    const std::string said = "<?vorn-schema radio=\"3\"?>";
    EXPECT_EQ(compare("\xEF\xBB\xBF \n<!-- a > b --><?other x?>" + said), VORN_SCHEMA_SAME);
    for (const std::string &document :
         {"<config>" + said + "</config>", "<!--" + said + "--><config/>", "x" + said,
          std::string("<?vorn-schema radio=\"3\""), std::string("<?vorn-schemas radio=\"3\"?>"),
          std::string("<?vorn-schemaradio=\"3\"?>"), "<!-- ?>" + said + "--><config/>",
          std::string("<?vorn-schema?>"), std::string("<?vorn-schema radio=\"3?>"),
          std::string("<?vorn-schema radio=3?>"), std::string("<?vorn-schema radio=\"x\"?>"),
          std::string("<?vorn-schema radio?>"), std::string("<?"), std::string("<!--"),
          std::string()})
        EXPECT_EQ(compare(document), VORN_SCHEMA_OLDER) << document;
}

} // namespace vorn::tests
