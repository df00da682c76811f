/* SPDX-License-Identifier: MIT */
/* A change that is on trial stays when it is confirmed, and goes in every other case. */
#include "core/base/file.h"
#include "support/raw_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <signal.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <unistd.h>

#include "configured_device.h"
#include "words_of_trials.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using namespace vorn::tests;

constexpr char old_configuration[] = "<?xml version=\"1.0\"?>\n<config>\n  <Board/>\n"
                                     "  <Radio name=\"a\">\n    <channel>1</channel>\n  </Radio>\n"
                                     "  <Radio name=\"b\">\n    <channel>6</channel>\n  </Radio>\n"
                                     "</config>\n";

class Trials : public ConfiguredDevice {
protected:
    void SetUp() override
    {
        ConfiguredDevice::SetUp();
        install_plugin("save.vorn");
        install_plugin("trial.vorn");
        write_file(startup, old_configuration);
    }

    static std::string begin(const std::string &seconds = "600")
    {
        return lsql(transaction(channel("a", "7") + trial("<seconds>" + seconds + "</seconds>")));
    }
    static std::string word(const std::string &name, const std::string &value)
    {
        return lsql(transaction(trial("<" + name + ">" + value + "</" + name + ">")));
    }
    static std::string channels()
    {
        const std::string answer = lsql("<lsql><select><Radio><channel/></Radio></select></lsql>");
        std::string found;
        for (std::size_t at = 0; (at = answer.find("<channel>", at)) != std::string::npos; at++)
            found += answer.substr(at + 9, answer.find('<', at + 9) - at - 9) + " ";
        return found;
    }
};

TEST_F(Trials, ChangeWhatIsServedAndNothingOnTheDisk)
{
    boot();
    const std::string before = files();

    EXPECT_THAT(begin(), HasSubstr("<rc>0</rc>"));

    EXPECT_EQ(channels(), "7 6 ");
    EXPECT_EQ(told("state"), "pending");
    EXPECT_THAT(told("holder"), ContainsRegex("^root \\([^)]*, process [0-9]+\\)$"));
    EXPECT_EQ(files(), before);
    EXPECT_THAT(lsql(select_save), HasSubstr("<result>held</result><reason>a change is on trial"));
}

TEST_F(Trials, TellTheirIdInTheTransactionThatBeginsThem)
{
    boot();

    const std::string answer = lsql(
        transaction(trial("<seconds>600</seconds>") + "<select><trial><id/></trial></select>"));

    EXPECT_EQ(told("id").size(), 16u);
    EXPECT_THAT(answer, HasSubstr("<id>" + told("id") + "</id>"));
}

TEST_F(Trials, AreSavedOnceWhenTheyAreConfirmed)
{
    boot();
    begin();
    const std::string id = told("id");

    EXPECT_THAT(word("confirm", id), HasSubstr("<rc>0</rc>"));

    EXPECT_EQ(told("state"), "none");
    EXPECT_NE(told("id"), id);
    EXPECT_THAT(read_file(startup), HasSubstr("<channel>7</channel>"));
    EXPECT_THAT(lsql(select_save), HasSubstr("<result>saved</result><reason/><unsaved/>"));
    const std::string after = files();
    EXPECT_THAT(lsql(transaction(channel("b", "11"))), HasSubstr("<rc>0</rc>"));
    EXPECT_NE(files(), after);
}

TEST_F(Trials, ThatAreConfirmedWriteTheFileOnce)
{
    boot();
    begin();
    const std::string id = told("id");
    const vorn::Fd watch(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    ASSERT_GE(inotify_add_watch(watch.get(), "/etc/config", IN_MOVED_TO), 0);

    word("confirm", id);

    alignas(inotify_event) char events[1024];
    EXPECT_EQ(read(watch.get(), events, sizeof events),
              static_cast<ssize_t>(sizeof(inotify_event) + 16));
}

TEST_F(Trials, AreRevertedByWhoKnowsTheId)
{
    boot();
    const std::string before = files();
    begin();

    EXPECT_THAT(word("revert", told("id")), HasSubstr("<rc>0</rc>"));

    EXPECT_EQ(channels(), "1 6 ");
    EXPECT_EQ(told("state"), "none");
    EXPECT_EQ(files(), before) << "nothing was to be written";
    EXPECT_THAT(lsql(select_save), HasSubstr("<result>none</result><reason/><unsaved/>"));
    EXPECT_THAT(lsql(transaction(channel("b", "3"))), HasSubstr("<rc>0</rc>"));
    EXPECT_THAT(read_file(startup), HasSubstr("<channel>3</channel>"));
}

TEST_F(Trials, LeaveWhatCouldNotBeSavedBeforeToBeSaved)
{
    boot();
    ASSERT_EQ(mount("/etc/config", "/etc/config", nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(mount(nullptr, "/etc/config", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
    lsql(transaction(channel("b", "3")));
    begin();
    ASSERT_EQ(umount("/etc/config"), 0);
    EXPECT_THAT(lsql(select_save), HasSubstr("<unsaved>Radio \"b\", Radio \"a\"</unsaved>"));

    word("revert", told("id"));

    EXPECT_EQ(channels(), "1 3 ");
    EXPECT_THAT(read_file(startup), HasSubstr("<channel>3</channel>"));
    EXPECT_THAT(lsql(select_save), HasSubstr("<result>saved</result><reason/><unsaved/>"));
}

TEST_F(Trials, PutBackWhatTheyDeletedWhereItWas)
{
    boot();
    lsql(transaction("<delete><Radio name=\"a\"/></delete>" + trial("<seconds>600</seconds>")));
    EXPECT_EQ(channels(), "6 ");

    word("revert", told("id"));

    EXPECT_EQ(channels(), "1 6 ");
    EXPECT_EQ(read_file(startup), old_configuration);
    EXPECT_THAT(lsql(transaction(channel("a", "5"))), HasSubstr("<rc>0</rc>"));
    EXPECT_EQ(channels(), "5 6 ");
}

TEST_F(Trials, AreRevertedByALocalRootWhoDoesNot)
{
    boot();
    begin();

    EXPECT_THAT(word("revert", "now"), HasSubstr("<rc>0</rc>"));

    EXPECT_EQ(channels(), "1 6 ");
}

TEST_F(Trials, AreTakenBackByThemselves)
{
    boot();
    const std::string before = files();
    begin("5");
    const int told_before = count(console(), "board: changed");
    EXPECT_EQ(channels(), "7 6 ");

    ASSERT_TRUE(console_shows("trial: taken back.\n"));

    EXPECT_EQ(channels(), "1 6 ");
    EXPECT_EQ(told("state"), "none");
    EXPECT_EQ(files(), before);
    EXPECT_EQ(count(console(), "board: changed"), told_before + 1);
}

TEST_F(Trials, RefuseTheConfirmationOfAnotherId)
{
    boot();
    begin();
    const std::string before = files();

    EXPECT_THAT(word("confirm", "0123456789abcdef"),
                HasSubstr("<error>Property \"confirm\" of class \"trial\": the change that is on "
                          "trial has another id.</error>"));

    EXPECT_EQ(told("state"), "pending");
    EXPECT_EQ(files(), before);
}

TEST_F(Trials, RefuseWhatIsNotAlone)
{
    boot();
    begin();
    const std::string id = told("id");

    for (const char *what : {"confirm", "revert"}) {
        const std::string asked = std::string("<") + what + ">" + id + "</" + what + ">";
        EXPECT_THAT(lsql(transaction(trial(asked) + channel("b", "3"))),
                    HasSubstr("it must be alone in its transaction."));
        EXPECT_THAT(lsql(transaction(trial(asked + "<seconds>9</seconds>"))),
                    HasSubstr("it must be alone in its transaction."));
    }
    EXPECT_EQ(channels(), "7 6 ");
    EXPECT_EQ(told("state"), "pending");
}

TEST_F(Trials, HaveNothingToEndWhenThereIsNone)
{
    boot();

    for (const char *what : {"confirm", "revert", "join"})
        EXPECT_THAT(word(what, "x"), HasSubstr("nothing is on trial."));
}

TEST_F(Trials, AreHeldByNobodyWhoWritesLinesIntoTheLog)
{
    boot();

    lsql(transaction(channel("a", "11") + trial("<seconds>60</seconds>"),
                     " origin=\"x&#10;vorn: forged&#127;\""));

    EXPECT_THAT(told("holder"), HasSubstr(" for \"x?vorn: forged?\""));
    EXPECT_THAT(console(), Not(HasSubstr("\nvorn: forged")));
}

TEST_F(Trials, LastFromFiveSecondsToADay)
{
    boot();

    for (const char *seconds : {"0", "4", "86401", "31536000", "-7", "x", "5.5"}) {
        EXPECT_THAT(begin(seconds), HasSubstr("A trial lasts from 5 seconds to a day.")) << seconds;
    }
    EXPECT_EQ(told("state"), "none");
    EXPECT_EQ(channels(), "1 6 ");
    EXPECT_THAT(begin("86400"), HasSubstr("<rc>0</rc>"));
}

TEST_F(Trials, RefuseTheChangesOfOthersAsAWhole)
{
    boot();
    begin();
    for (const std::string &attributes : {std::string(), std::string(" origin=\"other\"")}) {
        const std::string answer = lsql(
            transaction(channel("b", "3") + "<insert><Radio name=\"new\"/></insert>", attributes));
        EXPECT_THAT(answer,
                    AllOf(HasSubstr("A change is on trial: held by " + told("holder") + " since "),
                          HasSubstr("; confirm or revert it first.</error><rc>1</rc>")));
    }
    EXPECT_THAT(lsql(transaction(channel("b", "3") + trial("<seconds>60</seconds>"))),
                HasSubstr("A change is on trial: held by "));
    EXPECT_THAT(lsql("<lsql>" + channel("b", "3") + "</lsql>"),
                HasSubstr("<error>a change is on trial: held by "));
    EXPECT_EQ(channels(), "7 6 ");
    EXPECT_THAT(lsql("<lsql><insert><Status name=\"x\"/></insert></lsql>"),
                Not(HasSubstr("trial")));
}

TEST_F(Trials, TakeInFurtherChangesAndMoreTimeFromTheirHolder)
{
    boot();
    begin("60");
    const std::string id = told("id");

    EXPECT_THAT(lsql(transaction(channel("b", "3") +
                                 trial("<join>" + id + "</join><seconds>6000</seconds>"))),
                HasSubstr("<rc>0</rc>"));
    EXPECT_EQ(channels(), "7 3 ");
    EXPECT_GT(std::stoi(told("remaining")), 5900);
    constexpr std::size_t to_the_hour = sizeof "2026-01-31T12" - 1;
    EXPECT_THAT(lsql("<lsql>" + channel("b", "5") + "</lsql>"),
                HasSubstr(" until " + told("until").substr(0, to_the_hour)));
    EXPECT_THAT(lsql(transaction(channel("b", "4") + trial("<join>other</join>"))),
                HasSubstr("A change is on trial: held by "));

    word("revert", id);
    EXPECT_EQ(channels(), "1 6 ");
    EXPECT_EQ(read_file(startup), old_configuration);
    EXPECT_THAT(lsql(select_save), HasSubstr("<result>none</result>")) << "as before the first";
}

TEST_F(Trials, LeaveWordOfTheLastSaveWhenThereWasNothingToSave)
{
    boot();
    lsql(transaction(channel("b", "3")));
    lsql(transaction(trial("<seconds>600</seconds>")));

    word("revert", told("id"));

    EXPECT_THAT(lsql(select_save), HasSubstr("<result>saved</result>"));
}

TEST_F(Trials, StayPendingWhenTheyCantBeSaved)
{
    boot();
    begin();
    const std::string id = told("id");
    ASSERT_EQ(mount("/etc/config", "/etc/config", nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(mount(nullptr, "/etc/config", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);

    EXPECT_THAT(word("confirm", id),
                HasSubstr("it can't be saved: Read-only file system.</error>"));

    EXPECT_EQ(told("state"), "pending");
    EXPECT_EQ(told("id"), id);
    ASSERT_EQ(umount("/etc/config"), 0);
    EXPECT_THAT(word("confirm", id), HasSubstr("<rc>0</rc>"));
    EXPECT_THAT(read_file(startup), HasSubstr("<channel>7</channel>"));
}

TEST_F(Trials, StayPendingWhileTheDiskIsFull)
{
    ASSERT_EQ(mount("disk", "/etc/config", "tmpfs", 0, "size=64k"), 0);
    write_file(startup, old_configuration);
    boot();
    begin();
    const std::string id = told("id");
    shell("cat /dev/zero >/etc/config/filler 2>/dev/null");

    EXPECT_THAT(word("confirm", id),
                HasSubstr("it can't be saved: No space left on device.</error>"));

    EXPECT_EQ(told("state"), "pending");
    EXPECT_EQ(channels(), "7 6 ");
    EXPECT_EQ(shell("ls /etc/config"), "config.xml\nfiller\n");
    EXPECT_EQ(read_file(startup), old_configuration);
    std::filesystem::remove("/etc/config/filler");
    EXPECT_THAT(word("confirm", id), HasSubstr("<rc>0</rc>"));
    EXPECT_THAT(read_file(startup), HasSubstr("<channel>7</channel>"));
    shut_down();
    ASSERT_EQ(umount("/etc/config"), 0);
}

TEST_F(Trials, AreHeardInTransactionsAlone)
{
    boot();
    lsql("<lsql>" + trial("<seconds>600</seconds>") + "</lsql>");
    EXPECT_TRUE(console_shows("trial: heard in write transactions alone.\n"));
    EXPECT_EQ(told("state"), "none");

    begin();
    lsql("<lsql>" + trial("<confirm>" + told("id") + "</confirm>") +
         "<select><trial/></select></lsql>");
    lsql(transaction("<select><trial/></select>"));
    EXPECT_EQ(told("state"), "pending");
}

TEST_F(Trials, AreNotBegunByWhatIsOnlyExplained)
{
    boot();

    EXPECT_THAT(
        lsql("<explain>" + channel("a", "7") + trial("<seconds>600</seconds>") + "</explain>"),
        AllOf(HasSubstr("after 600 seconds"), Not(HasSubstr("configuration is saved")),
              HasSubstr("<rc>0</rc>")));

    EXPECT_EQ(told("state"), "none");
    begin();
    const std::string id = told("id");
    lsql("<explain>" + trial("<confirm>" + id + "</confirm>") + "</explain>");
    EXPECT_THAT(lsql("<explain>" + trial("<revert>" + id + "</revert>") + "</explain>"),
                HasSubstr("<before>7</before><after>1</after>"));
    EXPECT_EQ(told("state"), "pending");
    EXPECT_EQ(channels(), "7 6 ");
}

TEST_F(Trials, ThatAreRefusedForAnotherReasonDoNotBegin)
{
    install_plugin("checks.vorn");
    boot();

    EXPECT_THAT(lsql(transaction(channel("a", "6") + trial("<seconds>600</seconds>"))),
                HasSubstr("is taken by"));
    EXPECT_EQ(told("state"), "none");

    lsql(transaction(channel("a", "11")));
    EXPECT_EQ(told("state"), "none");
    EXPECT_THAT(read_file(startup), HasSubstr("<channel>11</channel>"));
}

/* Whoever asks before the trial's own timer has had its turn. */
TEST_F(Trials, ThatAreRefusedAreToldToBeNoneAtOnce)
{
    install_plugin("busy.vorn");
    install_plugin("checks.vorn");
    boot();
    RawClient refused("vorn_sock_lsql");
    RawClient next("vorn_sock_lsql");

    kill(daemon_pid(), SIGSTOP);
    refused.send(framed(transaction(channel("a", "6") + trial("<seconds>600</seconds>"))));
    next.send(framed("<lsql><select><trial><state/></trial></select></lsql>"));
    kill(daemon_pid(), SIGCONT);

    EXPECT_THAT(refused.receive_all(), HasSubstr("is taken by"));
    EXPECT_THAT(next.receive_all(), HasSubstr("<state>none</state>"));
}

TEST_F(Trials, GoBackToWhatChecksRefuse)
{
    install_plugin("checks.vorn");
    write_file(startup, "<config><Radio name=\"a\"><channel>6</channel></Radio>"
                        "<Radio name=\"b\"><channel>6</channel></Radio></config>");
    boot();
    begin();
    EXPECT_EQ(channels(), "7 6 ");

    word("revert", told("id"));

    EXPECT_EQ(channels(), "6 6 ");
    EXPECT_THAT(console(), HasSubstr("Loaded in spite of this: "));
}

TEST_F(Trials, RefuseAFactoryReset)
{
    install_plugin("system.vorn");
    boot();
    begin();
    const std::string before = files();

    EXPECT_NE(inform("factory-reset"), "OK\n");

    EXPECT_EQ(files(), before);
    EXPECT_THAT(lsql("<lsql><select><system><factory-reset/></system></select></lsql>"),
                HasSubstr("failed: a change is on trial"));
}

/* The radio, and the words of the trial. */
TEST_F(Trials, AreTakenBackByAChangeOfWhatDiffersAlone)
{
    install_plugin("commits.vorn");
    boot();
    begin();
    lsql(transaction("<insert><Radio name=\"new\"/></insert>" +
                     trial("<join>" + told("id") + "</join>")));

    word("revert", told("id"));

    const std::string commits =
        lsql("<lsql><select><commit><changed/><deleted/></commit></select></lsql>");
    EXPECT_THAT(commits.substr(commits.rfind("<changed>")),
                HasSubstr("<changed>2</changed><deleted>1</deleted>"));
}

struct End {
    const char *name;
    int signal;
};

class EndedTrials : public Trials, public testing::WithParamInterface<End> {};

TEST_P(EndedTrials, AreGoneAfterARestart)
{
    boot();
    begin();
    const std::string before = files();

    kill(daemon_pid(), GetParam().signal);
    EXPECT_EQ(exit_status(), GetParam().signal == SIGKILL ? -SIGKILL : 0);
    EXPECT_EQ(files(), before);
    boot();

    EXPECT_EQ(channels(), "1 6 ");
    EXPECT_EQ(told("state"), "none");
    EXPECT_THAT(lsql(transaction(channel("b", "3"))), HasSubstr("<rc>0</rc>"));
}

INSTANTIATE_TEST_SUITE_P(By, EndedTrials,
                         testing::Values(End{"kill", SIGKILL}, End{"end", SIGTERM}),
                         [](const auto &tested) { return tested.param.name; });

} // namespace
