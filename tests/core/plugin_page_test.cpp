/* SPDX-License-Identifier: MIT */
/* The page that outlives a daemon; each opening below is the next daemon's. */
#include "core/plugin_page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

using namespace vorn;

namespace fs = std::filesystem;

/* Attack. */
class PluginPages : public testing::Test {
protected:
    PluginPages()
    {
        char name[] = "/tmp/vorn-page-XXXXXX";
        folder = mkdtemp(name);
        path = folder + "/page";
        put("a.vorn", "the plugin");
    }
    ~PluginPages() override
    {
        close_plugin_page();
        fs::remove_all(folder);
    }

    void put(const std::string &name, const std::string &text) const
    {
        std::ofstream(folder + "/" + name) << text;
    }
    void open() const { open_plugin_page(path.c_str()); }
    PluginOwner place(const std::string &name = "a.vorn") const
    {
        return place_on_page((folder + "/" + name).c_str(), name.c_str());
    }

    /* As if the process ended there. */
    void die_in(Callback callback, const std::string &name = "a.vorn") const
    {
        open();
        *code_under_way = InWord{place(name), callback}.word();
        close_plugin_page();
    }

    std::uint32_t deaths(const std::string &name = "a.vorn") const
    {
        open();
        const PluginSlot *slot = slot_of(place(name));
        const std::uint32_t count = slot ? slot->deaths : 0;
        close_plugin_page();
        return count;
    }

    struct InWord {
        PluginOwner owner;
        Callback callback;
        std::uint32_t word() const
        {
            const InPlugin watched(owner, callback);
            return *code_under_way;
        }
    };

    std::string folder;
    std::string path;
};

TEST_F(PluginPages, CountDeathsInAPluginsCode)
{
    die_in(Callback::commit);
    EXPECT_EQ(deaths(), 1u);

    die_in(Callback::timer);

    open();
    const PluginSlot *slot = slot_of(place());
    EXPECT_EQ(slot->deaths, 2u);
    EXPECT_STREQ(word_for(slot->callback), "timer");
}

TEST_F(PluginPages, CountNoneInTheDaemonsOwnCode)
{
    open();
    place();
    close_plugin_page();

    EXPECT_EQ(deaths(), 0u);
}

TEST_F(PluginPages, TellWhoseTurnItIsAgainAfterAnothers)
{
    open();
    const PluginOwner outer = place();
    const InPlugin first(outer, Callback::commit);
    {
        const InPlugin second(no_plugin, Callback::timer);
        EXPECT_EQ(current_plugin(), no_plugin);
    }

    EXPECT_EQ(current_plugin(), outer);
}

TEST_F(PluginPages, KnowAPluginByItsCode)
{
    const void *code = dlsym(RTLD_DEFAULT, "getpid"); /* in a file of its own, as a plugin's is */
    open();
    const PluginOwner owner = place();
    note_code(owner, code);
    {
        const InPlugin watched = InPlugin::by_code(code, Callback::validator);
        EXPECT_EQ(current_plugin(), owner);
    }
    const InPlugin unknown =
        InPlugin::by_code(reinterpret_cast<const void *>(&place_on_page), Callback::validator);
    EXPECT_EQ(current_plugin(), no_plugin);
}

TEST_F(PluginPages, LeaveAPluginOutAfterThreeDeaths)
{
    for (int i = 0; i < 3; i++) {
        open();
        EXPECT_FALSE(is_left_out(*slot_of(place()))) << i;
        close_plugin_page();
        die_in(Callback::init);
    }

    open();
    EXPECT_TRUE(is_left_out(*slot_of(place())));
}

TEST_F(PluginPages, ForgetWhoIsUnderNoSuspicion)
{
    die_in(Callback::init, "a.vorn");
    open();
    for (unsigned int i = 1; i < most_plugins; i++)
        EXPECT_NE(place(std::to_string(i) + ".vorn"), no_plugin) << i;
    EXPECT_EQ(place("one-too-many.vorn"), no_plugin);
    close_plugin_page();

    open();
    EXPECT_NE(place("one-too-many.vorn"), no_plugin);
    EXPECT_EQ(find_slot("a.vorn")->deaths, 1u);
}

TEST_F(PluginPages, WatchNobodyWhoseNameIsTooLongOrStrange)
{
    open();

    EXPECT_NE(place(std::string(63, 'n')), no_plugin);
    EXPECT_EQ(place(std::string(64, 'n')), no_plugin);
    EXPECT_EQ(place("a\nb.vorn"), no_plugin);
}

TEST_F(PluginPages, GiveAFileWithOtherContentAnotherChance)
{
    die_in(Callback::init);
    die_in(Callback::init);
    EXPECT_EQ(deaths(), 2u);
    struct stat status;
    stat((folder + "/a.vorn").c_str(), &status);
    const struct timespec times[] = {status.st_atim, status.st_mtim};

    put("a.vorn", "The plugin");
    utimensat(AT_FDCWD, (folder + "/a.vorn").c_str(), times, 0);

    EXPECT_EQ(deaths(), 0u);
}

TEST_F(PluginPages, GiveAFileOfAnotherLengthAnotherChanceAfterTheFirstDeath)
{
    die_in(Callback::init);

    put("a.vorn", "the plugin, mended");

    EXPECT_EQ(deaths(), 0u);
}

/* As an image does that is unpacked into memory at each boot. */
TEST_F(PluginPages, KnowAFileAgainThatWasWrittenAnew)
{
    for (std::uint32_t boot = 1; boot <= 4; boot++) {
        die_in(Callback::init);
        put("b.vorn", "the plugin");
        const struct timespec times[] = {{boot, 0}, {boot, 0}};
        utimensat(AT_FDCWD, (folder + "/b.vorn").c_str(), times, 0);

        fs::rename(folder + "/b.vorn", folder + "/a.vorn");

        EXPECT_EQ(deaths(), boot);
    }
}

TEST_F(PluginPages, EndTheRowOfThoseThatWereLoaded)
{
    die_in(Callback::init);
    open();
    place();
    forget_deaths();
    EXPECT_EQ(find_slot("a.vorn")->deaths, 1u) << "it was not";

    find_slot("a.vorn")->is_loaded = true;
    forget_deaths();

    EXPECT_EQ(find_slot("a.vorn")->deaths, 0u);
}

TEST_F(PluginPages, BlameNobodyForAnOrderlyEnd)
{
    open();
    *code_under_way = InWord{place(), Callback::commit}.word();
    end_in_order();
    close_plugin_page();

    EXPECT_EQ(deaths(), 0u);
}

TEST_F(PluginPages, EndTheRowAtAnOrderlyEndUnlessItComesInAPluginsCode)
{
    die_in(Callback::init);
    for (const bool in_own_code : {false, true}) {
        open();
        const PluginOwner owner = place();
        slot_of(owner)->is_loaded = true;
        if (!in_own_code) *code_under_way = InWord{owner, Callback::commit}.word();
        end_in_order();
        close_plugin_page();

        EXPECT_EQ(deaths(), in_own_code ? 0u : 1u);
    }
}

TEST_F(PluginPages, BelieveNothingOfAForeignFile)
{
    for (const std::string &text :
         {std::string(), std::string("short"), std::string(sizeof(PluginPage), '\xff'),
          std::string(100000, 'x')}) {
        std::ofstream(path) << text;
        chmod(path.c_str(), 0600);

        EXPECT_EQ(deaths(), 0u) << text.size();
        EXPECT_EQ(fs::file_size(path), sizeof(PluginPage));
    }
}

TEST_F(PluginPages, BelieveNoPlaceThatIsTorn)
{
    die_in(Callback::init);
    open();
    for (PluginSlot &slot : plugin_page->slots)
        std::memset(&slot, 0xa5, sizeof slot);
    for (const std::uint32_t word : {0xffffffffu, 0x00000141u, 0x0000ff01u, 0x00000001u}) {
        plugin_page->under_way = word;
        close_plugin_page();
        EXPECT_EQ(deaths(), 0u) << word;
        open();
    }
}

TEST_F(PluginPages, LeaveWhatALinkLeadsToAlone)
{
    put("other", "somebody's");
    chmod((folder + "/other").c_str(), 0600);
    for (const bool is_symbolic : {true, false}) {
        fs::remove(path);
        if (is_symbolic) {
            fs::create_symlink(folder + "/other", path);
        } else {
            fs::create_hard_link(folder + "/other", path);
        }

        die_in(Callback::init);

        EXPECT_EQ(fs::file_size(folder + "/other"), 10u);
        EXPECT_EQ(fs::file_size(path), sizeof(PluginPage));
    }
}

TEST_F(PluginPages, TakeNoFileThatOthersMayWrite)
{
    die_in(Callback::init);
    chmod(path.c_str(), 0666);

    EXPECT_EQ(deaths(), 0u);
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

/* A store into a file that found no room on the disk would end the daemon. */
TEST_F(PluginPages, AreNoFileWhereThereIsNoRoomForOne)
{
    struct rlimit before;
    getrlimit(RLIMIT_FSIZE, &before);
    const struct rlimit small = {sizeof(PluginPage) / 2, before.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    open();
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, SIG_DFL);

    EXPECT_FALSE(fs::exists(path));
    EXPECT_NE(place(), no_plugin);
}

TEST_F(PluginPages, AreDoneWithoutWhereNoneCanBe)
{
    fs::create_directories(path + "/x");

    open();

    const PluginOwner owner = place();
    EXPECT_NE(owner, no_plugin);
    {
        const InPlugin watched(owner, Callback::check);
        EXPECT_EQ(current_plugin(), owner);
    }
    end_in_order();
}

} // namespace
