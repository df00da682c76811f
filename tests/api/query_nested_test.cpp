/* SPDX-License-Identifier: MIT */
/*
 * A request that a plugin evaluates in the middle of another one. What becomes of both, for every
 * kind of request and every place from which it can come, is kept here as it is: which of them wins
 * is no question of taste for plugins that rely on it.
 */
#include "api/query_fixture.h"
#include "support/leak_check.h"

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using vorn::tests::AllocationsAllowed;
using vorn::tests::ClassBuilder;
using vorn::tests::QueryTest;

enum class Place { refresh, validator, commit };

/* What all instances hold once an outer update of h0 is through: as values, notes and channels. */
constexpr char outer_alone[] = "h0=7,- h1=1,- h2=-,- r0=6 r1=11";

struct Nested {
    const char *name;
    const char *request;
    const char *answer;
    const char *together = outer_alone; /* what both leave in the running configuration */
    const char *commit = nullptr;       /* of the nested request alone, when it is active */
};

constexpr char one_done[] = "<rc>0</rc><counter>1</counter>";
constexpr char delete_h0[] = "<lsql><delete><Hook name=\"h0\"/></delete></lsql>";
constexpr char delete_h1[] = "<lsql><delete><Hook name=\"h1\"/></delete></lsql>";

constexpr Nested nested_requests[] = {
    {"select", "<lsql><select><Radio name=\"r0\"/></select></lsql>",
     "<dataset><Radio name=\"r0\"/></dataset><rc>0</rc><counter>1</counter>"},
    {"update of another",
     "<lsql><update><Radio name=\"r0\"><channel>9</channel></Radio></update></lsql>", one_done,
     "h0=7,- h1=1,- h2=-,- r0=9 r1=11", "changed Radio.r0; deleted"},
    {"update of the same", "<lsql><update><Hook name=\"h0\"><note>n</note></Hook></update></lsql>",
     one_done, "h0=7,n h1=1,- h2=-,- r0=6 r1=11", "changed Hook.h0; deleted"},
    {"insert", "<lsql><insert><Hook name=\"h2\"><note>n</note></Hook></insert></lsql>", one_done,
     "h0=7,- h1=1,- h2=-,n r0=6 r1=11", "changed Hook.h2; deleted"},
    {"delete of another", "<lsql><delete><Radio name=\"r1\"/></delete></lsql>", one_done,
     "h0=7,- h1=1,- h2=-,- r0=6 r1=-", "changed; deleted Radio.r1"},
    {"delete of the next", delete_h1, one_done, "h0=7,- h1=-,- h2=-,- r0=6 r1=11",
     "changed; deleted Hook.h1"},
    {"delete of the same", delete_h0, one_done, "h0=-,- h1=1,- h2=-,- r0=6 r1=11",
     "changed; deleted Hook.h0"},
    {"refused", "<lsql><update><Radio name=\"r0\"><channel>x</channel></Radio></update></lsql>",
     "<error>Value \"x\" is not valid for property \"channel\" of class \"Radio\".</error>"
     "<rc>1</rc><counter>0</counter>"},
    {"startup file", "<get_conf/>", "<error>Can't read config file.</error>\n"},
    {"no XML", "<lsql", "(nothing)"},
};

/* Attack. */
class NestedRequests : public QueryTest {
protected:
    NestedRequests()
    {
        ClassBuilder("Hook").with("value", {.is_valid = hooked}).with("note").add_resolved();
        renew_all();
        current = this;
    }
    ~NestedRequests() override { current = nullptr; }

    void renew_all()
    {
        renew();
        put("Hook", "h0", {{"value", "1"}});
        put("Hook", "h1", {{"value", "1"}});
    }

    /* What comes of one request at a place inside another one. */
    void nest(Place where, const std::string &outer, const char *inner, bool is_passive)
    {
        renew_all();
        place = where;
        passive = is_passive;
        request = inner;
        if (where == Place::refresh) on_refresh = evaluate_nested;
        if (where == Place::commit) on_commit = evaluate_nested;
        outer_answer = short_form(ask(outer));
        nested_answer = short_form(nested_answer);
        request = nullptr;
    }

    /* In the order in which they ended. */
    std::vector<std::string> expected_commits(const char *inner, const char *outer) const
    {
        if (passive || !inner) return {outer};
        return {inner, outer};
    }

    std::string outer_answer;
    std::string nested_answer;
    bool passive = false;

private:
    static int hooked(const char *value)
    {
        if (current && current->request && current->place == Place::validator) {
            evaluate_nested(*current);
        }
        return vorn::tests::accepts_digits(value);
    }

    static void evaluate_nested(QueryTest &)
    {
        const AllocationsAllowed allowed;
        const char *text = std::exchange(current->request, nullptr);
        if (!text) return;
        current->nested_answer =
            current->passive ? current->ask_passively(text) : current->ask(text);
    }

    static std::string short_form(const std::string &answer)
    {
        for (const char *tag : {"<error>", "<dataset>", "<rc>"}) {
            const auto begin = answer.find(tag);
            if (begin == std::string::npos) continue;
            const auto end = answer.find("</lsql_result>");
            return answer.substr(begin, end - begin);
        }
        return answer;
    }

protected:
    static std::string holdings()
    {
        const auto held = [](const char *class_name, const char *name, const char *property) {
            const std::string text = value(class_name, name, property);
            return text == "(none)" ? "-" : text;
        };
        std::string text;
        for (const char *name : {"h0", "h1", "h2"})
            text += std::string(name) + "=" + held("Hook", name, "value") + "," +
                    held("Hook", name, "note") + " ";
        return text + "r0=" + held("Radio", "r0", "channel") +
               " r1=" + held("Radio", "r1", "channel");
    }

private:
    static NestedRequests *current;
    Place place = Place::refresh;
    const char *request = nullptr;
};

NestedRequests *NestedRequests::current = nullptr;

constexpr Place places[] = {Place::refresh, Place::validator, Place::commit};
constexpr char update_one[] =
    "<lsql><update><Hook name=\"h0\"><value>7</value></Hook></update></lsql>";
constexpr char update_all[] = "<lsql><update><Hook><value>7</value></Hook></update></lsql>";
constexpr char transaction[] = "<lsql><write-transaction><update><Hook name=\"h0\"><value>7"
                               "</value></Hook></update></write-transaction></lsql>";

/* The only one that keeps the outer request from its work: what it wanted is gone. */
bool takes_away(Place place, const Nested &kind)
{
    return place == Place::refresh && kind.request == delete_h0;
}

TEST_F(NestedRequests, AndTheUpdateAroundThemBothHappen)
{
    for (const Place each : places) {
        for (const Nested &kind : nested_requests) {
            for (const bool is_passive : {true, false}) {
                SCOPED_TRACE(testing::Message() << kind.name << " " << static_cast<int>(each)
                                                << (is_passive ? " passive" : " active"));
                nest(each, update_one, kind.request, is_passive);

                const bool none = takes_away(each, kind);
                EXPECT_EQ(nested_answer, kind.answer);
                EXPECT_EQ(outer_answer, none ? "<rc>0</rc><counter>0</counter>" : one_done);
                EXPECT_EQ(holdings(), kind.together);
                EXPECT_EQ(commits,
                          expected_commits(kind.commit,
                                           none ? "changed; deleted" : "changed Hook.h0; deleted"));
            }
        }
    }
}

/* A transaction's copy is made before its refresh, and takes the place of what was changed since.
 */
TEST_F(NestedRequests, AreLostWhenATransactionEndsThatBeganBefore)
{
    for (const Place each : places) {
        for (const Nested &kind : nested_requests) {
            for (const bool is_passive : {true, false}) {
                SCOPED_TRACE(testing::Message() << kind.name << " " << static_cast<int>(each)
                                                << (is_passive ? " passive" : " active"));
                {
                    const vorn::tests::LeftOnPurpose lost_instances;
                    nest(each, transaction, kind.request, is_passive);
                }

                EXPECT_EQ(nested_answer, kind.answer);
                EXPECT_EQ(outer_answer, one_done);
                EXPECT_EQ(holdings(), each == Place::commit ? kind.together : outer_alone);
                EXPECT_EQ(commits, expected_commits(kind.commit, "changed Hook.h0; deleted"));
            }
        }
    }
}

TEST_F(NestedRequests, CannotBeTransactionsUnlessTheyArePassive)
{
    constexpr char inner[] = "<lsql><write-transaction><update><Radio name=\"r0\"><channel>9"
                             "</channel></Radio></update></write-transaction></lsql>";
    for (const Place each : places) {
        for (const char *outer : {update_one, transaction}) {
            nest(each, outer, inner, false);
            EXPECT_EQ(nested_answer, "<error>Write transactions can't be nested.</error><rc>1</rc>"
                                     "<counter>0</counter>");
            EXPECT_EQ(outer_answer, one_done);
            nest(each, outer, inner, true);
            EXPECT_EQ(nested_answer, one_done);
            EXPECT_EQ(outer_answer, one_done);
            EXPECT_EQ(holdings(), outer_alone);
        }
    }
}

TEST_F(NestedRequests, OfAValidatorMayDeleteWhatTheUpdateComesToNext)
{
    for (const bool is_passive : {true, false}) {
        nest(Place::validator, update_all, delete_h1, is_passive);
        EXPECT_EQ(outer_answer, one_done);
        EXPECT_EQ(holdings(), "h0=7,- h1=-,- h2=-,- r0=6 r1=11");

        nest(Place::validator, update_all, delete_h0, is_passive);
        EXPECT_EQ(outer_answer, "<rc>0</rc><counter>2</counter>");
        EXPECT_EQ(holdings(), "h0=-,- h1=7,- h2=-,- r0=6 r1=11");
    }
}

TEST_F(NestedRequests, OfACommitLeaveWhatItWasHandedReadable)
{
    nest(Place::commit, update_all, "<lsql><delete><Hook/></delete></lsql>", false);

    EXPECT_EQ(holdings(), "h0=-,- h1=-,- h2=-,- r0=6 r1=11");
    EXPECT_THAT(commits, testing::ElementsAre("changed; deleted Hook.h0 Hook.h1",
                                              "changed Hook.h0 Hook.h1; deleted"));
}

TEST_F(NestedRequests, AndWhatARefreshWritesItselfBothHappen)
{
    on_refresh = [](QueryTest &) {
        vorn_instance_set_value(vorn_instances_get(vorn_config_get_running(), "Hook", "h0"), "note",
                                "w");
    };

    ask(update_one);

    EXPECT_EQ(holdings(), "h0=7,w h1=1,- h2=-,- r0=6 r1=11");
    EXPECT_THAT(commits, testing::ElementsAre("changed Hook.h0; deleted"));
}

} // namespace
