/* SPDX-License-Identifier: MIT */
/* Whose answers last until something changes, and who is told so. */
#include "api/access_fixture.h"
#include "change/provider_record.h"
#include "change/refresher_record.h"
#include "core/announce.h"

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using vorn::Awaited;
using vorn::PeerOfRequest;
using vorn::put_rules_in_force;
using vorn::tests::AccessTest;

constexpr char lasts[] = "<lasting>yes</lasting>";
constexpr char channels[] =
    "<lsql tell-lasting=\"yes\"><select><Radio><channel/></Radio></select></lsql>";
constexpr char uptimes[] =
    "<lsql tell-lasting=\"yes\"><select><Radio><uptime/></Radio></select></lsql>";

bool is_said_to_last;

const char *tell_uptime(vorn_instance *, const char *, vorn_refresh_info *info)
{
    if (is_said_to_last) vorn_refresh_info_set_lasting(info);
    return "42";
}

void look(vorn_refresh_info *)
{}
void look_at(vorn_instance *, vorn_refresh_info *)
{}

vorn_refresher *refresher;

/* Beside the one that records, which says nothing of itself at first. */
void add_refresher()
{
    refresher = vorn_refresher_new("Radio");
    vorn_refresher_set_property_fn(refresher, "uptime", tell_uptime);
    vorn_provider *provider = vorn_provider_new("refresher");
    vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
    vorn_providers_add(provider);
}

class LastingAnswers : public AccessTest {
public:
    using AccessTest::ask_as_peer;

protected:
    LastingAnswers() : AccessTest(add_refresher)
    {
        is_said_to_last = false;
        vorn_provider_set_asks_first(vorn_providers_get("recorder"));
    }
    ~LastingAnswers() override { delete refresher; }

    bool lasting(const std::string &request)
    {
        return ask_as_peer(request).find(lasts) != std::string::npos;
    }
};

TEST_F(LastingAnswers, AreThoseOfValuesThatNobodyHasToLookUp)
{
    EXPECT_THAT(ask_as_peer(channels),
                EndsWith(std::string("<counter>2</counter>") + lasts + "</lsql_result>"));
    EXPECT_TRUE(lasting("<lsql tell-lasting=\"yes\"><select><None/></select></lsql>"));
}

TEST_F(LastingAnswers, StandBeforeTheCommit)
{
    EXPECT_THAT(ask_as_peer("<lsql tell-lasting=\"yes\" tell-commit=\"yes\">"
                            "<select><Radio/></select></lsql>"),
                HasSubstr(std::string(lasts) + "<commit>"));
}

TEST_F(LastingAnswers, AreToldToWhoAsks)
{
    EXPECT_FALSE(lasting("<lsql><select><Radio/></select></lsql>"));
    EXPECT_FALSE(lasting("<lsql tell-lasting=\"no\"><select><Radio/></select></lsql>"));
    EXPECT_THAT(ask(channels), Not(HasSubstr(lasts))) << "nobody's";
    EXPECT_THAT(ask_as("bob", channels), HasSubstr(lasts)) << "by who speaks for him";
}

TEST_F(LastingAnswers, AreNotThoseThatARefresherHasLookedUp)
{
    EXPECT_FALSE(lasting(uptimes));
    EXPECT_TRUE(lasting(channels));
    vorn_refresher_set_instance_fn(refresher, look_at);
    EXPECT_FALSE(lasting(channels));
}

TEST_F(LastingAnswers, AreNotThoseForWhichARefresherHasPrepared)
{
    vorn_refresher_set_pre_refresh_fn(refresher, look);
    EXPECT_FALSE(lasting(channels));
    EXPECT_TRUE(lasting("<lsql tell-lasting=\"yes\"><select><Board/></select></lsql>"));
}

TEST_F(LastingAnswers, MayBeThoseOfWhichTheRefresherSaysSo)
{
    is_said_to_last = true;
    EXPECT_TRUE(lasting(uptimes));
    is_said_to_last = false;
    EXPECT_FALSE(lasting(uptimes)) << "each time";
}

TEST_F(LastingAnswers, AreNotThoseOfConditionsThatARefresherHasLookedUp)
{
    EXPECT_FALSE(lasting("<lsql tell-lasting=\"yes\"><select><Radio><channel/></Radio></select>"
                         "<where><eq><property>uptime</property><value>42</value></eq></where>"
                         "</lsql>"));
}

TEST_F(LastingAnswers, AreNoneWhileAFunctionSaysNothingOfItself)
{
    vorn_provider *recorder = vorn_providers_get("recorder");
    vorn_provider_set_refresh_fn(
        recorder, [](vorn_refresh_info *, void *) {}, nullptr);
    EXPECT_FALSE(lasting(channels)) << "what was said of the one before";
    vorn_provider_set_asks_first(recorder);
    EXPECT_TRUE(lasting(channels));
}

TEST_F(LastingAnswers, AreNotThoseOfWhichAFunctionWasToldThatTheyAreSelected)
{
    vorn_provider *recorder = vorn_providers_get("recorder");
    vorn_provider_set_refresh_fn(
        recorder,
        [](vorn_refresh_info *info, void *) { vorn_refresh_info_contains_class(info, "Radio"); },
        nullptr);
    vorn_provider_set_asks_first(recorder);
    EXPECT_FALSE(lasting(channels));
    EXPECT_TRUE(lasting("<lsql tell-lasting=\"yes\"><select><Board/></select></lsql>"));
}

TEST_F(LastingAnswers, AreNotThoseOfRequestsThatWriteOrFail)
{
    EXPECT_FALSE(lasting("<lsql tell-lasting=\"yes\"><delete><Radio name=\"none\"/></delete>"
                         "<select><Radio/></select></lsql>"));
    EXPECT_FALSE(lasting("<lsql tell-lasting=\"yes\"><write-transaction><select><Radio/></select>"
                         "</write-transaction></lsql>"));
    EXPECT_FALSE(lasting("<explain tell-lasting=\"yes\"><select><Radio/></select></explain>"));
    EXPECT_FALSE(lasting("<lsql tell-lasting=\"yes\"><select><Radio properties=\"x\"/></select>"
                         "</lsql>"));
}

/* What a provider will have done by the end of a commit, nobody knows in its middle. */
TEST_F(LastingAnswers, AreNotThoseInTheMiddleOfACommit)
{
    static std::string within;
    static LastingAnswers *test = this;
    test = this;
    on_commit = [](QueryTest &) { within = test->ask_as_peer(channels); };
    ask(vorn::tests::change_channel_in_transaction);
    EXPECT_THAT(within, HasSubstr("<counter>2</counter></lsql_result>"));
}

/* Who waits for the next change. */
class AwaitedChanges : public LastingAnswers {
protected:
    ~AwaitedChanges() override { vorn::change_awaited = nullptr; }

    static unsigned int count;
    static void await()
    {
        count = 0;
        vorn::change_awaited = [](const vorn_instances *store) {
            if (!store || store == vorn_config_get_running()) count++;
        };
    }
};
unsigned int AwaitedChanges::count = 0;

TEST_F(AwaitedChanges, AreThoseOfRequestsOfAnyKind)
{
    for (const char *request :
         {vorn::tests::change_channel, vorn::tests::change_channel_in_transaction,
          "<lsql><delete><Radio name=\"r1\"/></delete></lsql>",
          "<lsql><insert><Route><to>x</to></Route></insert></lsql>",
          "<lsql><write-transaction><delete><Route/></delete></write-transaction></lsql>"}) {
        renew();
        await();
        ask(request);
        EXPECT_GT(count, 0U) << request;
    }
}

TEST_F(AwaitedChanges, AreThoseOfCommitsThatChangeNothing)
{
    await();
    ask("<lsql><write-transaction><select><Radio/></select></write-transaction></lsql>");
    EXPECT_GT(count, 0U) << "its number is told";
}

TEST_F(AwaitedChanges, AreThoseOfAnotherConfigurationInThePlaceOfThisOne)
{
    await();
    let([] { vorn_config_replace_running(vorn_instances_copy(vorn_config_get_running())); });
    EXPECT_GT(count, 0U);
}

/* What holds while it is told: rules are no more than a pointer for who has none. */
class AwaitedRights : public AwaitedChanges {
protected:
    ~AwaitedRights() override { vorn::rights_awaited = nullptr; }

    static inline std::vector<bool> had_rules;
    static inline std::vector<bool> had_rules_by_then;
    static void await()
    {
        had_rules.clear();
        had_rules_by_then.clear();
        vorn::rights_awaited = [] { had_rules.push_back(vorn::access_rules != nullptr); };
        vorn::change_awaited = [](const vorn_instances *) {
            had_rules_by_then.push_back(vorn::access_rules != nullptr);
        };
    }
    static constexpr char deny[] =
        "<insert><access-rule name=\"r\"><order>1</order><subject>gate:bob</subject>"
        "<class>Radio</class><operations>read</operations><effect>deny</effect></access-rule>"
        "</insert>";
    static constexpr char permit[] = "<delete><access-rule/></delete>";
    static std::string transaction(const char *operation)
    {
        return std::string("<lsql><write-transaction>") + operation + "</write-transaction></lsql>";
    }
};

TEST_F(AwaitedRights, AreToldBeforeRulesComeIntoForceAndBeforeTheyGo)
{
    for (const auto &[come, go] : {std::pair{transaction(deny), transaction(permit)},
                                   std::pair{std::string("<lsql>") + deny + "</lsql>",
                                             std::string("<lsql>") + permit + "</lsql>"}}) {
        await();
        ask(come);
        EXPECT_NE(vorn::access_rules, nullptr);
        EXPECT_THAT(had_rules, testing::Contains(false)) << come;
        EXPECT_THAT(had_rules_by_then, testing::Contains(false));
        EXPECT_FALSE(had_rules.at(0));

        await();
        ask(go);
        EXPECT_EQ(vorn::access_rules, nullptr);
        EXPECT_TRUE(had_rules.at(0)) << go;
        EXPECT_TRUE(had_rules_by_then.at(0));
    }
}

TEST_F(AwaitedRights, AreToldBeforeRulesThatNobodyUnderstandsKeepAllOut)
{
    put(vorn::access_rule_class, "r", {{"order", "first"}});
    await();
    put_rules_in_force(vorn_config_get_running());
    EXPECT_NE(vorn::access_rules, nullptr);
    EXPECT_EQ(had_rules, std::vector<bool>{false});
    EXPECT_EQ(had_rules_by_then, std::vector<bool>{false});
}

/* By themselves they change nothing else: what is told of them is told of a change, too. */
TEST_F(AwaitedRights, AreAChangeLikeAnyOther)
{
    put(vorn::access_rule_class, "r",
        {{"order", "1"},
         {"subject", "gate:bob"},
         {"class", "Radio"},
         {"operations", "read"},
         {"effect", "deny"}});
    await();
    put_rules_in_force(vorn_config_get_running());
    EXPECT_EQ(had_rules.size(), 1U);
    EXPECT_EQ(had_rules_by_then.size(), 1U);
    EXPECT_FALSE(had_rules.at(0) || had_rules_by_then.at(0));
}

TEST_F(AwaitedRights, AreNotWhatElseChanges)
{
    await();
    ask(vorn::tests::change_channel);
    ask(vorn::tests::change_channel_in_transaction);
    EXPECT_GT(had_rules_by_then.size(), 0U);
    EXPECT_EQ(had_rules.size(), 0U);
}

TEST_F(AwaitedChanges, AreThoseOfWhoIsAnsweredAtAll)
{
    await();
    vorn_query_disable_external_updates();
    EXPECT_GT(count, 0U);
}

/* They make another value of what they are asked for. */
TEST_F(AwaitedChanges, AreThoseOfFunctionsThatRefresh)
{
    const auto announced = [this](auto change) {
        await();
        change();
        return count > 0;
    };
    EXPECT_TRUE(announced([] {
        vorn_provider_set_refresh_fn(vorn_providers_get("refresher"), vorn_refresher_fn, refresher);
    }));
    EXPECT_TRUE(announced([] { vorn_refresher_set_pre_refresh_fn(refresher, look); }));
    EXPECT_TRUE(announced([] { vorn_refresher_set_instance_fn(refresher, look_at); }));
    EXPECT_TRUE(
        announced([] { vorn_refresher_set_property_fn(refresher, "uptime", tell_uptime); }));
}

TEST_F(AwaitedChanges, AreNotWhatIsOnlyRead)
{
    ask(uptimes);
    await();
    ask(uptimes);
    ask("<lsql tell-commit=\"yes\"><select><Radio properties=\"all\"/></select></lsql>");
    EXPECT_EQ(count, 0U);
}

TEST_F(AwaitedChanges, AreToldToWhoStaysAlone)
{
    const std::string request = "<lsql tell-change=\"yes\"><select><Board/></select></lsql>";
    EXPECT_THAT(ask_as_peer(request), Not(HasSubstr("<change>")));
    EXPECT_THAT(ask(request), Not(HasSubstr("<change>")));
    EXPECT_THAT(ask_as_who_stays(request),
                EndsWith("<counter>1</counter><change>awaited</change></lsql_result>"));
    EXPECT_EQ(has_awaited, Awaited::change);
    EXPECT_THAT(ask_as_who_stays("<lsql><select><Board/></select></lsql>"),
                Not(HasSubstr("<change>")));
    EXPECT_EQ(has_awaited, Awaited::nothing);
    EXPECT_THAT(ask_as_who_stays("<lsql tell-change=\"rights\"><select><Board/></select></lsql>"),
                EndsWith("<change>awaited</change></lsql_result>"));
    EXPECT_EQ(has_awaited, Awaited::rights);
    EXPECT_THAT(ask_as_who_stays("<lsql tell-change=\"other\"><select><Board/></select></lsql>"),
                Not(HasSubstr("<change>")));
    EXPECT_EQ(has_awaited, Awaited::nothing);
}

TEST_F(AwaitedChanges, AreToldToNobodyWhoseRequestFails)
{
    EXPECT_THAT(ask_as_who_stays("<lsql tell-change=\"yes\"><select><Radio properties=\"x\"/>"
                                 "</select></lsql>"),
                Not(HasSubstr("<change>")));
    EXPECT_EQ(has_awaited, Awaited::nothing);
}

} // namespace
