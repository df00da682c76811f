/* SPDX-License-Identifier: MIT */
/* When the boot loader is told, with programs and timers that do what a test says. */
#include "api/query_fixture.h"
#include "vorn/eloop.h"
#include "vorn/explanation.h"
#include "vorn/plugin.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

extern "C" {
#include "kept.h"
void vorn_plugin_init(void);
}

namespace {

struct Surroundings {
    std::map<eloop_timeout_handler, unsigned int> timers; /* with their seconds */
    std::vector<std::string> runs;
    kept *run = nullptr; /* while one runs */
    eloop_sock_handler hear = nullptr;
    std::string words; /* of the run that ends */
    int status = 0;
    std::size_t runs_before_save = 0;
    std::string command_line;
};
Surroundings device;

} // namespace

extern "C" {
int __wrap_eloop_register_timeout(unsigned int seconds, unsigned int, eloop_timeout_handler handler,
                                  void *, void *)
{
    EXPECT_EQ(device.timers.count(handler), 0u) << "twice";
    device.timers[handler] = seconds;
    return 0;
}
int __wrap_eloop_cancel_timeout(eloop_timeout_handler handler, void *, void *)
{
    return static_cast<int>(device.timers.erase(handler));
}
int __wrap_eloop_register_read_sock(int, eloop_sock_handler handler, void *, void *)
{
    device.hear = handler;
    return 0;
}
void __wrap_eloop_unregister_read_sock(int descriptor)
{
    EXPECT_EQ(descriptor, 99) << "nothing is heard";
    device.hear = nullptr;
}
int __wrap_kept_start(kept *run, const kept_plan *plan)
{
    std::string line;
    for (const char *const *each = plan->arguments; *each; each++)
        line += (line.empty() ? "" : " ") + std::string(*each);
    device.runs.push_back(line);
    device.run = run;
    run->pipe = 99;
    return 0;
}
int __wrap_kept_hear(kept *run)
{
    std::snprintf(run->output, run->room, "%s", device.words.c_str());
    run->status = device.status;
    run->pipe = -1;
    return 0;
}
void __wrap_kept_give_up(kept *run)
{
    run->pipe = -1;
    device.run = nullptr;
}
FILE *__wrap_whole_file_read(const char *path)
{
    if (std::string(path) != "/proc/cmdline" || device.command_line.empty()) return nullptr;
    return fmemopen(device.command_line.data(), device.command_line.size(), "r");
}
}

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using vorn::tests::QueryTest;

constexpr char look[] = "fw_printenv upgrade_available";
constexpr char mark[] = "fw_setenv -s -";

class FirmwareMarks : public QueryTest {
protected:
    FirmwareMarks() : QueryTest(add_plugin)
    {
        put("firmware", nullptr, {});
        put("history", nullptr, {{"proven", "yes"}, {"upgrade", "none"}});
    }
    ~FirmwareMarks() override
    {
        use("none");
        vorn_process_no_actions = 0;
    }

    static void add_plugin()
    {
        using vorn::tests::ClassBuilder;
        device = {};
        vorn_provider *save = vorn_provider_new("save");
        vorn_provider_set_commit_fn(
            save, [](vorn_commit_info *) { device.runs_before_save = device.runs.size(); },
            nullptr);
        EXPECT_EQ(vorn_providers_add(save), 0);
        ClassBuilder("history", VORN_CLASS_SINGLETON).with("proven").with("upgrade").add_resolved();
        vorn_plugin_init();
        vorn_class_resolve(vorn_classes_get("firmware"));
    }

    /* The only one there is. */
    void time_passes()
    {
        ASSERT_EQ(device.timers.size(), 1u);
        let([] {
            const eloop_timeout_handler timer = device.timers.begin()->first;
            device.timers.clear();
            timer(nullptr, nullptr);
        });
    }
    static unsigned int seconds()
    {
        return device.timers.size() == 1 ? device.timers.begin()->second : 9999;
    }
    void program_ends(int status, const std::string &words = "")
    {
        device.status = status;
        device.words = words;
        ASSERT_TRUE(device.hear);
        device.hear(99, nullptr, nullptr);
    }
    /* The boot is over, with a boot loader that is to be told. */
    void boot()
    {
        set_method("u-boot");
        time_passes();
        EXPECT_THAT(device.runs, ElementsAre(look));
    }
    void set_method(const std::string &name) const
    {
        vorn_instance_set_value(vorn_instances_get_singleton(vorn::running_config, "firmware"),
                                "method", name.c_str());
    }
    void history_says(const char *property, const char *value) const
    {
        vorn_instance_set_value(vorn_instances_get_singleton(vorn::running_config, "history"),
                                property, value);
    }
    std::string use(const std::string &method, const std::string &root = "lsql")
    {
        return ask("<" + root + "><update><firmware><method>" + method +
                   "</method></firmware></update></" + root + ">");
    }
    std::string told(const std::string &property)
    {
        const std::string answer =
            ask("<lsql><select><firmware><" + property + "/></firmware></select></lsql>");
        const auto begin = answer.find("<" + property + ">") + property.size() + 2;
        return answer.substr(begin, answer.find('<', begin) - begin);
    }
};

TEST_F(FirmwareMarks, AreMadeOnceWhenAllIsWell)
{
    boot();
    program_ends(0, "upgrade_available=1\n");
    EXPECT_EQ(seconds(), 0u);
    time_passes();
    EXPECT_THAT(device.runs, ElementsAre(look, mark));
    program_ends(0);
    EXPECT_EQ(told("state"), "good");
    EXPECT_EQ(told("good"), "yes");
    EXPECT_THAT(device.timers, IsEmpty());
}

TEST_F(FirmwareMarks, AreTriedAgainAfterAMinute)
{
    boot();
    program_ends(0, "upgrade_available=1\n");
    time_passes();
    program_ends(256, "No bus\n");
    EXPECT_EQ(told("state"), "failed: No bus");
    EXPECT_EQ(told("good"), "no");
    EXPECT_EQ(seconds(), 60u);

    time_passes();
    EXPECT_THAT(device.runs, ElementsAre(look, mark, mark));
    program_ends(0);
    EXPECT_EQ(told("state"), "good");
}

/* What it printed before it failed may be half of it. */
TEST_F(FirmwareMarks, AreMadeAfterALookThatFailed)
{
    boot();
    program_ends(256, "upgrade_available=0\n");
    EXPECT_EQ(told("good"), "no");
    time_passes();
    EXPECT_THAT(device.runs, ElementsAre(look, mark));
}

TEST_F(FirmwareMarks, WaitUntilTheHistoryKnowsThatItStaysUp)
{
    history_says("proven", "no");
    boot();
    program_ends(0, "upgrade_available=1\n");
    time_passes();
    EXPECT_EQ(told("state"), "waiting to be proven");
    EXPECT_EQ(seconds(), 2u);

    history_says("proven", "yes");
    history_says("upgrade", "pending");
    time_passes();
    EXPECT_EQ(told("state"), "waiting to be confirmed");
    EXPECT_EQ(seconds(), 2u);

    history_says("upgrade", "confirmed");
    time_passes();
    EXPECT_THAT(device.runs, ElementsAre(look, mark));
}

TEST_F(FirmwareMarks, AreNotMadeWithoutActions)
{
    vorn_process_no_actions = 1;
    set_method("u-boot");
    time_passes();
    EXPECT_EQ(told("state"), "waiting to be proven");
    use("swupdate");
    EXPECT_THAT(device.runs, IsEmpty());
    EXPECT_THAT(device.timers, IsEmpty());
}

/* Else it would be told that it is good what nobody has asked about. */
TEST_F(FirmwareMarks, WaitForNothingThatAnotherMethodHasBegun)
{
    history_says("proven", "no");
    boot();
    program_ends(0, "upgrade_available=1\n");
    time_passes();
    EXPECT_EQ(told("state"), "waiting to be proven");

    use("swupdate");
    program_ends(0, "/dev/mmcblk0p3\n");
    program_ends(0, "ustate=0\n");
    EXPECT_EQ(told("state"), "good");
    EXPECT_THAT(device.timers, IsEmpty());
}

/* Installed, and being tested. */
TEST_F(FirmwareMarks, AreMadeForWhatSwupdateTriesOut)
{
    history_says("upgrade", "pending");
    boot();
    for (const char *on_trial : {"ustate=1\n", "ustate=2\n", "ustate=\"2\"\n"}) {
        use("none");
        use("swupdate");
        program_ends(0, "/dev/mmcblk0p3\n");
        program_ends(0, on_trial);
        EXPECT_EQ(told("good"), "no") << on_trial;
        time_passes();
        EXPECT_EQ(told("state"), "waiting to be confirmed") << on_trial;
    }
    history_says("upgrade", "confirmed");
    time_passes();
    EXPECT_THAT(device.runs.back(), mark);
    program_ends(0);
    EXPECT_EQ(told("good"), "yes");
}

/* The update has failed, which is still to be reported; what runs is what was there before. */
TEST_F(FirmwareMarks, LeaveWhatSwupdateHasToReportAlone)
{
    boot();
    use("swupdate");
    program_ends(0, "/dev/mmcblk0p3\n");
    program_ends(0, "ustate=3\n");
    EXPECT_EQ(told("state"), "good");
    EXPECT_THAT(device.timers, IsEmpty());
}

TEST_F(FirmwareMarks, AreNotMadeAgainWhenTheSameMethodIsSet)
{
    boot();
    program_ends(0, "upgrade_available=0\n");
    use("u-boot");
    EXPECT_THAT(device.runs, ElementsAre(look));
    EXPECT_EQ(told("state"), "good");
}

TEST_F(FirmwareMarks, BeginBeforeTheConfigurationIsSaved)
{
    boot();
    use("swupdate");
    EXPECT_EQ(device.runs_before_save, 2u);
}

TEST_F(FirmwareMarks, AreExplainedWhereTheMethodChanges)
{
    boot();
    const auto sentence = HasSubstr("the boot loader is told that the firmware is good, by "
                                    "\"fw_setenv\", once it is proven and confirmed");
    EXPECT_THAT(use("swupdate", "explain"), sentence);
    EXPECT_THAT(use("u-boot", "explain"), Not(HasSubstr("boot loader")));
    EXPECT_THAT(use("none", "explain"), Not(HasSubstr("boot loader")));
    EXPECT_THAT(device.runs, ElementsAre(look));
}

TEST_F(FirmwareMarks, GiveUpTheProgramOfAnotherMethod)
{
    boot();
    EXPECT_TRUE(device.run);
    use("none");
    EXPECT_FALSE(device.run);
    EXPECT_FALSE(device.hear);
    EXPECT_EQ(told("state"), "off");
}

TEST_F(FirmwareMarks, NameTheSlotOfTheKernelsCommandLine)
{
    device.command_line = "console=ttyS0 rootwait root=/dev/mmcblk0p2 quiet\n";
    boot();
    EXPECT_EQ(told("slot"), "/dev/mmcblk0p2");

    use("swupdate");
    program_ends(0, "");
    EXPECT_EQ(told("slot"), "/dev/mmcblk0p2") << "nobody knows better";
}

} // namespace
