/* SPDX-License-Identifier: MIT */
/* Requests whose every allocation fails in turn: no answer is better than a wrong one. */
#include "api/query_fixture.h"
#include "support/rounds.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace {

using testing::AnyOf;
using testing::HasSubstr;
using vorn::tests::AllocationFailed;
using vorn::tests::AllocationsAllowed;
using vorn::tests::ClassBuilder;
using vorn::tests::FailEachAllocation;
using vorn::tests::QueryTest;
using vorn::tests::rounds;

struct Shortage {
    const char *name;
    const char *operations;
};

const Shortage shortages[] = {
    {"Select", "<select><Radio properties=\"all\"/></select>"
               "<where><eq><property>mode</property><value>g</value></eq></where>"},
    {"SelectOfMarkup", "<update><Board><label>&lt;&amp;</label></Board></update>"
                       "<select><Board><label/></Board></select>"},
    {"SelectOfAFamily", "<select><Address properties=\"all\"/></select>"},
    {"SelectWhere", "<select><Radio><uptime/></Radio></select>"
                    "<where><or><property>mode</property><not/></or></where>"},
    {"SelectOfMany", "<select><Radio name=\"r0\"><mode/></Radio></select>"
                     "<select><Radio name=\"r1\" properties=\"all\"/></select>"
                     "<select><Acl><mac/></Acl></select>"},
    {"SelectOfNothing", "<select><Nothing/></select>"},
    {"UpdateOfNoValue", "<update><Radio name=\"r0\"/></update>"},
    {"Update", "<update><Radio><channel>7</channel><mode>a</mode></Radio></update>"},
    {"UpdateOfAGroup", "<update><Acl name=\"guests\"><mac>04</mac></Acl></update>"},
    {"Delete", "<delete><Radio name=\"r0\"/></delete><delete><Route/></delete>"},
    {"DeleteWhere", "<delete><Radio/></delete>"
                    "<where><eq><property>mode</property><value>b</value></eq></where>"},
    {"DeleteOfAGroup", "<delete><Acl name=\"guests\"/></delete>"},
    {"DeleteOfAFamily", "<delete><Address/></delete>"},
    {"Insert", "<insert><Radio name=\"r2\"><channel>1</channel></Radio><Route/></insert>"},
    {"InsertIntoAFamily",
     "<insert><Address name=\"vpn\"><kind>Tunnel</kind><peer>1</peer></Address></insert>"},
    {"Everything", "<delete><Board/></delete><insert><Board><label>x</label></Board></insert>"
                   "<update><Board><label>y</label></Board></update>"
                   "<insert><Key name=\"k\"><serial>1</serial></Key></insert>"
                   "<delete><Key/></delete><select><Board><label/></Board></select>"},
};

class MemoryShortages : public QueryTest, public testing::WithParamInterface<Shortage> {
protected:
    static std::string request(const std::string &before, const std::string &after)
    {
        return "<lsql>" + before + GetParam().operations + after + "</lsql>";
    }
    void learn(const std::string &text)
    {
        usual = ask(text);
        usually_refreshed = refreshed;
        usual_commits = commits;
        usual_properties = committed_properties;
    }
    /*
     * It is the usual answer, to what was refreshed as usual and is committed as usual, or the log
     * says that a provider was not; or else it is another answer.
     */
    void check(const std::string &answer)
    {
        if (answer == usual) {
            EXPECT_EQ(refreshed, usually_refreshed);
            if (log.text().find("was not committed") != std::string::npos) return;
            EXPECT_EQ(commits, usual_commits);
            EXPECT_EQ(committed_properties, usual_properties);
        } else {
            EXPECT_TRUE(AllocationFailed());
            EXPECT_THAT(answer, AnyOf("(nothing)", HasSubstr("<error>")));
        }
    }

    std::string usual;
    std::string usually_refreshed;
    std::vector<std::string> usual_commits;
    std::string usual_properties;
};

TEST_P(MemoryShortages, LeaveATransactionWhollyUndoneOrWhollyDone)
{
    const std::string text = request("<write-transaction>", "</write-transaction>");
    const std::string undone = state();
    learn(text);
    const std::string done = state();
    renew();

    FailEachAllocation([&] {
        const std::string answer = ask(text);

        const AllocationsAllowed allowed;
        check(answer);
        EXPECT_EQ(state(), answer == usual ? done : undone);
        renew();
    });
}

TEST_P(MemoryShortages, AreSurvivedWithoutATransaction)
{
    const std::string text = request("", "");
    learn(text);
    renew();

    FailEachAllocation([&] {
        const std::string answer = ask(text);

        const AllocationsAllowed allowed;
        check(answer);
        renew();
    });
}

using MemorylessConditions = QueryTest;

TEST_F(MemorylessConditions, NeverMeanEverything)
{
    constexpr int least = 10;
    const auto delete_b = [&] {
        ask("<lsql><delete><Radio/></delete><where><eq><property>mode</property><value>b</value>"
            "</eq></where></lsql>");

        const AllocationsAllowed allowed;
        EXPECT_EQ(value("Radio", "r0", "mode"), "g");
        renew();
    };
    FailEachAllocation(delete_b, least);
}

using MemorylessTransactions = QueryTest;

/* However long it is: an answer may run out of memory at its very last byte. */
TEST_F(MemorylessTransactions, ThatGetNoAnswerAreNotDone)
{
    for (std::size_t length = 0; length < rounds(300); length++) {
        const std::string label(length, 'x');
        FailEachAllocation([&] {
            const std::string answer =
                ask("<lsql><write-transaction><update><Board><label>" + label +
                    "</label></Board></update><select><Board><label/></Board></select>"
                    "</write-transaction></lsql>");

            const AllocationsAllowed allowed;
            EXPECT_EQ(value("Board", nullptr, "label"),
                      answer.find("<rc>0</rc>") != std::string::npos ? label : "attic");
            renew();
        });
    }
}

int judged_after_the_failure = 0;

int notes_when_it_is_asked(const char *)
{
    if (AllocationFailed()) judged_after_the_failure++;
    return 1;
}

/* Of ten updates, whether they are in a transaction or not. */
class MemorylessRequests : public QueryTest, public testing::WithParamInterface<const char *> {
protected:
    MemorylessRequests()
    {
        ClassBuilder("Judged", VORN_CLASS_SINGLETON)
            .with("value", {.is_valid = notes_when_it_is_asked})
            .add_resolved();
    }

    static std::string ten_updates()
    {
        std::string updates;
        for (int i = 0; i < 10; i++)
            updates +=
                "<select><Radio/></select><update><Judged><value>v</value></Judged></update>";
        const std::string tag = GetParam();
        return tag.empty() ? updates : "<" + tag + ">" + updates + "</" + tag + ">";
    }
};

/* Nobody hears of what would come after it. */
TEST_P(MemorylessRequests, EndWithTheOperationThatFoundNoMemory)
{
    constexpr int least = 30;
    const std::string request = "<lsql>" + ten_updates() + "</lsql>";

    const auto update_ten_times = [&] {
        {
            const AllocationsAllowed allowed;
            put("Judged", nullptr, {});
        }
        judged_after_the_failure = 0;
        const std::string answer = ask(request);

        const AllocationsAllowed allowed;
        EXPECT_LE(answer == "(nothing)" ? judged_after_the_failure : 0, 1);
        renew();
    };
    FailEachAllocation(update_ten_times, least);
}

INSTANTIATE_TEST_SUITE_P(WithoutAndWithTransactions, MemorylessRequests,
                         testing::Values("", "write-transaction"));

class UnreadableTexts : public QueryTest {
protected:
    /* With a value and a name that no document can hold. */
    UnreadableTexts() { put("Radio", "r\x07", {{"mode", "m\x07"}}); }
};

TEST_F(UnreadableTexts, AreNotLeftOutForWantOfMemory)
{
    FailEachAllocation([&] {
        const std::string answer = ask("<lsql><select><Radio><mode/></Radio></select></lsql>");

        const AllocationsAllowed allowed;
        EXPECT_THAT(answer, AnyOf("(nothing)", HasSubstr("<Radio name=\"r?\"><mode>m?</mode>")));
    });
}

TEST_F(MemorylessTransactions, SayThatTheyHaveNoAnswer)
{
    std::string report;

    FailEachAllocation([&] {
        const std::string answer =
            ask("<lsql><write-transaction><update><Board><label>x</label></Board></update>"
                "</write-transaction></lsql>");

        const AllocationsAllowed allowed;
        if (answer == "(nothing)") report = log.text();
        renew();
    });

    EXPECT_EQ(report, "vorn: No memory to answer an LSQL request.\n");
}

INSTANTIATE_TEST_SUITE_P(Of, MemoryShortages, testing::ValuesIn(shortages),
                         [](const auto &each) { return std::string(each.param.name); });

} // namespace
