/* SPDX-License-Identifier: MIT */
/* What a save leaves in the history: no more than fits, nothing of another, and not for everybody.
 */
#include "api/access_fixture.h"
#include "vorn/commit_report.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <random>
#include <string>

#include "history_device.h"

extern "C" {
#include "generation.h"
#include "shelf.h"
#include "slots.h"
void vorn_plugin_init(void);
}

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using vorn::tests::AccessTest;
using vorn::tests::change_channel_in_transaction;
using vorn::tests::HistoryDevice;
using vorn::tests::upgrades_of_history;

constexpr char history_folder[] = "/etc/config/history";

/* It is there before the plugin begins. */
struct OnHistoryDevice {
    HistoryDevice device;
};

class Saves : OnHistoryDevice, public AccessTest {
protected:
    Saves() : AccessTest(add_plugin)
    {
        static const int listens =
            vorn_commit_report_add_fn([](const vorn_commit_report *, void *) {}, nullptr);
        EXPECT_EQ(listens, 0);
        put("history", nullptr, {});
        device.time_passes(); /* the boot is over */
    }

    static void add_plugin()
    {
        vorn_plugin_init();
        vorn_class_resolve(vorn_classes_get("history"));
        vorn_class_resolve(vorn_classes_get("generation"));
    }

    void save(const std::string &document)
    {
        device.saved(document.c_str(), document.size(), nullptr);
    }
    std::string told(const std::string &generation, const std::string &property)
    {
        const std::string answer = ask(question(generation, property));
        const auto at = answer.find("<" + property + ">");
        if (at == std::string::npos) return "";
        const auto begin = at + property.size() + 2;
        return answer.substr(begin, answer.find('<', begin) - begin);
    }
    static std::string question(const std::string &generation, const std::string &property)
    {
        return "<lsql><select><generation name=\"" + generation + "\"><" + property +
               "/></generation></select></lsql>";
    }
    std::string there_are()
    {
        std::string all;
        for (const char *each : {"1", "2", "3", "4"})
            all += told(each, "state") == "good" ? each : "";
        return all;
    }
    void set(const std::string &setting, const std::string &value)
    {
        ask("<lsql><write-transaction><update><history><" + setting + ">" + value + "</" + setting +
            "></history></update></write-transaction></lsql>");
    }

    std::string what_runs() const
    {
        char *document = vorn_config_write_document(vorn_config_get_running());
        std::string text = document ? document : "";
        free(document);
        return text;
    }
    /* With the channels, which are saved from here on. */
    void save_what_runs()
    {
        vorn_class *radio = vorn_classes_get("Radio");
        vorn_class_set_persistence(radio, 1);
        vorn_property_set_persistence(vorn_class_get_property(radio, "channel"), 1);
        save(what_runs());
    }
    static std::string back_to_first()
    {
        return "<update><history><rollback>1</rollback></history></update>";
    }
    static std::string channel()
    {
        return vorn_instance_get_value(vorn_instances_get(vorn_config_get_running(), "Radio", "r0"),
                                       "channel");
    }

    using OnHistoryDevice::device;
};

TEST_F(Saves, KeepAsManyFilesAsAGenerationTakes)
{
    for (const char *each : {"1", "2", "3", "4", "5", "6", "7", "8", "9"})
        device.files.emplace_back(each);

    save("<config/>");

    generation kept;
    ASSERT_EQ(shelf_read(history_folder, 1, &kept), nullptr);
    EXPECT_EQ(kept.file_count, 8);
    EXPECT_STREQ(kept.files[7].path, "8");
    generation_free(&kept);
}

TEST_F(Saves, SayWhatATrialHasChangedThoughOthersHaveCommittedNothingSince)
{
    vorn_config_hold("a change is on trial");
    ask(change_channel_in_transaction);
    vorn_changes *nothing = vorn_changes_new(vorn_config_get_running());
    vorn_providers_commit(vorn_config_get_running(), nothing, nullptr);
    vorn_changes_delete(nothing);
    save("<config>confirmed</config>");
    vorn_config_release();

    EXPECT_THAT(told("2", "changes"), HasSubstr("Radio"));
}

TEST_F(Saves, SayNothingOfATrialThatWasSavedBefore)
{
    vorn_config_hold("a change is on trial");
    ask(change_channel_in_transaction);
    save("<config>confirmed</config>");
    vorn_config_release();

    save("<config>later</config>");

    EXPECT_THAT(told("2", "changes"), HasSubstr("Radio"));
    EXPECT_EQ(told("3", "state"), "good");
    EXPECT_EQ(told("3", "changes"), "");
}

TEST_F(Saves, BeginWithWhereTheConfigurationCameFrom)
{
    device.source = "default";

    ask(change_channel_in_transaction);

    EXPECT_EQ(told("1", "origin"), "default");
}

TEST_F(Saves, AreFewerAsSoonAsFewerAreToBeKept)
{
    for (const char *each : {"<a/>", "<b/>", "<c/>"})
        save(each);
    ASSERT_EQ(there_are(), "123");

    set("keep", "2");

    EXPECT_EQ(there_are(), "23");
}

TEST_F(Saves, AreFewerAsSoonAsTheyAreToTakeLess)
{
    std::mt19937 random(1);
    std::string large(8000, 'a');
    for (int i = 0; i < 3; i++) {
        for (char &each : large)
            each = static_cast<char>('a' + random() % 26);
        save("<" + large + "/>");
    }
    ASSERT_EQ(there_are(), "123");

    set("bytes", "4096");

    EXPECT_EQ(there_are(), "3") << "the newest stays";
}

TEST_F(Saves, ReadNothingOfTheHistoryThatIsKnownAlready)
{
    save("<a/>");
    device.reads = 0;

    save("<b/>");
    save("<b/>");

    EXPECT_EQ(device.reads, 0);
    EXPECT_EQ(there_are(), "12");
}

/* Else the next transaction, whosever it is, would go back instead of what it was to do. */
TEST_F(Saves, AreGoneBackToInTransactionsAlone)
{
    save_what_runs();

    ask("<lsql>" + back_to_first() + "</lsql>");
    ask(change_channel_in_transaction);

    EXPECT_EQ(channel(), "7");
    EXPECT_THAT(log.text(),
                HasSubstr("history: a rollback is heard in write transactions alone.\n"));
    EXPECT_THAT(what_runs(), Not(HasSubstr("rollback")));
}

/* A select at its end keeps the commit from coming, in which the word would be forgotten. */
TEST_F(Saves, AreNotGoneBackToByWhatAnotherRequestHasLeft)
{
    save_what_runs();

    ask("<lsql>" + back_to_first() + "<select><history/></select></lsql>");
    ask("<lsql><write-transaction><update><history><comment>louder</comment></history></update>"
        "<update><Radio name=\"r0\"><channel>7</channel></Radio></update></write-transaction>"
        "</lsql>");

    EXPECT_EQ(channel(), "7");
}

TEST_F(Saves, HoldNoWordThatWasOnlyMeantForTheHistory)
{
    save_what_runs();
    ask(change_channel_in_transaction);

    ask("<lsql><write-transaction>" + back_to_first() + "</write-transaction></lsql>");
    set("comment", "as it was");

    EXPECT_EQ(channel(), "6");
    EXPECT_THAT(what_runs(), AllOf(Not(HasSubstr("rollback")), Not(HasSubstr("comment"))));
}

/* Nobody could tell which parts of a document are meant for him. */
TEST_F(Saves, AreReadOnlyByWhoMayReadEverything)
{
    save("<config>all</config>");
    rule("r", 1, "gate:bob", "Radio", "channel", "read", "deny");

    EXPECT_THAT(ask_as("eve", question("1", "document")), HasSubstr("all"));
    EXPECT_THAT(ask_as("bob", question("1", "document")), HasSubstr("<document/>"));
    EXPECT_THAT(ask_as("bob", question("1", "state")), HasSubstr("<state>good</state>"));
}

/* That others' are not needed any longer is noted on the disk. */
TEST_F(Saves, OfOthersAreLetGoOnceNothingIsOnTrial)
{
    slots_choose();
    device.write(upgrades_of_history, "unproven\n");
    vorn_config_hold("a change is on trial");
    device.time_passes();
    EXPECT_EQ(device.text_of(upgrades_of_history), "unproven\n");

    vorn_config_release();
    device.time_passes();

    EXPECT_EQ(device.text_of(upgrades_of_history), "");
}

} // namespace
