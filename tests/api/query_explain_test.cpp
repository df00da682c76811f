/* SPDX-License-Identifier: MIT */
/* What is told of a change that is not made, and that telling it leaves nothing behind. */
#include "api/query_fixture.h"
#include "core/base/limits.h"
#include "model/instances_record.h"

#include <gmock/gmock.h>

namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using vorn::tests::AllocationFailed;
using vorn::tests::AllocationsAllowed;
using vorn::tests::ClassBuilder;
using vorn::tests::FailEachAllocation;
using vorn::tests::QueryTest;

std::string explained(const std::string &operations)
{
    return "<explain>" + operations + "</explain>";
}

std::string said(const std::string &content)
{
    return "<explanation>" + content + "</explanation>";
}

constexpr char to_seven[] = "<update><Radio name=\"r0\"><channel>7</channel></Radio></update>";
constexpr char to_nothing_valid[] =
    "<update><Radio name=\"r0\"><channel>x</channel></Radio></update>";
constexpr char change_of_r0[] =
    "<change action=\"updated\" class=\"Radio\" name=\"r0\"><value property=\"channel\">"
    "<before>6</before><after>7</after></value></change>";
constexpr char part_of_r0[] =
    "<provider name=\"recorder\"><instance action=\"update\" class=\"Radio\" name=\"r0\"/>"
    "</provider>";

void refuse_seven(QueryTest &, vorn_check_info *info)
{
    const vorn_instance *radio =
        vorn_instances_get(vorn_check_info_get_instances(info), "Radio", "r0");
    if (std::string_view(vorn_instance_get_value(radio, "channel")) != "7") return;
    vorn_check_info_refuse(info, radio, "channel", "channel 7 is too loud");
    vorn_check_info_refuse(info, nullptr, nullptr, "And nobody wants <7>");
}

void explain_radio(vorn_commit_info *info, vorn_explanation *explanation)
{
    const AllocationsAllowed allowed;
    EXPECT_STREQ(static_cast<const char *>(vorn_commit_info_get_data(info)), "its own");
    const vorn_changes *changes = vorn_commit_info_get_changes(info);
    const vorn_instance *now = vorn_instances_get(vorn_commit_info_get_after(info), "Radio", "r0");
    const vorn_instance *before = now ? vorn_changes_get_instance_before(changes, now) : nullptr;
    if (!now || !before || !vorn_changes_contains_instance(changes, now)) return;
    EXPECT_NE(vorn_commit_info_get_after(info), vorn_config_get_running());
    EXPECT_EQ(vorn_commit_info_get_before(info), vorn_changes_get_before(changes));
    EXPECT_NE(vorn_commit_info_get_actions(info), nullptr);
    vorn_explanation_add(explanation, VORN_EXPLAIN_NOTHING, "file %s is written", "<r0>");
    vorn_explanation_add(explanation, VORN_EXPLAIN_INTERRUPTS, "from %s to %s",
                         vorn_instance_get_value(before, "channel"),
                         vorn_instance_get_value(now, "channel"));
}

class Explanations : public QueryTest {
protected:
    static void let_recorder_explain()
    {
        static char own[] = "its own";
        vorn_provider_set_explain_fn(vorn_providers_get("recorder"), explain_radio, own);
    }

    /* The instances themselves, which a copy of the store would hold others of. */
    static std::vector<const vorn_instance *> objects()
    {
        std::vector<const vorn_instance *> all;
        for (const vorn_instance *each :
             vorn::Walk(vorn_instances_new_iterator(vorn_config_get_running())))
            all.push_back(each);
        return all;
    }
};

TEST_F(Explanations, TellWhatAnUpdateChangesAndWhoWouldHearOfIt)
{
    EXPECT_EQ(ask(explained(to_seven)),
              said(std::string(change_of_r0) + part_of_r0 + "<rc>0</rc>"));
}

TEST_F(Explanations, TakeATransactionForNothingElse)
{
    EXPECT_EQ(
        ask(explained("<write-transaction>" + std::string(to_seven) + "</write-transaction>")),
        ask(explained(to_seven)));
}

TEST_F(Explanations, TellTheDeletedFirstAndThenTheOthersAsTheyCame)
{
    EXPECT_EQ(
        ask(explained("<insert><Radio name=\"r2\"><channel>1</channel></Radio></insert>"
                      "<update><Board><label></label></Board></update>"
                      "<delete><Acl name=\"staff\"/></delete>"
                      "<insert><Route><to>moon</to></Route></insert>")),
        said("<change action=\"deleted\" class=\"Acl\" name=\"staff\"><value property=\"mac\">"
             "<before>02</before></value></change>"
             "<change action=\"inserted\" class=\"Radio\" name=\"r2\"><value property=\"channel\">"
             "<after>1</after></value></change>"
             "<change action=\"updated\" class=\"Board\"><value property=\"label\">"
             "<before>attic</before><after/></value></change>"
             "<change action=\"inserted\" class=\"Route\"><value property=\"to\">"
             "<after>moon</after></value></change>"
             "<provider name=\"recorder\"><instance action=\"delete\" class=\"Acl\" "
             "name=\"staff\"/><instance action=\"insert\" class=\"Radio\" name=\"r2\"/>"
             "<instance action=\"update\" class=\"Board\"/>"
             "<instance action=\"insert\" class=\"Route\"/></provider><rc>0</rc>"));
}

TEST_F(Explanations, TellNoChangeOfWhatIsWrittenAsItWas)
{
    EXPECT_EQ(ask(explained("<update><Radio name=\"r0\"><channel>6</channel></Radio></update>")),
              said(std::string(part_of_r0) + "<rc>0</rc>"));
}

TEST_F(Explanations, TellWhatOnlyTheSuperclassDeclares)
{
    ClassBuilder("Port").with("speed").add_resolved();
    ClassBuilder("Uplink").below("Port").with("peer").add_resolved();
    put("Uplink", "u0", {{"speed", "100"}, {"peer", "east"}});

    EXPECT_THAT(
        ask(explained("<update><Uplink name=\"u0\"><speed>10</speed></Uplink></update>")),
        HasSubstr("<change action=\"updated\" class=\"Uplink\" name=\"u0\"><value "
                  "property=\"speed\"><before>100</before><after>10</after></value></change>"));
}

TEST_F(Explanations, TellNothingOfWhatAPluginKeepsToItself)
{
    vorn_property *label = vorn_class_get_property(vorn_classes_get("Board"), "label");
    vorn_property_set_readable(label, 0);
    EXPECT_THAT(ask(explained("<update><Board><label>x</label></Board></update>")),
                HasSubstr("<after>x</after>"));
    on_amend = [](QueryTest &, vorn_amend_info *info) {
        vorn_instance_set_value(
            vorn_instances_get_singleton(vorn_amend_info_get_instances(info), "Board"), "label",
            "y");
    };
    vorn_property_set_writable(label, 0);

    EXPECT_THAT(ask(explained(to_seven)), Not(HasSubstr("<after>y</after>")));
}

TEST_F(Explanations, HideSecrets)
{
    vorn_property_set_secret(vorn_class_get_property(vorn_classes_get("Board"), "label"), 1);

    EXPECT_THAT(ask(explained("<update><Board><label>vault</label></Board></update>")),
                HasSubstr("<before>********</before><after>********</after>"));
    EXPECT_THAT(ask(explained("<update><Board><label></label></Board></update>")),
                HasSubstr("<before>********</before><after/>"));
}

TEST_F(Explanations, TellWhatTheProviderSaysOfIt)
{
    let_recorder_explain();

    EXPECT_EQ(ask(explained(to_seven)),
              said(std::string(change_of_r0) +
                   "<provider name=\"recorder\"><instance action=\"update\" class=\"Radio\" "
                   "name=\"r0\"/><effect weight=\"nothing\">file &lt;r0&gt; is written</effect>"
                   "<effect weight=\"interrupts\">from 6 to 7</effect></provider><rc>0</rc>"));
}

TEST_F(Explanations, TellWhyTheChangeIsRefusedAndThenNothingOfProviders)
{
    on_check = refuse_seven;
    let_recorder_explain();

    EXPECT_EQ(ask(explained(to_seven)),
              said(std::string(change_of_r0) +
                   "<refused>Property \"channel\" of instance \"r0\" of class \"Radio\": channel 7 "
                   "is too loud.</refused><refused>And nobody wants &lt;7&gt;.</refused>"
                   "<rc>1</rc>"));
}

TEST_F(Explanations, TellAnErrorAndNothingElse)
{
    EXPECT_EQ(
        ask(explained(std::string(to_seven) + to_nothing_valid)),
        said("<error operation=\"2\">Value \"x\" is not valid for property \"channel\" of class "
             "\"Radio\".</error><rc>1</rc>"));
    EXPECT_EQ(ask(explained("<frobnicate/>")),
              said("<error operation=\"1\">Invalid operation \"frobnicate\".</error><rc>1</rc>"));
    EXPECT_EQ(ask(explained("<update><Nothing/></update>")),
              said("<error operation=\"1\">Unknown class \"Nothing\".</error><rc>1</rc>"));
}

/* Of the operation, with the property that it is about. */
std::string refused_value(int operation, const std::string &value, const std::string &klass)
{
    return "<error operation=\"" + std::to_string(operation) + "\">Value \"" + value +
           "\" is not valid for property \"channel\" of class \"" + klass + "\".</error>";
}

TEST_F(Explanations, TellEveryValueThatWouldBeRefused)
{
    EXPECT_EQ(ask(explained("<update><Radio name=\"r0\"><channel>x</channel><uptime>7</uptime>"
                            "<power>9</power></Radio></update>" +
                            std::string(to_seven) +
                            "<insert><Radio name=\"r8\"><channel>y</channel></Radio>"
                            "<Radio name=\"r9\"><channel>z</channel></Radio></insert>"
                            "<update><Nothing/></update><delete must-match=\"yes\"><Radio "
                            "name=\"r7\"/></delete><select><Radio properties=\"all\"/></select>")),
              said(refused_value(1, "x", "Radio") +
                   "<error operation=\"1\">Property \"uptime\" of class \"Radio\" is not "
                   "writable.</error>"
                   "<error operation=\"1\">Property \"power\" is not valid for class "
                   "\"Radio\".</error>" +
                   refused_value(3, "y", "Radio") + refused_value(3, "z", "Radio") +
                   "<error operation=\"4\">Unknown class \"Nothing\".</error>"
                   "<error operation=\"5\">No instance \"r7\" of class \"Radio\".</error>"
                   "<rc>1</rc>"));
}

TEST_F(Explanations, TellAValueOfManyInstancesOnce)
{
    EXPECT_EQ(ask(explained("<update><Radio><channel>x</channel></Radio></update>")),
              said(refused_value(1, "x", "Radio") + "<rc>1</rc>"));
}

/* What only follows from another error would be told in vain. */
TEST_F(Explanations, FindWhatOnlyAnOtherErrorWouldKeepFromBeingThere)
{
    EXPECT_EQ(ask(explained("<insert><Radio name=\"r8\"><channel>y</channel></Radio></insert>"
                            "<update must-match=\"yes\"><Radio name=\"r8\"><mode>n</mode></Radio>"
                            "</update>")),
              said(refused_value(1, "y", "Radio") + "<rc>1</rc>"));
}

TEST_F(Explanations, HaveNoPlaceForWhatIsSelected)
{
    EXPECT_EQ(ask(explained("<select><Radio properties=\"all\"/></select>")), said("<rc>0</rc>"));
    EXPECT_EQ(ask(explained("<select><Radio properties=\"some\"/></select>")),
              said("<error operation=\"1\">Invalid properties=\"some\".</error><rc>1</rc>"));
}

TEST_F(Explanations, AreRefusedAsRequestsAre)
{
    EXPECT_EQ(ask("<explain/>"), ask("<lsql/>"));
    EXPECT_EQ(ask_passively(explained(to_seven)),
              "<lsql_result><error>Top level name is not lsql.</error><rc>1</rc>"
              "<counter>0</counter></lsql_result>");
    EXPECT_THAT(ask("<explain if-commit=\"9-9\">" + std::string(to_seven) + "</explain>"),
                StartsWith("<lsql_result><error>The configuration has changed"));
    vorn_query_disable_external_updates();
    EXPECT_THAT(ask("<explain origin=\"me\">" + std::string(to_seven) + "</explain>"),
                HasSubstr("External updates are prohibited."));
}

TEST_F(Explanations, TellTheCommitThatTheyAreAbout)
{
    const std::string answer =
        ask("<explain tell-commit=\"yes\">" + std::string(to_seven) + "</explain>");
    const std::string commit = ask("<lsql tell-commit=\"yes\"><select><Route/></select></lsql>");
    const std::size_t told = commit.find("<commit>");

    EXPECT_THAT(answer,
                HasSubstr("<rc>0</rc>" + commit.substr(told, commit.find("</commit>") - told) +
                          "</commit></explanation>"));
}

TEST_F(Explanations, ChangeNothing)
{
    const std::vector<const vorn_instance *> before = objects();
    const std::string state_before = state();
    const vorn_instances *running = vorn_config_get_running();
    const unsigned long left_behind = vorn_instances_get_left_behind();
    on_refresh = [](QueryTest &) { ADD_FAILURE() << "something was refreshed"; };
    let_recorder_explain();

    ask(explained(std::string(to_seven) + "<delete><Acl/></delete><insert><Route/></insert>" +
                  "<select><Radio properties=\"all\"/></select>"));
    ask(explained(to_nothing_valid));

    EXPECT_EQ(vorn_config_get_running(), running);
    EXPECT_EQ(running->listener, nullptr);
    EXPECT_EQ(running->home.listener, nullptr);
    EXPECT_EQ(running->home.witnesses, nullptr);
    EXPECT_EQ(objects(), before);
    EXPECT_EQ(state(), state_before);
    EXPECT_EQ(vorn_instances_get_left_behind(), left_behind);
    EXPECT_THAT(commits, IsEmpty());
}

TEST_F(Explanations, LetChecksKnowThatNothingIsMeant)
{
    static std::vector<int> seen;
    seen.clear();
    on_check = [](QueryTest &, vorn_check_info *info) {
        seen.push_back(vorn_check_info_is_rehearsal(info));
    };

    ask(explained(to_seven));
    ask(vorn::tests::change_channel_in_transaction);

    EXPECT_EQ(seen, (std::vector{1, 0}));
}

TEST_F(Explanations, AreNotGivenFromWithinAnotherRequest)
{
    static std::string nested;
    on_commit = [](QueryTest &) {
        const vorn::Text answer(vorn_query_eval(explained(to_seven).c_str()));
        nested = answer.get();
    };

    ask("<lsql><update><Radio name=\"r0\"><channel>8</channel></Radio></update></lsql>");

    EXPECT_THAT(nested, HasSubstr("Write transactions can't be nested."));
}

TEST_F(Explanations, AreNotGivenWhenTheyAreTooLong)
{
    vorn::reply_bound = 200;
    const std::string answer = ask(explained(to_seven));
    vorn::reply_bound = vorn::longest_reply;

    EXPECT_THAT(answer, HasSubstr("More than 200 bytes in the reply."));
}

TEST_F(Explanations, AreWholeOrMissingWhenMemoryIsShort)
{
    static const std::string everything =
        explained(std::string(to_seven) + "<delete><Acl name=\"guests\"/></delete>" +
                  "<insert><Radio name=\"&lt;\"><mode>&amp;</mode></Radio></insert>");
    constexpr unsigned long least = 40;
    let_recorder_explain();
    on_check = refuse_seven;
    const std::string refused = ask(everything);
    on_check = nullptr;
    const std::string whole = ask(everything);
    ASSERT_THAT(whole, HasSubstr("</provider><rc>0</rc>"));
    ASSERT_THAT(refused, HasSubstr("<rc>1</rc>"));
    const std::string before = state();
    const std::vector<const vorn_instance *> same = objects();

    for (const bool is_refused : {false, true}) {
        on_check = is_refused ? refuse_seven : nullptr;
        FailEachAllocation(
            [&] {
                const std::string answer = ask(everything);

                const AllocationsAllowed allowed;
                if (!AllocationFailed()) {
                    EXPECT_EQ(answer, is_refused ? refused : whole);
                } else if (answer != (is_refused ? refused : whole)) {
                    EXPECT_THAT(answer, AnyOf("(nothing)", HasSubstr("<error>")));
                }
                EXPECT_EQ(state(), before);
                EXPECT_EQ(objects(), same);
                EXPECT_EQ(vorn_config_get_running()->home.witnesses, nullptr);
                EXPECT_THAT(commits, IsEmpty());
            },
            least);
    }
}

/* A provider that no commit concerns, beside one that is told of each. */
class ExplanationsOfAWatcher : public QueryTest {
protected:
    ExplanationsOfAWatcher() : QueryTest(add_watcher) {}

private:
    static void add_watcher()
    {
        vorn_provider *watcher = vorn_provider_new("watcher");
        vorn_provider_set_explain_fn(
            watcher,
            [](vorn_commit_info *, vorn_explanation *explanation) {
                const AllocationsAllowed allowed;
                vorn_explanation_add(explanation, VORN_EXPLAIN_LIVE, "it is seen");
            },
            nullptr);
        vorn_providers_add(watcher);
    }
};

TEST_F(ExplanationsOfAWatcher, NameNoInstanceThatItWouldNotBeToldOf)
{
    EXPECT_EQ(ask(explained(to_seven)),
              said(std::string(change_of_r0) + part_of_r0 +
                   "<provider name=\"watcher\"><effect weight=\"live\">it is seen</effect>"
                   "</provider><rc>0</rc>"));
}

} // namespace
