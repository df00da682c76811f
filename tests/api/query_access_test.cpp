/* SPDX-License-Identifier: MIT */
/* What somebody may not read is not there for him, and what he may not change stays. */
#include "api/access_fixture.h"

#include <gmock/gmock.h>

#include <string>

namespace {

using testing::HasSubstr;
using testing::Not;
using vorn::tests::AccessTest;
using vorn::tests::change_channel_in_transaction;
using vorn::tests::QueryTest;

TEST_F(AccessTest, HidesNothingWithoutRules)
{
    const std::string request = "<lsql><select><Radio properties=\"all\"/></select></lsql>";
    EXPECT_EQ(ask_as("bob", request), ask(request));
    EXPECT_THAT(ask_as("bob", request), HasSubstr("<counter>2</counter>"));
}

TEST_F(AccessTest, HidesClassesThatMayNotBeRead)
{
    rule("r", 1, "gate:bob", "Radio", "", "read", "deny");
    const std::string select = "<lsql><select><Radio properties=\"all\"/></select></lsql>";
    EXPECT_EQ(ask_as("bob", select),
              "<lsql_result><dataset/><rc>0</rc><counter>0</counter></lsql_result>");
    EXPECT_EQ(ask_as("bob", select), ask_as("bob", select));
    EXPECT_THAT(ask_as("eve", select), HasSubstr("<counter>2</counter>"));
    EXPECT_THAT(ask(select), HasSubstr("<counter>2</counter>"));

    EXPECT_EQ(ask_as("bob", "<lsql><update><Radio><channel>3</channel></Radio></update></lsql>"),
              "<lsql_result><error>Unknown class \"Radio\".</error><rc>1</rc><counter>0</counter>"
              "</lsql_result>");
    EXPECT_EQ(ask_as("bob", "<lsql><delete><Radio/></delete></lsql>"),
              ask("<lsql><delete><Rodio/></delete></lsql>"));
    EXPECT_EQ(value("Radio", "r0", "channel"), "6");
}

TEST_F(AccessTest, HidesPropertiesThatMayNotBeRead)
{
    rule("r", 1, "gate:bob", "Radio", "channel uptime", "*", "deny");
    EXPECT_THAT(
        ask_as("bob", "<lsql><select><Radio name=\"r0\" properties=\"all\"/></select></lsql>"),
        HasSubstr("<Radio name=\"r0\"><mode>g</mode></Radio>"));
    EXPECT_THAT(
        ask_as("bob", "<lsql><select><Radio name=\"r0\"><channel/><mode/></Radio></select></lsql>"),
        HasSubstr("<Radio name=\"r0\"><channel/><mode>g</mode></Radio>"));
    EXPECT_THAT(ask_as("bob",
                       "<lsql><select><Radio><mode/></Radio></select><where><eq><property>channel"
                       "</property><value>6</value></eq></where></lsql>"),
                HasSubstr("<dataset/>"));
    EXPECT_THAT(
        ask_as("bob",
               "<lsql><update><Radio name=\"r0\"><channel>3</channel></Radio></update></lsql>"),
        HasSubstr("Property \"channel\" is not valid for class \"Radio\"."));
}

TEST_F(AccessTest, RefusesAsAWholeWhatMayNotBeChanged)
{
    rule("r", 1, "gate:bob", "Radio", "channel", "update", "deny");
    rule("s", 1, "any", "Route", "", "insert delete", "deny");
    const std::string before = state();
    EXPECT_EQ(ask_as("bob", "<lsql><update><Radio name=\"r0\"><mode>n</mode></Radio></update>"
                            "<update><Radio name=\"r0\"><channel>3</channel></Radio></update>"
                            "<select><Radio><mode/></Radio></select></lsql>"),
              "<lsql_result><error>Access denied: property \"channel\" of class \"Radio\".</error>"
              "<rc>1</rc><counter>0</counter></lsql_result>");
    EXPECT_THAT(ask_as("bob", "<lsql><delete><Route/></delete></lsql>"),
                HasSubstr("<error>Access denied: class \"Route\".</error>"));
    EXPECT_THAT(ask_as("bob", "<lsql><insert><Route><to>x</to></Route></insert></lsql>"),
                HasSubstr("<error>Access denied: class \"Route\".</error>"));
    EXPECT_EQ(state(), before);
    EXPECT_THAT(
        ask_as("bob", "<lsql><update><Radio name=\"r0\"><mode>n</mode></Radio></update></lsql>"),
        HasSubstr("<rc>0</rc><counter>1</counter>"));
}

TEST_F(AccessTest, TakesTheFirstRuleThatFits)
{
    rule("b", 2, "any", "*", "", "*", "deny");
    rule("a", 1, "gate:bob", "Address", "", "read", "permit");
    rule("c", 3, "any", "*", "", "*", "permit");
    EXPECT_THAT(ask_as("bob", "<lsql><select><Static/></select></lsql>"),
                HasSubstr("<counter>1</counter>"));
    EXPECT_THAT(ask_as("bob", "<lsql><select><Radio/></select></lsql>"),
                HasSubstr("<counter>0</counter>"));
    EXPECT_THAT(ask_as("eve", "<lsql><select><Static/></select></lsql>"),
                HasSubstr("<counter>0</counter>"));
    EXPECT_THAT(ask("<lsql><select><Radio/></select></lsql>"), HasSubstr("<counter>2</counter>"));
}

TEST_F(AccessTest, AnswersTheSavedFileOnlyToWhoMayReadAll)
{
    EXPECT_THAT(ask_as("bob", "<get_conf/>"), Not(HasSubstr("Access denied")));
    rule("r", 1, "gate:bob", "Nothing", "", "read", "deny");
    EXPECT_EQ(ask_as("bob", "<get_conf/>"), "<?xml version=\"1.0\"?><error>Access denied.</error>");
    EXPECT_THAT(ask_as("eve", "<get_conf/>"), Not(HasSubstr("Access denied")));
}

TEST_F(AccessTest, ComesIntoForceWithItsTransaction)
{
    const std::string deny =
        "<lsql><write-transaction><insert><access-rule name=\"x\"><order>1</order>"
        "<subject>any</subject><class>*</class><operations>read</operations>"
        "<effect>deny</effect></access-rule></insert></write-transaction></lsql>";
    const std::string select = "<lsql><select><Radio/></select></lsql>";
    EXPECT_THAT(ask(deny), HasSubstr("<rc>0</rc>"));
    EXPECT_THAT(ask_as("bob", select), HasSubstr("<counter>0</counter>"));
    EXPECT_THAT(ask("<lsql><delete><access-rule/></delete></lsql>"), HasSubstr("<rc>0</rc>"));
    EXPECT_THAT(ask_as("bob", select), HasSubstr("<counter>2</counter>"));
}

TEST_F(AccessTest, ExplainsWhatMayBeRead)
{
    rule("r", 1, "any", "Radio", "channel", "read", "deny");
    const std::string change =
        "<explain><update><Radio name=\"r0\"><channel>7</channel><mode>n</mode>"
        "</Radio></update></explain>";
    EXPECT_THAT(ask(change), HasSubstr("<value property=\"channel\">"));
    EXPECT_EQ(ask_as("bob", change),
              "<explanation><change action=\"updated\" class=\"Radio\" name=\"r0\"><value "
              "property=\"mode\"><before>g</before><after>n</after></value></change><rc>0</rc>"
              "</explanation>");
    const std::string same = "<explain><update><Radio name=\"r0\"><channel>6</channel></Radio>"
                             "</update></explain>";
    const std::string other = "<explain><update><Radio name=\"r0\"><channel>5</channel></Radio>"
                              "</update></explain>";
    EXPECT_EQ(ask_as("bob", same), ask_as("bob", other));
    EXPECT_EQ(
        ask_as("bob", "<explain downgrade=\"\"/>"),
        "<lsql_result><error>Access denied.</error><rc>1</rc><counter>0</counter></lsql_result>");
}

/* What may hold anything is told to who may read everything, not to who may read some of each. */
TEST_F(AccessTest, ShowsWhatIsAboutOthersOnlyToWhoMayReadEverything)
{
    vorn_property *mode = vorn_class_get_property(vorn_classes_get("Radio"), "mode");
    vorn_property_set_about_others(mode, 1);
    const std::string select = "<lsql><select><Radio name=\"r0\"><mode/></Radio></select></lsql>";
    const std::string downgrade = "<explain downgrade=\"\"/>";
    const auto told = HasSubstr("<mode>g</mode>");
    const auto denied = HasSubstr("Access denied.");

    rule("b", 10, "gate:bob", "Board", "", "read", "deny");
    EXPECT_THAT(ask_as("bob", select), Not(told));
    EXPECT_THAT(ask_as("bob", downgrade), denied);
    EXPECT_THAT(ask_as("carl", select), told);
    EXPECT_THAT(ask_as("carl", downgrade), Not(denied));

    rule("c", 9, "gate:bob", "*", "mode", "read", "permit");
    EXPECT_THAT(ask_as("bob", select), Not(told)) << "a permission of one property of each class";
    EXPECT_THAT(ask_as("bob", downgrade), denied);

    rule("d", 8, "gate:bob", "*", "", "update", "permit");
    EXPECT_THAT(ask_as("bob", downgrade), denied) << "a permission of something else";

    rule("e", 7, "gate:bob", "*", "", "read", "permit");
    EXPECT_THAT(ask_as("bob", select), told) << "what comes after that is never asked";
    EXPECT_THAT(ask_as("bob", downgrade), Not(denied));
    vorn_property_set_about_others(mode, 0);
}

TEST_F(AccessTest, HidesReasonsThatNameWhatMayNotBeRead)
{
    rule("r", 1, "any", "Board", "", "read", "deny");
    rule("s", 2, "any", "Acl", "mac", "read", "deny");
    static const char *reason;
    on_check = [](QueryTest &, vorn_check_info *info) {
        vorn_check_info_refuse(
            info, vorn_instances_get(vorn_check_info_get_instances(info), "Radio", "r0"), "channel",
            "%s", reason);
    };
    const auto hidden = HasSubstr("<error>It does not fit something that may not be read.</error>");
    for (const char *each : {"attic has it", "it is like Board", "see \"02\""}) {
        reason = each;
        EXPECT_THAT(ask_as("bob", change_channel_in_transaction), hidden) << each;
        EXPECT_THAT(ask(change_channel_in_transaction), Not(hidden)) << each;
    }
    reason = "the attics are full of 7";
    EXPECT_THAT(ask_as("bob", change_channel_in_transaction), HasSubstr(reason));
    on_check = [](QueryTest &, vorn_check_info *info) {
        vorn_instances *all = vorn_check_info_get_instances(info);
        vorn_check_info_refuse(info, vorn_instances_get_singleton(all, "Board"), nullptr, "no");
    };
    EXPECT_THAT(ask_as("bob", change_channel_in_transaction), hidden);
}

TEST_F(AccessTest, ChecksWhatAPluginMakesOfTheConfigurationAtSomebodysWord)
{
    vorn_class_set_persistence(vorn_classes_get("Board"), 1);
    vorn_property_set_persistence(vorn_class_get_property(vorn_classes_get("Board"), "label"), 1);
    on_amend = [](QueryTest &, vorn_amend_info *info) {
        constexpr char document[] = "<config><Board><label>cellar</label></Board></config>";
        vorn_amend_info_become(info, document, sizeof document - 1);
    };
    rule("r", 1, "any", "Board", "label", "update", "deny");
    EXPECT_THAT(ask_as("bob", change_channel_in_transaction),
                HasSubstr("<error>Access denied: property \"label\" of class \"Board\".</error>"));
    EXPECT_EQ(value("Board", nullptr, "label"), "attic");
    rule("s", 0, "any", "Board", "", "read", "deny");
    EXPECT_THAT(ask_as("bob", change_channel_in_transaction),
                HasSubstr("<error>Access denied.</error>"));
    const std::string explained = "<explain><update><Radio name=\"r0\"><channel>7</channel></Radio>"
                                  "</update></explain>";
    EXPECT_THAT(ask_as("bob", explained), HasSubstr("<error>Access denied.</error>"));
}

TEST_F(AccessTest, TellsIdsThatNobodyCanTryOut)
{
    const std::string tell = "<lsql tell-commit=\"yes\"><select><Board/></select></lsql>";
    const auto id_in = [](const std::string &answer) {
        const std::size_t at = answer.find("<commit>") + 8;
        return answer.substr(at, answer.find("</commit>") - at);
    };
    const std::string real = id_in(ask(tell));
    rule("r", 1, "gate:bob", "Radio", "", "read", "deny");
    const std::string told = id_in(ask_as("bob", tell));
    EXPECT_NE(told, id_in(ask(tell)));
    EXPECT_EQ(told, id_in(ask_as("bob", tell)));
    EXPECT_EQ(id_in(ask_as("eve", tell)), id_in(ask(tell)));
    EXPECT_THAT(ask_as("bob", "<lsql if-commit=\"" + told + "\"><select><Board/></select></lsql>"),
                HasSubstr("<rc>0</rc>"));
    EXPECT_THAT(ask_as("bob", "<lsql if-commit=\"" + real + "\"><select><Board/></select></lsql>"),
                HasSubstr("The configuration has changed"));
}

TEST_F(AccessTest, LetsInNobodyButRootWithoutRulesThatWereThere)
{
    vorn::note_missing_rules(true, vorn_config_get_running());
    EXPECT_THAT(ask_as("bob", "<lsql><select><Radio/></select></lsql>"),
                HasSubstr("<error>Access denied.</error>"));
    EXPECT_THAT(ask_as("bob", "<get_conf/>"), HasSubstr("<error>Access denied.</error>"));
    EXPECT_THAT(ask_as_peer("<lsql><select><Radio/></select></lsql>"),
                HasSubstr("<counter>2</counter>"));
    vorn::note_missing_rules(false, vorn_config_get_running());
    EXPECT_THAT(ask_as("bob", "<lsql><select><Radio/></select></lsql>"),
                HasSubstr("<counter>2</counter>"));
}

TEST_F(AccessTest, RefusesRulesThatCantBeUnderstood)
{
    const std::string rules =
        "<lsql><write-transaction><insert><access-rule name=\"x\"><order>1</order>"
        "<subject>anyone</subject><class>*</class><operations>read</operations>"
        "<effect>deny</effect></access-rule></insert></write-transaction></lsql>";
    EXPECT_THAT(ask(rules), HasSubstr("<error>The access rules can't be understood.</error>"));
    EXPECT_THAT(ask_as("bob", "<lsql><select><Radio/></select></lsql>"),
                HasSubstr("<counter>2</counter>"));
}

TEST_F(AccessTest, HidesNothingLessWhenMemoryIsGone)
{
    rule("a", 1, "gate:bob", "Radio", "channel", "read update", "deny");
    rule("b", 2, "any", "Route", "", "*", "deny");
    const std::string request = "<lsql><select><Radio properties=\"all\"/></select><select><Route/>"
                                "</select></lsql>";
    const std::string whole = ask_as("bob", request);
    vorn::tests::FailEachAllocation(
        [&] {
            {
                const vorn::tests::AllocationsAllowed allowed;
                vorn::put_rules_in_force(vorn_config_get_running());
            }
            const std::string told = ask_as("bob", request);
            const vorn::tests::AllocationsAllowed allowed;
            EXPECT_TRUE(told == whole || told == "(nothing)" ||
                        told.find("Access denied") != told.npos)
                << told;
        },
        20);
}

TEST_F(AccessTest, LetsInNobodyButRootWhenItsRulesFindNoMemory)
{
    const std::string request = "<lsql><select><Radio properties=\"all\"/></select></lsql>";
    rule("a", 1, "gate:bob", "Radio", "channel", "read", "deny");
    const std::string told_to_bob = ask_as("bob", request);
    const std::string told_to_root = ask(request);
    constexpr unsigned long least = 10;
    vorn::tests::FailEachAllocation(
        [&] {
            vorn::put_rules_in_force(vorn_config_get_running());
            const bool has_failed = vorn::tests::AllocationFailed();
            const vorn::tests::AllocationsAllowed allowed;
            EXPECT_EQ(ask_as("bob", request),
                      has_failed ? "<lsql_result><error>Access denied.</error><rc>1</rc>"
                                   "<counter>0</counter></lsql_result>"
                                 : told_to_bob);
            EXPECT_EQ(ask(request), told_to_root);
        },
        least);
}

TEST_F(AccessTest, RefusesTransactionsForWhoseRulesThereIsNoMemory)
{
    const std::string request =
        "<lsql><write-transaction><insert><access-rule name=\"x\"><order>1</order>"
        "<subject>gate:bob</subject><class>Radio</class><properties>channel mode</properties>"
        "<operations>read update</operations><effect>deny</effect></access-rule></insert>"
        "</write-transaction></lsql>";
    rule("w", 1, "gate:bob", "Route", "", "*", "deny");
    const std::string before = state();
    constexpr unsigned long least = 40;
    vorn::tests::FailEachAllocation(
        [&] {
            const std::string told = ask(request);
            const vorn::tests::AllocationsAllowed allowed;
            const bool is_done = told.find("<rc>0</rc>") != told.npos;
            EXPECT_TRUE(is_done || vorn::tests::AllocationFailed()) << told;
            EXPECT_TRUE(is_done || state() == before);
            const char *seen = is_done ? "<Radio name=\"r0\"><uptime/></Radio>" : "<mode>g</mode>";
            EXPECT_THAT(ask_as("bob", "<lsql><select><Radio name=\"r0\" properties=\"all\"/>"
                                      "</select></lsql>"),
                        HasSubstr(seen))
                << told;
            EXPECT_THAT(ask_as("bob", "<lsql><select><Route/></select></lsql>"),
                        HasSubstr("<counter>0</counter>"));
            ask("<lsql><delete><access-rule name=\"x\"/></delete></lsql>");
        },
        least);
}

TEST_F(AccessTest, FindsOutOnceWhatSomebodyMay)
{
    rule("r", 1, "any", "Radio", "", "read", "deny");
    vorn::Subject subject;
    subject.uid = 1000;
    const vorn::AccessView *first = vorn::Access(subject).view();

    EXPECT_NE(first, nullptr);
    EXPECT_EQ(vorn::Access(subject).view(), first);
    subject.uid = 1001;
    EXPECT_NE(vorn::Access(subject).view(), first);
}

TEST_F(AccessTest, HidesSubclassesAmongThoseOfOneClass)
{
    rule("r", 1, "any", "Static", "", "read", "deny");
    const std::string insert =
        "<lsql><insert><Address name=\"t\"><kind>Tunnel</kind></Address></insert></lsql>";
    EXPECT_THAT(ask_as("bob", insert), HasSubstr("<rc>0</rc><counter>1</counter>"));
    EXPECT_EQ(ask_as("bob", "<lsql><select><Address/></select></lsql>"),
              "<lsql_result><dataset><Address name=\"t\"/></dataset><rc>0</rc><counter>1</counter>"
              "</lsql_result>");
    EXPECT_THAT(ask_as("bob", "<lsql><delete><Address/></delete></lsql>"),
                HasSubstr("<counter>1</counter>"));
    EXPECT_THAT(ask("<lsql><select><Static/></select></lsql>"), HasSubstr("<counter>1</counter>"));
}

} // namespace
