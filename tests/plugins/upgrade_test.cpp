/* SPDX-License-Identifier: MIT */
/* A firmware is confirmed by itself when all is well, and never before; the rest is on the disk. */
#include "support/builders.h"
#include "vorn/commit_report.h"
#include "vorn/config.h"
#include "vorn/eloop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

extern "C" {
#include "slots.h"
#include "upgrade.h"
#include "upgrade_state.h"
}

namespace {

/* The device around it, which is well. */
struct Surroundings {
    bool is_pending = true;
    bool can_confirm = true;
    int confirmations = 0;
    bool is_held = false;
    const char *source = "startup";
    int save_result = VORN_SAVE_DONE;
    const char *failing = nullptr;
    std::time_t now = 1000;
    std::vector<std::string> failures;
    eloop_timeout_handler timer = nullptr;
    unsigned int seconds = 0;
};
Surroundings device;

/* Stands in for the one file. */
std::string file()
{
    return "/tmp/vorn_upgrade_test_" + std::to_string(getpid());
}

} // namespace

extern "C" {
int slots_is_pending()
{
    return device.is_pending;
}
int slots_confirm()
{
    device.confirmations++;
    if (!device.can_confirm) return 1;
    device.is_pending = false;
    return 0;
}
const char *slots_taken()
{
    return "";
}
int __wrap_clock_gettime(clockid_t, struct timespec *time)
{
    *time = {device.now, 0};
    return 0;
}
int __wrap_eloop_register_timeout(unsigned int seconds, unsigned int, eloop_timeout_handler handler,
                                  void *, void *)
{
    device.seconds = seconds;
    device.timer = handler;
    return 0;
}
int __wrap_eloop_cancel_timeout(eloop_timeout_handler, void *, void *)
{
    device.timer = nullptr;
    return 0;
}
int __wrap_vorn_commit_report_add_failure(const char *format, ...)
{
    device.failures.emplace_back(format);
    return 0;
}
int __wrap_vorn_config_get_save_result()
{
    return device.save_result;
}
const char *__wrap_vorn_config_get_source()
{
    return device.source;
}
int __wrap_vorn_config_is_held()
{
    return device.is_held;
}
const char *__wrap_vorn_service_get_failing(unsigned int)
{
    return device.failing;
}
int __wrap_mkdir(const char *, mode_t)
{
    return 0;
}
FILE *__real_whole_file_open(const char *path, mode_t mode);
FILE *__wrap_whole_file_open(const char *, mode_t mode)
{
    return __real_whole_file_open(file().c_str(), mode);
}
int __real_whole_file_close(FILE *stream, const char *path, int durable);
int __wrap_whole_file_close(FILE *stream, const char *, int durable)
{
    return __real_whole_file_close(stream, file().c_str(), durable);
}
FILE *__real_whole_file_read(const char *path);
FILE *__wrap_whole_file_read(const char *)
{
    return __real_whole_file_read(file().c_str());
}
}

namespace {

using testing::ElementsAre;
using vorn::tests::ModelTest;

class Upgrades : public ModelTest {
protected:
    Upgrades()
    {
        device = {};
        vorn_class *history = vorn_class_new("history");
        vorn_class_set_type(history, VORN_CLASS_SINGLETON);
        EXPECT_EQ(upgrade_declare(history), 0);
        vorn_classes_add(history);
        vorn_class_resolve(history);
        settings = vorn::tests::new_instance(history);
        set("upgrade-after", "100");
        upgrade_begin(settings.get());
    }

    void set(const char *property, const char *value) const
    {
        EXPECT_EQ(vorn_instance_set_value(settings.get(), property, value), 0);
    }
    static void look()
    {
        ASSERT_TRUE(device.timer);
        const eloop_timeout_handler timer = std::exchange(device.timer, nullptr);
        timer(nullptr, nullptr);
    }
    std::string shown() const
    {
        upgrade_show(settings.get());
        return vorn_instance_get_value(settings.get(), "upgrade");
    }
    void expect_to_wait_and_look_again() const
    {
        look();
        EXPECT_EQ(shown(), "pending");
        EXPECT_EQ(device.seconds, 60u);
        EXPECT_TRUE(device.timer);
    }

    vorn::Owned<vorn_instance> settings;
};

TEST_F(Upgrades, AreConfirmedByThemselvesWhenTheTimeIsOver)
{
    EXPECT_EQ(device.seconds, 100u);
    EXPECT_EQ(shown(), "pending");
    look();
    EXPECT_EQ(shown(), "confirmed");
    EXPECT_FALSE(device.timer) << "that is done";
}

TEST_F(Upgrades, AreNotConfirmedByThemselvesAfterASaveThatFailed)
{
    device.save_result = VORN_SAVE_FAILED;
    expect_to_wait_and_look_again();
}

TEST_F(Upgrades, AreNotConfirmedByThemselvesWhileAServiceFails)
{
    device.failing = "syslogd";
    expect_to_wait_and_look_again();
}

TEST_F(Upgrades, AreNotConfirmedByThemselvesWhileAChangeIsOnTrial)
{
    device.is_held = true;
    expect_to_wait_and_look_again();
}

TEST_F(Upgrades, AreNotConfirmedByThemselvesOnAnythingButTheStartupFile)
{
    device.source = "rescue";
    expect_to_wait_and_look_again();
}

TEST_F(Upgrades, AreConfirmedByThemselvesOnceAllIsWellAgain)
{
    device.failing = "syslogd";
    look();
    look();
    device.failing = nullptr;
    look();
    EXPECT_EQ(shown(), "confirmed");
}

TEST_F(Upgrades, CountTheTimeFromTheBootOnWheneverItIsSet)
{
    device.now += 30;
    upgrade_commit(settings.get());
    EXPECT_EQ(device.seconds, 70u);

    device.now += 100;
    upgrade_commit(settings.get());
    EXPECT_EQ(device.seconds, 0u) << "it is over";

    set("upgrade-after", "");
    upgrade_commit(settings.get());
    EXPECT_EQ(device.seconds, 86400u - 130);
}

TEST_F(Upgrades, AreLookedAtNoMoreWhenThatIsNotWantedAnyMore)
{
    set("upgrade-after", "never");
    upgrade_commit(settings.get());
    EXPECT_FALSE(device.timer);
}

TEST_F(Upgrades, AreConfirmedWhenSomebodyAsksForIt)
{
    set("upgrade", "confirm");
    upgrade_commit(settings.get());
    EXPECT_STREQ(vorn_instance_get_value(settings.get(), "upgrade"), "") << "once";
    EXPECT_EQ(shown(), "confirmed");
    EXPECT_FALSE(device.timer);
    EXPECT_THAT(device.failures, ElementsAre());

    set("upgrade", "confirm");
    upgrade_commit(settings.get());
    EXPECT_EQ(device.confirmations, 1) << "it is known already, and flash wears out";
}

TEST_F(Upgrades, SayInTheReportThatAConfirmationCannotBeKept)
{
    device.can_confirm = false;
    set("upgrade", "confirm");
    upgrade_commit(settings.get());
    EXPECT_EQ(shown(), "pending");
    EXPECT_THAT(device.failures,
                ElementsAre("history: that this firmware is confirmed can't be kept"));
    EXPECT_TRUE(device.timer) << "it is tried again by itself";
}

/* Documents that did not stay up. */
/* Attack. */
class FailedDocuments : public testing::Test {
protected:
    ~FailedDocuments() override { std::filesystem::remove(file()); }

    static std::string lines()
    {
        std::ifstream stream(file());
        return {std::istreambuf_iterator<char>(stream), {}};
    }
};

TEST_F(FailedDocuments, AreNotedOnceEach)
{
    upgrade_state_note_failed("a");
    upgrade_state_note_failed("b");
    upgrade_state_note_failed("a");
    EXPECT_EQ(lines(), "failed a\nfailed b\n");
}

TEST_F(FailedDocuments, AreForgottenWhenTheyStayUp)
{
    for (const char *digest : {"a", "b", "c"})
        upgrade_state_note_failed(digest);
    upgrade_state_note_proven("b");
    EXPECT_EQ(lines(), "failed a\nfailed c\n");

    upgrade_state state;
    upgrade_state_read(&state);
    EXPECT_TRUE(upgrade_state_has_failed(&state, "a"));
    EXPECT_FALSE(upgrade_state_has_failed(&state, "b"));
    EXPECT_TRUE(upgrade_state_has_failed(&state, "c"));
}

TEST_F(FailedDocuments, GiveWayToNewerOnesFromTheOldestOn)
{
    for (char digest = 'a'; digest <= 'j'; digest++)
        upgrade_state_note_failed(std::string(1, digest).c_str());
    EXPECT_EQ(lines(), "failed c\nfailed d\nfailed e\nfailed f\nfailed g\nfailed h\nfailed i\n"
                       "failed j\n");
}

TEST_F(FailedDocuments, AreReadAsFarAsThereIsRoom)
{
    {
        std::ofstream stream(file());
        for (char digest = 'a'; digest <= 'z'; digest++)
            stream << "failed " << digest << '\n';
    }
    upgrade_state state;
    upgrade_state_read(&state);
    EXPECT_EQ(state.failed_count, most_failed);
    EXPECT_TRUE(upgrade_state_has_failed(&state, "h"));
    EXPECT_FALSE(upgrade_state_has_failed(&state, "i"));
}

/* The flash wears out. */
TEST_F(FailedDocuments, AreNotWrittenAgainWhenNothingChanges)
{
    upgrade_state_note_proven("a");
    EXPECT_FALSE(std::filesystem::exists(file()));
}

/* What is not theirs stays as it was. */
TEST_F(FailedDocuments, LeaveTheRestOfTheFileAlone)
{
    const std::string rest = "confirmed 0123\nunsettled\nunproven\nran 4567 89-a\n";
    std::ofstream(file()) << rest;
    upgrade_state_note_failed("a");
    EXPECT_EQ(lines(), rest + "failed a\n");
    upgrade_state_note_proven("a");
    EXPECT_EQ(lines(), rest);
}

} // namespace
