/* SPDX-License-Identifier: MIT */
/* Who did what: one record for each request that changed something, or was refused. */
#include "api/query_fixture.h"
#include "core/base/file.h"
#include "core/peer.h"
#include "vorn/commit_report.h"

#include <gmock/gmock.h>

#include <fstream>
#include <string>

#include <sys/socket.h>
#include <unistd.h>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using vorn::Fd;
using vorn::tests::change_channel;
using vorn::tests::change_channel_in_transaction;
using vorn::tests::QueryTest;

class Records : public QueryTest {
protected:
    Records()
    {
        static const int listens =
            vorn_commit_report_add_fn([](const vorn_commit_report *, void *) {}, nullptr);
        EXPECT_EQ(listens, 0);
    }
    static std::string last() { return vorn_commit_report_get_changes(vorn_commit_report_get(0)); }
    static const vorn_commit_report *refused() { return vorn_commit_report_get_refused(0); }
    static std::string in_transaction(const std::string &operations)
    {
        return "<lsql origin=\"cli\"><write-transaction>" + operations +
               "</write-transaction></lsql>";
    }
};

TEST_F(Records, SayWhatChanged)
{
    ask(change_channel_in_transaction);
    EXPECT_EQ(last(), "set Radio r0 channel=7");
    EXPECT_STREQ(vorn_commit_report_get_result(vorn_commit_report_get(0)), "done");
    EXPECT_STREQ(vorn_commit_report_get_failures(vorn_commit_report_get(0)), "");

    ask(in_transaction("<insert><Radio name=\"r7\"><channel>3</channel></Radio></insert>"
                       "<delete><Radio name=\"r1\"/></delete>"
                       "<update><Board><label>cellar</label></Board></update>"));
    EXPECT_EQ(last(), "delete Radio r1, add Radio r7 channel=3, set Board label=cellar");
    EXPECT_STREQ(vorn_commit_report_get_origin(vorn_commit_report_get(0)), "cli");
}

TEST_F(Records, HideSecrets)
{
    vorn_property_set_secret(vorn_class_get_property(vorn_classes_get("Board"), "label"), 1);
    ask(in_transaction("<update><Board><label>open sesame</label></Board></update>"));
    EXPECT_EQ(last(), "set Board label=********");
}

TEST_F(Records, AreOneLineThatIsCutWithinNoCharacter)
{
    ask(in_transaction("<update><Board><label>a&#10;b&#127;" + std::string(300, 'x') +
                       "</label></Board></update>"));
    EXPECT_THAT(last(), HasSubstr("label=a?b?xxx"));
    EXPECT_THAT(last(), EndsWith("x..."));
    EXPECT_EQ(last().size(), 191U);

    std::string text = "<update><Board><label>";
    for (int i = 0; i < 300; i++)
        text += "\xc3\xb6";
    ask(in_transaction(text + "</label></Board></update>"));
    EXPECT_THAT(last(), EndsWith("\xc3\xb6..."));
}

/* As the kernel has it: under an emulator it is the emulator's. */
std::string own_name()
{
    std::string name;
    std::getline(std::ifstream("/proc/self/comm"), name);
    return name;
}

TEST_F(Records, TellWhoAskedForIt)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const Fd one(ends[0]);
    const Fd other(ends[1]);
    {
        const vorn::PeerOfRequest asked_for_by(one.get());
        ask(change_channel);
    }
    const vorn_commit_report *report = vorn_commit_report_get(0);
    EXPECT_EQ(vorn_commit_report_has_peer(report), 1);
    EXPECT_EQ(vorn_commit_report_get_uid(report), geteuid());
    EXPECT_EQ(vorn_commit_report_get_process(report), getpid());
    EXPECT_STRNE(vorn_commit_report_get_user(report), "");
    EXPECT_EQ(vorn_commit_report_get_program(report), own_name());

    ask(change_channel);
    report = vorn_commit_report_get(0);
    EXPECT_EQ(vorn_commit_report_has_peer(report), 0) << "the daemon by itself";
    EXPECT_STREQ(vorn_commit_report_get_user(report), "");
    EXPECT_STREQ(vorn_commit_report_get_program(report), "");
}

TEST_F(Records, AreMadeOfWhatWasRefused)
{
    ask(in_transaction("<update><Radio name=\"r0\"><mode>n</mode></Radio></update>"
                       "<update><Radio name=\"r0\"><channel>x</channel></Radio></update>"));
    EXPECT_STREQ(vorn_commit_report_get_changes(refused()),
                 "update Radio r0 mode, update Radio r0 channel");
    EXPECT_STREQ(vorn_commit_report_get_result(refused()),
                 "refused: Value \"x\" is not valid for property \"channel\" of class \"Radio\".");

    on_check = [](QueryTest &, vorn_check_info *info) {
        vorn_check_info_refuse(info, nullptr, nullptr, "not today");
    };
    ask(change_channel_in_transaction);
    EXPECT_STREQ(vorn_commit_report_get_result(refused()), "refused: not today.");
    on_check = nullptr;

    ask("<lsql if-commit=\"9-0\"><delete><Radio/></delete></lsql>");
    EXPECT_STREQ(vorn_commit_report_get_changes(refused()), "delete Radio");
    EXPECT_THAT(vorn_commit_report_get_result(refused()),
                HasSubstr("refused: The configuration has changed: "));
}

TEST_F(Records, AreNotMadeOfWhatOnlyReads)
{
    ask(in_transaction("<delete><Nothing/></delete><nonsense/>"));
    const std::string before = vorn_commit_report_get_result(refused());
    const vorn_commit_report *last_commit = vorn_commit_report_get(0);

    ask("<lsql><select><Radio properties=\"none\"/></select></lsql>");
    ask("<nonsense/>");
    ask("<lsql/>");
    ask("<explain><update><Radio name=\"r0\"><channel>x</channel></Radio></update></explain>");
    ask_passively("<lsql><update><Radio name=\"r0\"><channel>x</channel></Radio></update></lsql>");

    EXPECT_EQ(vorn_commit_report_get_result(refused()), before);
    EXPECT_EQ(vorn_commit_report_get(0), last_commit);
}

TEST_F(Records, SayInAWordWhatTheyWere)
{
    on_check = [](QueryTest &, vorn_check_info *) { vorn_commit_report_set_result("confirmed"); };
    ask(change_channel_in_transaction);
    EXPECT_STREQ(vorn_commit_report_get_result(vorn_commit_report_get(0)), "confirmed");

    on_check = nullptr;
    ask(change_channel_in_transaction);
    EXPECT_STREQ(vorn_commit_report_get_result(vorn_commit_report_get(0)), "done");
    EXPECT_EQ(vorn_commit_report_set_result("outside"), 1);
}

TEST_F(Records, SayWhatFailed)
{
    on_commit = [](QueryTest &) {
        EXPECT_THAT(vorn_commit_report_get_changes(vorn_commit_report_get_current()),
                    HasSubstr("Radio r0"));
        vorn_commit_report_add_failure("save: %s", "disk full");
        vorn_commit_report_add_failure("history: %s", std::string(200, 'x').c_str());
    };
    ask(change_channel);
    const std::string failures = vorn_commit_report_get_failures(vorn_commit_report_get(0));
    EXPECT_THAT(failures, HasSubstr("save: disk full, history: xxx"));
    EXPECT_THAT(failures, EndsWith("x..."));
    EXPECT_EQ(vorn_commit_report_get_current(), nullptr);
}

TEST_F(Records, SayOfTheLastCommitWhatFailsLater)
{
    ask(change_channel);

    EXPECT_EQ(vorn_commit_report_add_failure("network: %s", "gone"), 0);
    EXPECT_EQ(vorn_commit_report_add_failure("network: gone"), 0);
    EXPECT_EQ(vorn_commit_report_add_failure("wireless: down"), 0);

    EXPECT_STREQ(vorn_commit_report_get_failures(vorn_commit_report_get(0)),
                 "network: gone, wireless: down");
    ask(change_channel);
    EXPECT_STREQ(vorn_commit_report_get_failures(vorn_commit_report_get(0)), "");
}

TEST_F(Records, AreToldToWhoListens)
{
    static std::string heard;
    vorn_commit_report_add_fn(
        [](const vorn_commit_report *report, void *data) {
            *static_cast<std::string *>(data) +=
                std::string(vorn_commit_report_get_result(report)).substr(0, 7) + "\n";
        },
        &heard);
    ask(change_channel);
    ask(in_transaction("<update><Radio><channel>x</channel></Radio></update>"));
    EXPECT_EQ(heard, "done\nrefused\n");
    EXPECT_EQ(vorn_commit_report_add_fn(nullptr, nullptr), 1);
}

TEST_F(Records, AreToldToNobodyWithoutMemory)
{
    vorn::tests::FailEachAllocation([] {
        static int heard;
        const int result = vorn_commit_report_add_fn(
            [](const vorn_commit_report *, void *data) { ++*static_cast<int *>(data); }, &heard);
        const vorn::tests::AllocationsAllowed allowed;
        EXPECT_EQ(result, vorn::tests::AllocationFailed() ? 1 : 0);
    });
}

} // namespace
