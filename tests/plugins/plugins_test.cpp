/* SPDX-License-Identifier: MIT */
#include "core/plugins.h"
#include "support/allocation.h"
#include "support/log.h"
#include "vorn/plugin.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAre;
using vorn::tests::AllocationFailed;
using vorn::tests::AllocationsAllowed;
using vorn::tests::CapturedLog;
using vorn::tests::CapturedStandardError;
using vorn::tests::FailEachAllocation;

namespace fs = std::filesystem;

class Plugins : public testing::Test {
protected:
    Plugins()
    {
        char path[] = "/tmp/vorn-plugins-XXXXXX";
        folder = std::string(mkdtemp(path)) + "/";
    }
    ~Plugins() override
    {
        fs::remove_all(folder);
        vorn_plugins_current = nullptr;
    }

    void put(const std::string &module, const std::string &name)
    {
        fs::copy_file(fs::path(VORN_TEST_MODULES) / (module + ".so"), folder + name);
    }
    void write(const std::string &name) { std::ofstream(folder + name) << "no shared object"; }
    std::vector<std::string> entered()
    {
        std::vector<std::string> names;
        std::istringstream lines(log.text());
        for (std::string line; std::getline(lines, line);) {
            const std::string start = "vorn: entered ";
            if (line.rfind(start, 0) == 0) names.push_back(line.substr(start.size()));
        }
        return names;
    }

    std::string folder;
    CapturedLog log{0};
};

TEST_F(Plugins, AreTheFilesWithTheRightEndings)
{
    for (const char *name :
         {"a.vorn", "b.so", "c.txt", "d.vorn.bak", ".vorn", ".so", "vorn", "so"}) {
        put("notes", name);
    }

    EXPECT_EQ(vorn::load_plugins_of(folder.c_str()), 0);

    EXPECT_THAT(entered(), UnorderedElementsAre("a.vorn as a.vorn", "b.so as b.so"));
}

TEST_F(Plugins, MayBeNone)
{
    EXPECT_EQ(vorn::load_plugins_of(folder.c_str()), 0);

    EXPECT_EQ(log.text(), "");
}

TEST_F(Plugins, AreNamedWhileTheyAreLoaded)
{
    put("notes", "a.vorn");
    log.set_level(1);

    vorn::load_plugins_of(folder.c_str());

    EXPECT_EQ(log.text(), "vorn: Reading plugins.\nvorn: Loading a.vorn.\n"
                          "vorn: entered a.vorn as a.vorn\n");
}

TEST_F(Plugins, NeedADirectory)
{
    CapturedStandardError errors;

    EXPECT_EQ(vorn::load_plugins_of("/no/such/folder/"), 1);

    EXPECT_EQ(errors.text(), "vorn: Unable to open plugins directory \"/no/such/folder/\": "
                             "No such file or directory\n");
}

TEST_F(Plugins, ThatFailDoNotKeepTheOthersOut)
{
    put("notes", "a.vorn");
    put("no_entry", "b.vorn");
    write("c.vorn");
    put("notes", "d.vorn");

    EXPECT_EQ(vorn::load_plugins_of(folder.c_str()), 1);

    EXPECT_EQ(entered().size(), 2u);
}

TEST_F(Plugins, ThatAreNoSharedObjectsAreReportedAtLevel1)
{
    write("c.vorn");
    EXPECT_EQ(vorn::load_plugins_of(folder.c_str()), 1);
    EXPECT_EQ(log.take(), "");

    log.set_level(1);
    vorn::load_plugins_of(folder.c_str());

    EXPECT_THAT(log.text(), HasSubstr("vorn: Unable to load plugin \"" + folder +
                                      "c.vorn\": " + folder + "c.vorn: "));
}

TEST_F(Plugins, WithoutAnEntryAreReported)
{
    put("no_entry", "b.vorn");
    log.set_level(1);

    EXPECT_EQ(vorn::load_plugins_of(folder.c_str()), 1);

    EXPECT_THAT(log.text(), HasSubstr("vorn: Plugin does not contain vorn_plugin_init: "));
}

TEST_F(Plugins, WithANullEntryAreReported)
{
    put("null_entry", "n.vorn");
    log.set_level(1);

    EXPECT_EQ(vorn::load_plugins_of(folder.c_str()), 1);

    EXPECT_THAT(log.text(), HasSubstr("vorn: vorn_plugin_init is set to null.\n"));
}

TEST_F(Plugins, AreResolvedWhenTheyAreLoaded)
{
    put("unresolved", "u.vorn");
    log.set_level(1);

    EXPECT_EQ(vorn::load_plugins_of(folder.c_str()), 1);

    EXPECT_THAT(log.text(), HasSubstr("undefined symbol: vorn_no_such_function"));
}

TEST_F(Plugins, KeepTheirNameForTheLifeOfTheProcess)
{
    put("notes", "a.vorn");
    vorn::load_plugins_of(folder.c_str());
    const char *first = vorn_plugins_current;
    put("notes", "b.vorn");
    fs::remove(folder + "a.vorn");

    vorn::load_plugins_of(folder.c_str());

    EXPECT_STREQ(first, "a.vorn");
    EXPECT_STREQ(vorn_plugins_current, "b.vorn");
}

TEST_F(Plugins, HaveNamesOf255Characters)
{
    const std::string name = std::string(250, 'n') + ".vorn";
    put("notes", name);

    EXPECT_EQ(vorn::load_plugins_of(folder.c_str()), 0);

    EXPECT_EQ(entered().size(), 1u);
}

using Handshakes = Plugins;

TEST_F(Handshakes, AcceptExactlyOneVersion)
{
    vorn_plugins_current = "mine.vorn";

    for (const char *version : {"1.1", "1", "1.0 ", "", "01.0"}) {
        EXPECT_EQ(vorn_plugin_new(version), nullptr);
        EXPECT_EQ(log.take(), "vorn: Plugin \"mine.vorn\" version \"" + std::string(version) +
                                  "\" is unsupported.\n");
    }
    EXPECT_EQ(vorn_plugin_new(nullptr), nullptr);
}

TEST_F(Handshakes, GiveARecordWithACopyOfTheName)
{
    std::string name = "mine.vorn";
    vorn_plugins_current = name.c_str();

    vorn_plugin *plugin = vorn_plugin_new("1.0");
    name[0] = 'X';

    EXPECT_STREQ(plugin->name, "mine.vorn");
    std::free(plugin->name);
    std::free(plugin);
}

TEST_F(Handshakes, GiveNothingWithoutMemory)
{
    vorn_plugins_current = "mine.vorn";

    FailEachAllocation([] {
        vorn_plugin *plugin = vorn_plugin_new("1.0");

        const AllocationsAllowed allowed;
        EXPECT_EQ(plugin == nullptr, AllocationFailed());
        if (!plugin) return;
        std::free(plugin->name);
        std::free(plugin);
    });
    EXPECT_EQ(log.text(), "");
}

} // namespace
