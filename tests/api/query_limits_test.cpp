/* SPDX-License-Identifier: MIT */
/* As much of everything as the limits say, and one more. */
#include "api/query_fixture.h"
#include "core/base/limits.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <string>

namespace {

using testing::HasSubstr;
using vorn::tests::QueryTest;
using vorn::tests::refusal;

/* Attack. */
using RequestLimits = QueryTest;

std::string many(std::size_t count, const std::string &piece)
{
    std::string text;
    text.reserve(count * piece.size());
    for (std::size_t i = 0; i < count; i++)
        text += piece;
    return text;
}

TEST_F(RequestLimits, BoundTheOrigin)
{
    const auto with_origin = [&](std::size_t length) {
        return ask("<lsql origin=\"" + std::string(length, 'o') +
                   "\"><delete><Acl/></delete></lsql>");
    };

    EXPECT_EQ(with_origin(1025), refusal("More than 1024 bytes in the origin."));
    EXPECT_EQ(vorn_query_origin, nullptr);
    EXPECT_THAT(with_origin(1024), HasSubstr("<counter>3</counter>"));
}

TEST_F(RequestLimits, BoundANameWhereverItStands)
{
    const auto with_name = [&](std::size_t length, bool in_transaction) {
        const std::string operations = "<select><Radio/></select><insert><Radio name=\"a\"/>"
                                       "<Radio name=\"" +
                                       many(length, "&quot;") + "\"/></insert>";
        return ask(in_transaction
                       ? "<lsql><write-transaction>" + operations + "</write-transaction></lsql>"
                       : "<lsql>" + operations + "</lsql>");
    };

    EXPECT_EQ(with_name(16385, false), refusal("More than 16384 bytes in a name."));
    EXPECT_EQ(with_name(16385, true), refusal("More than 16384 bytes in a name."));
    EXPECT_EQ(value("Radio", "a", "mode"), "(none)");
    EXPECT_EQ(vorn_instances_get(vorn_config_get_running(), "Radio", "a"), nullptr);
    EXPECT_THAT(with_name(16384, false), HasSubstr("<rc>0</rc><counter>2</counter></lsql_result>"));
}

TEST_F(RequestLimits, BoundAValue)
{
    const auto with_value = [&](std::size_t length) {
        return ask("<lsql><update><Radio name=\"r0\"><mode>" + std::string(length, 'v') +
                   "</mode></Radio></update></lsql>");
    };

    EXPECT_EQ(with_value(1048577), refusal("More than 1048576 bytes in a value."));
    EXPECT_EQ(value("Radio", "r0", "mode"), "g");
    EXPECT_THAT(with_value(1048576), HasSubstr("<rc>0</rc>"));
}

TEST_F(RequestLimits, BoundThePropertiesOfOneInstance)
{
    const auto with_properties = [&](std::size_t count) {
        return ask("<lsql><select><Radio name=\"r0\">" + many(count, "<x/>") +
                   "</Radio></select></lsql>");
    };

    EXPECT_EQ(with_properties(10001), refusal("More than 10000 properties in one instance."));
    EXPECT_THAT(with_properties(10000), HasSubstr("<rc>0</rc>"));
}

TEST_F(RequestLimits, BoundTheOperations)
{
    const std::string select = "<select><None/></select>";

    EXPECT_EQ(ask("<lsql>" + many(250001, select) + "</lsql>"),
              refusal("More than 250000 operations."));
    EXPECT_THAT(ask("<lsql>" + many(250000, select) + "</lsql>"), HasSubstr("<rc>0</rc>"));
}

TEST_F(RequestLimits, BoundAnExpression)
{
    const auto with_elements = [&](std::size_t count) {
        return ask("<lsql><select><Radio/></select><where><or>" + many(count - 2, "<value/>") +
                   "<value>x</value></or></where></lsql>");
    };

    EXPECT_EQ(with_elements(20001), refusal("More than 20000 elements in an expression."));
    EXPECT_THAT(with_elements(20000), HasSubstr("<counter>2</counter>"));
    EXPECT_THAT(ask("<lsql><select><Radio/></select><where><not><and><or/><eq><not/></eq></and>"
                    "</not></where><select><Board/></select><where/></lsql>"),
                HasSubstr("<rc>0</rc><counter>2</counter><dataset>"));
}

/* Of so many labels, and between them what is asked for. */
std::string many_labels(std::size_t count)
{
    return "<select><Board>" + many(count, "<label/>") + "</Board></select>";
}

/* A label is a 256th of the bound: of a megabyte, unless it is as large as for everybody. */
class ReplyLimits : public QueryTest {
protected:
    ReplyLimits() { bound_replies(1 << 20); }
    ~ReplyLimits() override { vorn::reply_bound = vorn::longest_reply; }

    static void bound_replies(std::size_t bound)
    {
        vorn::reply_bound = bound;
        vorn_instance_set_value(vorn_instances_get_singleton(vorn_config_get_running(), "Board"),
                                "label", std::string(bound / 256, 'x').c_str());
    }
    static std::string refused()
    {
        return refusal("More than " + std::to_string(vorn::reply_bound) + " bytes in the reply.");
    }
};

TEST_F(ReplyLimits, CountEachByte)
{
    const std::string request = "<lsql>" + many_labels(127) + many_labels(128) + "</lsql>";
    const std::string answer = ask(request);

    EXPECT_TRUE(answer.ends_with("<rc>0</rc><counter>1</counter></lsql_result>"));
    const std::size_t with_its_frame =
        std::string("<?xml version=\"1.0\"?>\n").size() + answer.size() + 1;
    vorn::reply_bound = with_its_frame;
    EXPECT_TRUE(ask(request) == answer);
    vorn::reply_bound--;
    EXPECT_TRUE(ask(request) == refused());
}

TEST_F(ReplyLimits, LeaveRoomForWhatIsSensible)
{
    EXPECT_EQ(vorn::longest_reply, 268435456u);
    if (!std::getenv("VORN_ATTACK_SECONDS")) return; /* the rest takes seconds */
    bound_replies(vorn::longest_reply);

    EXPECT_EQ(ask("<lsql>" + many_labels(127) + many_labels(128) + "</lsql>").size(), 267390860u);
    EXPECT_EQ(ask("<lsql>" + many_labels(256) + "</lsql>"), refused());
}

TEST_F(ReplyLimits, EndARequestAsAnErrorDoes)
{
    const std::string update = "<update><Radio name=\"r0\"><mode>a</mode></Radio></update>";
    const std::string remove = "<delete><Radio/></delete>";

    EXPECT_EQ(ask("<lsql>" + update + many_labels(256) + remove + "</lsql>"), refused());
    EXPECT_EQ(value("Radio", "r0", "mode"), "a");
    EXPECT_TRUE(commits.empty());
}

TEST_F(ReplyLimits, UndoATransaction)
{
    const std::string update = "<update><Radio name=\"r0\"><mode>a</mode></Radio></update>";
    const std::string before = state();

    EXPECT_EQ(ask("<lsql><write-transaction>" + update + many_labels(10000) + update +
                  "</write-transaction></lsql>"),
              refused());
    EXPECT_EQ(state(), before);
    EXPECT_TRUE(commits.empty());
}

/* A store of 10,000 routes, 10,000 in the group "all", and requests that look at all of them. */
class ComparisonLimits : public QueryTest {
protected:
    ComparisonLimits()
    {
        for (int i = 2; i < 9999; i++)
            put("Route", nullptr, {{"to", "lan"}});
        for (int i = 0; i < 10000; i++)
            put("Acl", "all", {{"mac", "01"}});
    }

    /* An expression of so many elements of which two are looked at. */
    static std::string where(std::size_t elements)
    {
        return "<where><or><value>x</value>" + many(elements - 2, "<value/>") + "</or></where>";
    }

    static std::string refused() { return refusal("More than 20000000 comparisons."); }
    static bool is_answered(const std::string &answer)
    {
        return answer.find("<rc>0</rc>") != std::string::npos;
    }
};

TEST_F(ComparisonLimits, CountWhatTheRequestItselfAddsToAGroup)
{
    EXPECT_TRUE(is_answered(
        ask("<lsql><write-transaction><insert><Acl name=\"new\"/></insert><update>"
            "<Acl name=\"new\"><mac>02</mac></Acl></update></write-transaction></lsql>")));
}

TEST_F(ComparisonLimits, CountEveryElementForEveryInstance)
{
    const auto with_elements = [&](std::size_t count) {
        return ask("<lsql><select><Route/></select>" + where(count) + "</lsql>");
    };

    EXPECT_EQ(with_elements(2000), refused());
    EXPECT_TRUE(is_answered(with_elements(1999)));
}

TEST_F(ComparisonLimits, CountThePropertiesThatAreRead)
{
    const auto with_properties = [&](std::size_t count) {
        return ask("<lsql><select><Route>" + many(count, "<x/>") + "</Route></select>" +
                   where(1000) + "</lsql>");
    };

    EXPECT_EQ(with_properties(1000), refused());
    EXPECT_TRUE(is_answered(with_properties(9)));
}

TEST_F(ComparisonLimits, CountALongTextAsManyShortOnes)
{
    const auto with_text = [&](std::size_t length) {
        const std::string text(length, 'x');
        return ask("<lsql><select><Route/></select><where><eq><value>" + text +
                   "</value><property>to</property></eq></where></lsql>");
    };

    EXPECT_EQ(with_text(64 * 1997), refused());
    EXPECT_TRUE(is_answered(with_text(64 * 1996)));
}

TEST_F(ComparisonLimits, CountALineOfTheLogForANameThatNobodyKnows)
{
    const auto with_name = [&](std::size_t length) {
        return ask("<lsql><select><Route/></select><where><and><not/><value/><" +
                   std::string(length, 'n') + "/></and></where></lsql>");
    };

    EXPECT_EQ(with_name(1897), refused());
    EXPECT_TRUE(is_answered(with_name(1896)));
}

TEST_F(ComparisonLimits, AddUpAndLeaveEverythingAsItWas)
{
    const std::string before = state();
    const std::string update =
        "<delete><Board/></delete><update><Route><to>x</to></Route></update>" + where(999);

    const std::string request = "<lsql>" + update + update + "<select><None/></select></lsql>";
    EXPECT_EQ(ask(request), refused());
    EXPECT_EQ(state(), before);
    EXPECT_TRUE(commits.empty());
    EXPECT_EQ(refreshed, "");
    EXPECT_TRUE(is_answered(ask("<lsql>" + update + "</lsql>")));
}

TEST_F(ComparisonLimits, CountInTransactionsToo)
{
    const auto in_transaction = [&](std::size_t count) {
        return ask("<lsql><write-transaction><delete><Route/></delete>" + where(count) +
                   "</write-transaction></lsql>");
    };

    EXPECT_EQ(in_transaction(2000), refused());
    EXPECT_TRUE(is_answered(in_transaction(1900)));
}

TEST_F(ComparisonLimits, CountAnInstanceThatIsNamedAsOne)
{
    EXPECT_TRUE(is_answered(ask(
        "<lsql>" + many(20, "<select><Radio name=\"r0\"/></select>" + where(20000)) + "</lsql>")));
    EXPECT_TRUE(is_answered(ask("<lsql>" +
                                many(20, "<select><Acl name=\"guests\"/></select>" + where(20000)) +
                                "</lsql>")));
}

TEST_F(ComparisonLimits, CountEveryMemberOfAGroup)
{
    const auto in_group = [&](std::size_t count) {
        return ask("<lsql><select><Acl name=\"all\"/></select>" + where(count) + "</lsql>");
    };

    EXPECT_EQ(in_group(2000), refused());
    EXPECT_TRUE(is_answered(in_group(1999)));
}

TEST_F(ComparisonLimits, CountSubclassesWithTheirSuperclass)
{
    for (int i = 0; i < 9998; i++)
        put("Tunnel", ("t" + std::to_string(i)).c_str(), {});

    EXPECT_EQ(ask("<lsql><select><Address/></select>" + where(2000) + "</lsql>"), refused());
}

TEST_F(ComparisonLimits, CountInstancesThatAnotherStoreTookInFirst)
{
    vorn_instances *home = vorn_instances_new();
    for (int i = 0; i < 9999; i++) {
        const std::string name = "k" + std::to_string(i);
        vorn_instance *guest = vorn_instance_new(vorn_classes_get("Key"), name.c_str());
        ASSERT_EQ(vorn_instances_add(home, guest), 0);
        ASSERT_EQ(vorn_instances_add(vorn_config_get_running(), guest), 0);
    }

    EXPECT_EQ(ask("<lsql><select><Key/></select>" + where(2000) + "</lsql>"), refused());

    vorn_instances_delete(home);
}

TEST_F(ComparisonLimits, CountWhatTheRequestInsertsBefore)
{
    const std::string inserted = "<insert>" + many(10000, "<Route/>") + "</insert>";
    const std::string select = "<select><Route/></select>" + where(1500);

    EXPECT_EQ(ask("<lsql>" + inserted + select + "</lsql>"), refused());
    EXPECT_TRUE(is_answered(ask("<lsql>" + select + inserted + "</lsql>")));
}

/* What a plugin writes down comes from inside. */
TEST_F(ComparisonLimits, LeavePassiveRequestsAlone)
{
    EXPECT_TRUE(
        is_answered(ask_passively("<lsql><select><Route/></select>" + where(2000) + "</lsql>")));
}

/* Nor is it bound in length. */
TEST_F(RequestLimits, LeavePassiveRequestsAlone)
{
    EXPECT_THAT(ask_passively("<lsql><update><Radio name=\"r0\"><mode>" +
                              std::string(2000000, 'v') + "</mode></Radio></update></lsql>"),
                HasSubstr("<counter>1</counter>"));
}

} // namespace
