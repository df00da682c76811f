/* SPDX-License-Identifier: MIT */
#include "core/plugin_page.h"
#include "core/plugins.h"
#include "support/allocation.h"
#include "support/log.h"
#include "vorn/plugin.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <dlfcn.h>

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
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

    bool is_loaded(const std::string &name)
    {
        void *library = dlopen((folder + name).c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (library) dlclose(library);
        return library != nullptr;
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

TEST_F(Plugins, AreSoughtWhereTheDeviceHasThem)
{
    if (fs::exists("/usr/lib/vorn/plugins")) GTEST_SKIP() << "this machine has plugins";
    CapturedStandardError errors;

    EXPECT_EQ(vorn_plugins_init(), 1);

    EXPECT_EQ(errors.text(), "vorn: Unable to open plugins directory \"/usr/lib/vorn/plugins/\": "
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

/* Which they get when another plugin, in its entry, has what speaks against them forgotten. */
TEST_F(Plugins, ThatFailAtAnotherChanceFailTheLoading)
{
    const std::string page = folder + "page";
    write("left.vorn");
    vorn::open_plugin_page(page.c_str());
    const vorn::PluginOwner owner =
        vorn::place_on_page((folder + "left.vorn").c_str(), "left.vorn");
    vorn::slot_of(owner)->deaths = vorn::deaths_until_left_out;
    vorn::load_plugin(folder.c_str(), "left.vorn");
    EXPECT_THAT(log.take(), HasSubstr("\"left.vorn\" is left out"));

    vorn::forget_deaths_of(*vorn::slot_of(owner));
    fs::remove(folder + "left.vorn");

    EXPECT_EQ(vorn::load_plugins_of(folder.c_str()), 1);
    vorn::close_plugin_page();
}

TEST_F(Plugins, ThatAreNoSharedObjectsAreReportedAtLevel1)
{
    write("c.vorn");
    EXPECT_EQ(vorn::load_plugins_of(folder.c_str()), 1);
    EXPECT_EQ(log.take(), "");

    log.set_level(1);
    vorn::load_plugins_of(folder.c_str());

    EXPECT_THAT(log.text(), ContainsRegex("vorn: Unable to load plugin \"" + folder +
                                          "c.vorn\": .*" + folder + "c.vorn: "));
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
#ifndef __GLIBC__
    GTEST_SKIP() << "to other C libraries a symbol that is null is none";
#endif
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

    EXPECT_THAT(log.text(), ContainsRegex("Unable to load plugin .*vorn_no_such_function"));
}

TEST_F(Plugins, DoNotSeeTheSymbolsOfOneAnother)
{
    put("no_entry", "a.vorn");
    vorn::load_plugins_of(folder.c_str());
    fs::remove(folder + "a.vorn");
    put("neighbour", "b.vorn");
    log.set_level(1);

    EXPECT_EQ(vorn::load_plugins_of(folder.c_str()), 1);

    EXPECT_THAT(log.text(), ContainsRegex("Unable to load plugin .*nothing_in_particular"));
}

TEST_F(Plugins, StayLoadedEvenWithoutAnEntry)
{
    put("no_entry", "a.vorn");
    put("null_entry", "b.vorn");

    vorn::load_plugins_of(folder.c_str());

    EXPECT_TRUE(is_loaded("a.vorn"));
    EXPECT_TRUE(is_loaded("b.vorn"));
}

TEST_F(Plugins, AreNotEnteredWithoutMemory)
{
    put("notes", "a.vorn");

    FailEachAllocation([&] {
        vorn_plugins_current = nullptr;
        const int result = vorn::load_plugins_of(folder.c_str());

        const AllocationsAllowed allowed;
        const bool entered = log.take().find("entered") != std::string::npos;
        EXPECT_EQ(result, entered ? 0 : 1);
        EXPECT_EQ(vorn_plugins_current != nullptr, entered);
    });
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
}

TEST_F(Handshakes, NeedAVersion)
{
    log.set_level(1);

    EXPECT_EQ(vorn_plugin_new(nullptr), nullptr);

    EXPECT_EQ(log.text(), "vorn: Null version.\n");
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

/* The version, which is only noted, may be lacking. */
TEST_F(Handshakes, GiveNothingWithoutMemory)
{
    constexpr int needed = 2;
    vorn_plugins_current = "mine.vorn";

    int refused = 0;
    FailEachAllocation(
        [&] {
            refused++;
            vorn_plugin *plugin = vorn_plugin_new("1.0");

            const AllocationsAllowed allowed;
            EXPECT_EQ(plugin == nullptr, refused <= needed);
            if (!plugin) return;
            std::free(plugin->name);
            std::free(plugin);
        },
        needed);
    EXPECT_EQ(log.text(), "");
}

} // namespace
