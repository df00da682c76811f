/* SPDX-License-Identifier: MIT */
/* What the providers' checks do to a write transaction, and to nothing else. */
#include "api/query_fixture.h"

#include <gmock/gmock.h>

namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using vorn::tests::AllocationFailed;
using vorn::tests::AllocationsAllowed;
using vorn::tests::FailEachAllocation;
using vorn::tests::QueryTest;

constexpr char same_channel[] =
    "<write-transaction><select><Board><label/></Board></select>"
    "<update><Radio name=\"r1\"><channel>6</channel></Radio></update></write-transaction>";

/* No two radios on one channel. */
void check_channels(QueryTest &, vorn_check_info *info)
{
    vorn_instances *all = vorn_check_info_get_instances(info);
    if (!vorn_changes_contains_class(vorn_check_info_get_changes(info), "Radio")) return;
    const vorn_instance *first = vorn_instances_get(all, "Radio", "r0");
    const vorn_instance *second = vorn_instances_get(all, "Radio", "r1");
    if (!first || !second) return;
    const char *channel = vorn_instance_get_value(second, "channel");
    if (std::string_view(vorn_instance_get_value(first, "channel")) != channel) return;
    vorn_check_info_refuse(info, first, "channel", "channel %s is taken by r1", channel);
    vorn_check_info_refuse(info, second, "channel", "channel %s is taken by r0", channel);
}

/* What every radio was and is, looked at in each of the ways there are. */
std::string seen;

void look_at_every_radio(QueryTest &, vorn_check_info *info)
{
    vorn_instances *all = vorn_check_info_get_instances(info);
    const vorn_changes *changes = vorn_check_info_get_changes(info);
    for (vorn_instance *each : vorn::Walk(vorn_instances_new_class_iterator(all, "Radio"))) {
        const char *name = vorn_instance_get_name(each);
        const vorn_instance *before = vorn_changes_get_instance_before(changes, each);
        EXPECT_EQ(vorn_instances_get(all, "Radio", name), each);
        seen += std::string(name) + " " + vorn_instance_get_value(before, "channel") + " " +
                vorn_instance_get_value(each, "channel") +
                (vorn_changes_contains_instance(changes, each) ? " changed\n" : "\n");
    }
    EXPECT_EQ(vorn_instances_get_singleton(all, "Board"),
              vorn_instances_get_singleton(vorn_config_get_running(), "Board"));
}

int checks_made;

void count_checks(QueryTest &, vorn_check_info *)
{
    checks_made++;
}

std::string lsql(const std::string &operations)
{
    return "<lsql>" + operations + "</lsql>";
}

class CheckedTransactions : public QueryTest {
protected:
    CheckedTransactions()
    {
        on_check = check_channels;
        checks_made = 0;
    }
};

TEST_F(CheckedTransactions, AreRefusedAsAWholeAndTellEachReason)
{
    const std::string before = state();

    EXPECT_EQ(ask(lsql(same_channel)),
              "<lsql_result><error>Property \"channel\" of instance \"r0\" of class "
              "\"Radio\": channel 6 is taken by r1.</error><error>Property \"channel\" of "
              "instance \"r1\" of class \"Radio\": channel 6 is taken by r0.</error><rc>1</rc>"
              "<counter>0</counter></lsql_result>");

    EXPECT_EQ(state(), before);
    EXPECT_THAT(commits, IsEmpty());
}

TEST_F(CheckedTransactions, AreJudgedByWhatTheyEndIn)
{
    ask(lsql("<write-transaction><update><Radio name=\"r1\"><channel>6</channel></Radio></update>"
             "<update><Radio name=\"r0\"><channel>11</channel></Radio></update>"
             "</write-transaction>"));

    EXPECT_THAT(commits, SizeIs(1));
    EXPECT_EQ(value("Radio", "r0", "channel"), "11");
    EXPECT_EQ(value("Radio", "r1", "channel"), "6");
}

TEST_F(CheckedTransactions, SeeTheOldConfigurationRunning)
{
    on_check = [](QueryTest &, vorn_check_info *info) {
        EXPECT_NE(vorn_check_info_get_instances(info), vorn_config_get_running());
        EXPECT_EQ(value("Radio", "r1", "channel"), "11");
        const vorn_instance *changed =
            vorn_instances_get(vorn_check_info_get_instances(info), "Radio", "r1");
        EXPECT_STREQ(vorn_instance_get_value(changed, "channel"), "6");
        const vorn_instance *before =
            vorn_changes_get_instance_before(vorn_check_info_get_changes(info), changed);
        EXPECT_STREQ(vorn_instance_get_value(before, "channel"), "11");
    };

    ask(lsql(same_channel));

    EXPECT_EQ(value("Radio", "r1", "channel"), "6");
}

TEST_F(CheckedTransactions, CopyNothingForWhoOnlyChecks)
{
    on_check = look_at_every_radio;
    seen.clear();
    const vorn_instance *untouched = vorn_instances_get(vorn_config_get_running(), "Radio", "r1");
    const unsigned long before = vorn_instances_get_left_behind();

    ask(vorn::tests::change_channel_in_transaction);

    EXPECT_EQ(seen, "r0 6 7 changed\nr1 11 11\n");
    EXPECT_EQ(vorn_instances_get_left_behind(), before + 1);
    EXPECT_EQ(vorn_instances_get(vorn_config_get_running(), "Radio", "r1"), untouched);
}

TEST_F(CheckedTransactions, AreNotCheckedWhenTheyFailAnyway)
{
    on_check = count_checks;

    ask(lsql("<write-transaction><update><Nothing/></update></write-transaction>"));

    EXPECT_EQ(checks_made, 0);
}

TEST_F(CheckedTransactions, AreTheOnlyRequestsThatAreChecked)
{
    on_check = count_checks;

    ask(lsql("<update><Radio name=\"r1\"><channel>6</channel></Radio></update>"));
    ask(lsql("<select><Radio/></select>"));
    ask_passively(lsql(same_channel));
    EXPECT_EQ(checks_made, 0);

    ask(lsql("<write-transaction/>"));
    EXPECT_EQ(checks_made, 1);
}

TEST_F(CheckedTransactions, ChangeNothingWithoutTheMemoryToCheckThem)
{
    const std::string before = state();
    const std::string refusal = ask(lsql(same_channel));

    FailEachAllocation([&] {
        const std::string answer = ask(lsql(same_channel));

        const AllocationsAllowed allowed;
        EXPECT_EQ(state(), before);
        EXPECT_THAT(answer, AnyOf(HasSubstr("<error>"), "(nothing)"));
        EXPECT_TRUE(answer == refusal || AllocationFailed());
        renew();
    });
}

} // namespace
