/* SPDX-License-Identifier: MIT */
/* What the providers' amend functions do to a write transaction, and to nothing else. */
#include "api/query_fixture.h"

#include <gmock/gmock.h>

#include <cstring>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using vorn::tests::AllocationFailed;
using vorn::tests::AllocationsAllowed;
using vorn::tests::change_channel;
using vorn::tests::change_channel_in_transaction;
using vorn::tests::FailEachAllocation;
using vorn::tests::QueryTest;

/* Whatever channel r0 gets, the board's label says so. */
void write_label(QueryTest &, vorn_amend_info *info)
{
    vorn_instances *all = vorn_amend_info_get_instances(info);
    const vorn_instance *radio = vorn_instances_get(all, "Radio", "r0");
    vorn_instance *board = vorn_instances_get_singleton(all, "Board");
    vorn_instance_set_value(board, "label", vorn_instance_get_value(radio, "channel"));
}

void amend_no_seven(QueryTest &, vorn_amend_info *info)
{
    const vorn_instance *radio =
        vorn_instances_get(vorn_amend_info_get_instances(info), "Radio", "r0");
    vorn_amend_info_refuse(info, radio, "channel", "nobody wants a %d", 7);
}

/* r0 alone, on channel 1. */
void go_back(QueryTest &, vorn_amend_info *info)
{
    static const char document[] =
        "<config><Radio name=\"r0\"><channel>1</channel></Radio></config>";
    vorn_amend_info_become(info, document, std::strlen(document));
}

void go_back_whatever_is_said(QueryTest &test, vorn_amend_info *info)
{
    go_back(test, info);
    vorn_amend_info_accept(info);
}

void refuse(QueryTest &, vorn_check_info *info)
{
    vorn_check_info_refuse(info, nullptr, nullptr, "Nothing is good enough");
}

int times;

void count(QueryTest &, vorn_amend_info *)
{
    times++;
}

class AmendedTransactions : public QueryTest {
protected:
    AmendedTransactions()
    {
        times = 0;
        vorn_class *radio = vorn_classes_get("Radio");
        vorn_class_set_persistence(radio, 1);
        vorn_property_set_persistence(vorn_class_get_property(radio, "channel"), 1);
    }
};

TEST_F(AmendedTransactions, CommitWhatWasChangedLikeWhatWasAskedFor)
{
    on_amend = write_label;

    ask(change_channel_in_transaction);

    EXPECT_EQ(value("Board", nullptr, "label"), "7");
    EXPECT_THAT(commits, ElementsAre(HasSubstr("Board")));
    EXPECT_THAT(committed_properties, HasSubstr("label"));
}

TEST_F(AmendedTransactions, TellWhoAmendsThemAtLevelThree)
{
    on_amend = count;
    log.set_level(3);

    ask(change_channel_in_transaction);

    EXPECT_THAT(log.text(), HasSubstr("vorn: Amending by provider recorder...\n"));
}

TEST_F(AmendedTransactions, AreJudgedAsTheyWereAmended)
{
    on_amend = write_label;
    on_check = [](QueryTest &, vorn_check_info *info) {
        const vorn_instance *board =
            vorn_instances_get_singleton(vorn_check_info_get_instances(info), "Board");
        EXPECT_STREQ(vorn_instance_get_value(board, "label"), "7");
    };

    ask(change_channel_in_transaction);

    EXPECT_EQ(value("Board", nullptr, "label"), "7");
}

TEST_F(AmendedTransactions, AreRefusedAsAWhole)
{
    const std::string before = state();
    on_amend = amend_no_seven;
    on_check = refuse;

    EXPECT_EQ(ask(change_channel_in_transaction),
              "<lsql_result><error>Property \"channel\" of instance \"r0\" of class \"Radio\": "
              "nobody wants a 7.</error><rc>1</rc><counter>0</counter></lsql_result>");

    EXPECT_EQ(state(), before);
    EXPECT_THAT(commits, IsEmpty());
}

TEST_F(AmendedTransactions, GoToAnotherConfiguration)
{
    on_amend = go_back;

    ask(change_channel_in_transaction);

    EXPECT_EQ(value("Radio", "r0", "channel"), "1");
    EXPECT_EQ(value("Radio", "r1", "channel"), "(none)");
    EXPECT_NE(value("Board", nullptr, "label"), "(none)");
}

TEST_F(AmendedTransactions, GoToAnotherConfigurationInSpiteOfChecksIfThatIsWanted)
{
    on_check = refuse;
    on_amend = go_back;
    EXPECT_THAT(ask(change_channel_in_transaction), HasSubstr("Nothing is good enough."));
    EXPECT_EQ(value("Radio", "r0", "channel"), "6");
    log.take();

    on_amend = go_back_whatever_is_said;
    ask(change_channel_in_transaction);

    EXPECT_EQ(value("Radio", "r0", "channel"), "1");
    EXPECT_EQ(log.take(), "vorn: Loaded in spite of this: Nothing is good enough.\n");
}

TEST_F(AmendedTransactions, AreTheOnlyRequestsThatAreAmended)
{
    on_amend = count;

    ask(change_channel);
    ask("<lsql><select><Radio/></select></lsql>");
    ask_passively(change_channel_in_transaction);
    ask("<lsql><write-transaction><update><Nothing/></update></write-transaction></lsql>");
    EXPECT_EQ(times, 0);

    ask("<lsql><write-transaction/></lsql>");
    EXPECT_EQ(times, 1);
}

TEST_F(AmendedTransactions, AreExplainedAsTheyWouldBeAmended)
{
    const std::string before = state();
    const std::string request = "<explain><update><Radio name=\"r0\"><channel>7</channel></Radio>"
                                "</update></explain>";
    on_amend = [](QueryTest &test, vorn_amend_info *info) {
        EXPECT_EQ(vorn_amend_info_is_rehearsal(info), 1);
        write_label(test, info);
    };
    EXPECT_THAT(ask(request), HasSubstr("<value property=\"label\"><before>attic</before>"
                                        "<after>7</after></value>"));

    on_amend = amend_no_seven;
    EXPECT_THAT(ask(request), HasSubstr("<refused>Property \"channel\" of instance \"r0\" of "
                                        "class \"Radio\": nobody wants a 7.</refused>"));

    on_amend = go_back_whatever_is_said;
    on_check = refuse;
    EXPECT_THAT(ask(request), HasSubstr("<rc>0</rc>"));

    EXPECT_EQ(state(), before);
}

TEST_F(AmendedTransactions, ChangeNothingWithoutTheMemoryToAmendThem)
{
    const std::string before = state();
    on_amend = go_back;
    constexpr unsigned long least = 60;
    FailEachAllocation(
        [&] {
            const std::string answer = ask(change_channel_in_transaction);

            const AllocationsAllowed allowed;
            if (answer == "(nothing)" || answer.find("<error>") != std::string::npos) {
                EXPECT_TRUE(AllocationFailed());
                EXPECT_EQ(state(), before);
                EXPECT_THAT(commits, IsEmpty());
            } else {
                EXPECT_EQ(value("Radio", "r0", "channel"), "1");
                EXPECT_EQ(value("Radio", "r1", "channel"), "(none)");
            }
            renew();
        },
        least);
}

TEST_F(AmendedTransactions, BringWhatNobodyKnowsThroughARequestOfACheck)
{
    on_amend = [](QueryTest &, vorn_amend_info *info) {
        constexpr char goal[] = "<config><Toaster name=\"t\"/></config>";
        vorn_amend_info_become(info, goal, sizeof goal - 1);
    };
    on_check = [](QueryTest &, vorn_check_info *) {
        std::free(vorn_query_eval_passive("<lsql><select><Radio/></select></lsql>"));
    };

    ask(change_channel_in_transaction);

    EXPECT_STREQ(vorn_config_get_kept(0), "Toaster \"t\"");
    vorn_config_forget_kept();
}

} // namespace
