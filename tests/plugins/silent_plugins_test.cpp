/* SPDX-License-Identifier: MIT */
/*
 * A plugin that is here and declares no version, of which a document tells one: what a firmware
 * finds that was written by a later one. "silent.vorn" is such a plugin, "loud.so" declares version
 * 2, and there is none of the name "away".
 */
#include "config/declared_schemas.h"
#include "config/schema_declaration.h"
#include "core/plugins.h"
#include "support/allocation.h"
#include "support/log.h"
#include "vorn/config.h"
#include "vorn/schema.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

using testing::HasSubstr;
using vorn::tests::CapturedLog;
using vorn::tests::DeclaredSchemas;

/* They stay in the process once they are loaded. */
class SilentPlugins : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        const CapturedLog log{0};
        char path[] = "/tmp/vorn-silent-XXXXXX";
        const std::string folder = std::string(mkdtemp(path)) + "/";
        const std::filesystem::path modules(VORN_TEST_MODULES);
        for (const char *name : {"silent.vorn", "loud.so"})
            std::filesystem::copy_file(modules / "notes.so", folder + name);
        std::filesystem::copy_file(modules / "no_entry.so", folder + "broken.vorn");
        EXPECT_EQ(vorn::load_plugins_of(folder.c_str()), 1) << "one has no entry";
        std::filesystem::remove_all(folder);
        vorn_plugins_current = nullptr;
    }
    SilentPlugins() { schemas.declare("loud", 2); }

    static std::string saying(const std::string &versions)
    {
        const std::string root = "<config><A name=\"a\"/></config>\n";
        return "<?xml version=\"1.0\"?>\n" +
               (versions.empty() ? "" : "<?vorn-schema " + versions + "?>\n") + root;
    }
    static int compare(const std::string &versions)
    {
        const std::string document = saying(versions);
        return vorn_schema_compare(document.data(), document.size());
    }

    DeclaredSchemas schemas;
    CapturedLog log{0};
};

/* Each combination of what the document says and what is here. */
TEST_F(SilentPlugins, AreOfVersionNoneToWhichEveryOtherIsNewer)
{
    struct Row {
        const char *said;
        int result;
    };
    const Row rows[] = {
        /* nothing of anybody */
        {"", VORN_SCHEMA_OLDER},
        /* of one that declares a version: an earlier one, the same, a later one */
        {R"(loud="1")", VORN_SCHEMA_OLDER},
        {R"(loud="2")", VORN_SCHEMA_SAME},
        {R"(loud="3")", VORN_SCHEMA_NEWER},
        /* of one that declares none */
        {R"(loud="2" silent="0")", VORN_SCHEMA_SAME},
        {R"(loud="2" silent="1")", VORN_SCHEMA_NEWER},
        {R"(silent="7" loud="2")", VORN_SCHEMA_NEWER},
        {R"(loud="1" silent="1")", VORN_SCHEMA_NEWER},
        {R"(silent="4294967297")", VORN_SCHEMA_NEWER},
        /* of one that is not here, or can't be loaded */
        {R"(away="1" loud="2")", VORN_SCHEMA_SAME},
        {R"(away="1")", VORN_SCHEMA_OLDER},
        {R"(broken="1" loud="2")", VORN_SCHEMA_SAME},
        {R"(away="1" loud="3")", VORN_SCHEMA_NEWER},
        /* of names that begin alike, and of a whole file name */
        {R"(loud="2" silen="1")", VORN_SCHEMA_SAME},
        {R"(loud="2" silents="1")", VORN_SCHEMA_SAME},
        {R"(loud="2" silent.vorn="1")", VORN_SCHEMA_SAME},
    };
    for (const Row &row : rows)
        EXPECT_EQ(compare(row.said), row.result) << row.said;
}

TEST_F(SilentPlugins, AreOfTheSameVersionAsADocumentThatSaysNothing)
{
    DeclaredSchemas::forget();
    EXPECT_EQ(compare(""), VORN_SCHEMA_SAME);
    EXPECT_EQ(compare(R"(loud="1")"), VORN_SCHEMA_NEWER) << "it is silent now";
    EXPECT_EQ(compare(R"(away="1")"), VORN_SCHEMA_SAME);
}

/* What it saves is migrated when a later firmware reads it. */
TEST_F(SilentPlugins, HaveNoVersionInWhatIsSaved)
{
    EXPECT_STREQ(vorn::said_versions(R"(away="5" loud="9" silent="3" z="1")").get(),
                 R"(away="5" loud="2" z="1")");
    DeclaredSchemas::forget();
    EXPECT_STREQ(vorn::said_versions(R"(silent="3")").get(), "");
}

TEST_F(SilentPlugins, AreNoneForAPluginThatIsAway)
{
    EXPECT_STREQ(vorn::said_versions(R"(away="5" broken="1")").get(),
                 R"(away="5" broken="1" loud="2")");
}

/* It is no save: what nobody here can change keeps its version. */
TEST_F(SilentPlugins, LeaveTheVersionOfADocumentThatIsOnlyMigrated)
{
    char *losses = nullptr;
    char *migrated =
        vorn_config_migrate(saying(R"(away="4" loud="1" silent="3")").c_str(), nullptr, &losses);
    EXPECT_THAT(std::string(migrated ? migrated : ""),
                HasSubstr(R"(<?vorn-schema away="4" loud="2" silent="3"?>)"));
    EXPECT_STREQ(losses, "silent: nothing is known here of version 3\n");
    std::free(migrated);
    std::free(losses);
}

TEST_F(SilentPlugins, NeedNoMemoryToBeFound)
{
    vorn::DeclaredVersion said = {"silent", 6, 1};
    vorn::tests::NeedsNoAllocation([&] { EXPECT_TRUE(vorn::is_of_silent_plugin(said)); });
    said.length = 5;
    EXPECT_FALSE(vorn::is_of_silent_plugin(said));
}

} // namespace
