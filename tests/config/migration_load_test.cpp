/* SPDX-License-Identifier: MIT */
/* A load of a document of an earlier version, and what a save says of versions. */
#include "config/config_fixture.h"
#include "config/declared_schemas.h"
#include "config/kept_pieces.h"
#include "vorn/config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace vorn::tests {

namespace {

using testing::HasSubstr;
using testing::Not;

class MigrationOfALoad : public ConfigTest {
protected:
    ~MigrationOfALoad() override { vorn_config_forget_kept(); }

    void read(const std::string &body, const std::string &versions = "")
    {
        const std::string said = versions.empty() ? "" : "<?vorn-schema " + versions + "?>";
        write(file, said + "<config>" + body + "</config>");
        EXPECT_TRUE(read_file());
    }
    bool read_file()
    {
        unsigned int unknown = 0;
        Owned<KeptPieces> kept = make<KeptPieces>();
        ConfigDocument document = parse_config(file.c_str());
        if (!document || !kept) return false;
        if (!read_instances(document, store, changes.get(), unknown, kept.get())) return false;
        delete std::exchange(kept_pieces, kept.release());
        return true;
    }
    std::string saved_file()
    {
        EXPECT_TRUE(save());
        return content(file);
    }

    DeclaredSchemas schemas;
};

constexpr char declaration[] = "<?xml version=\"1.0\"?>\n";

} // namespace

TEST_F(MigrationOfALoad, TakesTheStepsAndSaysSo)
{
    schemas.declare("radio", 2,
                    {VORN_RENAME_CLASS(1, "Wlan", "Radio"), VORN_DROP_CLASS(1, "Old"),
                     VORN_DROP_PROPERTY(2, "Radio", "turbo")});
    read("<Wlan name=\"a\"><turbo>1</turbo><channel>6</channel></Wlan>"
         "<Old/><Wlan name=\"b\"><turbo>1</turbo></Wlan><Old/><Old/>");
    EXPECT_EQ(log.text(), "vorn: Schema \"radio\", version 1: dropped 3 of \"Old\".\n"
                          "vorn: Schema \"radio\", version 2: dropped 2 of \"Radio\": turbo.\n"
                          "vorn: Schema \"radio\": migrated from version 0 to 2.\n");
    EXPECT_EQ(saved_file(), declaration + std::string("<?vorn-schema radio=\"2\"?>\n<config>\n"
                                                      "  <Radio name=\"a\">\n"
                                                      "    <channel>6</channel>\n  </Radio>\n"
                                                      "  <Radio name=\"b\"/>\n</config>\n"));
}

TEST_F(MigrationOfALoad, TakesNoneForADocumentOfThisOrALaterVersion)
{
    schemas.declare("radio", 1, {VORN_RENAME_PROPERTY(1, "Radio", "mode", "channel")});
    read("<Radio name=\"a\"><mode>1</mode></Radio>", "radio=\"1\"");
    EXPECT_EQ(log.take(), "");
    read("<Radio name=\"b\"><mode>1</mode></Radio>", "radio=\"2\"");
    EXPECT_EQ(log.take(), "vorn: Schema \"radio\": the document is of version 2, later than 1, and "
                          "is read as it is.\n");
    EXPECT_THAT(saved_file(), HasSubstr("<mode>1</mode>"));
}

TEST_F(MigrationOfALoad, KeepsWhatStandsInTheWay)
{
    schemas.declare("radio", 1,
                    {VORN_RENAME_CLASS(1, "Wlan", "Radio"),
                     VORN_RENAME_PROPERTY(1, "Radio", "chan", "channel")});
    read("<Radio name=\"a\"><chan>1</chan><channel>2</channel></Radio><Wlan name=\"a\"/>");
    EXPECT_THAT(saved_file(), HasSubstr("  <Radio name=\"a\">\n    <channel>2</channel>\n"
                                        "    <chan>1</chan>\n  </Radio>\n  <Wlan name=\"a\"/>\n"));
}

TEST_F(MigrationOfALoad, SaysNothingOfVersionsWhereNobodyDeclaresAny)
{
    read("<Radio name=\"a\"/>");
    EXPECT_THAT(saved_file(), Not(HasSubstr("vorn-schema")));
}

/* When the plugin is back the file would look older than it is. */
TEST_F(MigrationOfALoad, KeepsTheVersionOfAPluginThatIsAwayAndHasNoPieces)
{
    read("<Radio name=\"a\"/>", "away=\"3\"");
    const std::string first = saved_file();
    EXPECT_THAT(first, HasSubstr("<?vorn-schema away=\"3\"?>"));
    EXPECT_TRUE(read_file());
    EXPECT_EQ(saved_file(), first);

    EXPECT_EQ(vorn_config_forget_kept_of("Radio", nullptr), 0U);
    EXPECT_EQ(saved_file(), first) << "nothing of it was forgotten";
    EXPECT_EQ(vorn_config_forget_kept_of(nullptr, nullptr), 0U);
    EXPECT_THAT(saved_file(), Not(HasSubstr("vorn-schema")));
}

TEST_F(MigrationOfALoad, KeepsTheVersionsOfPluginsThatAreAwayWithTheirPieces)
{
    schemas.declare("radio", 1);
    read("<Radio name=\"a\"/><Toaster/>", "away=\"3\" radio=\"0\" zone=\"2\"");
    const std::string first = declaration + std::string("<?vorn-schema away=\"3\" radio=\"1\" "
                                                        "zone=\"2\"?>\n<config>\n");
    EXPECT_THAT(saved_file(), HasSubstr(first));
    vorn_config_forget_kept();
    EXPECT_THAT(saved_file(), HasSubstr("<?vorn-schema radio=\"1\"?>"));
}

TEST_F(MigrationOfALoad, IsWholeOrSaysThatMemoryRanOut)
{
    schemas.declare("radio", 1,
                    {VORN_RENAME_CLASS(1, "Wlan", "Radio"),
                     VORN_DEFAULT_VALUE(1, "Radio", "mode", "g"),
                     VORN_MOVE_PROPERTY(1, "Radio", "serial", "Key", nullptr)});
    const auto load = [&] {
        {
            const AllocationsAllowed allowed;
            changes.reset();
            vorn_instances_delete_all(store);
            store = vorn_instances_new();
            changes.reset(vorn_changes_new(store));
            write(file, "<?vorn-schema away='1'?><config><Wlan name=\"a\"><serial>1</serial>"
                        "</Wlan><Toaster/></config>");
        }
        const bool whole = read_file();
        const AllocationsAllowed allowed;
        EXPECT_EQ(!whole, AllocationFailed());
        if (!whole) return;
        EXPECT_NE(vorn_instances_get(store, "Key", "a"), nullptr);
    };
    FailEachAllocation(load, 30);
}

TEST_F(MigrationOfALoad, IsSavedWholeOrNotWithoutMemory)
{
    schemas.declare("radio", 1);
    FailEachAllocation(
        [&] {
            const Text document = config_document(store);
            EXPECT_EQ(!document, AllocationFailed());
        },
        3);
}

} // namespace vorn::tests
