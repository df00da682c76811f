/* SPDX-License-Identifier: MIT */
/* Which requests wait while something is on trial. */
#include "api/query_fixture.h"

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using vorn::tests::change_channel;
using vorn::tests::change_channel_in_transaction;
using vorn::tests::QueryTest;

constexpr char on_trial[] = "<error>it is on trial.</error><rc>1</rc>";

class HeldRequests : public QueryTest {
protected:
    HeldRequests()
    {
        for (const char *name : {"Radio", "Address", "Static"})
            vorn_class_set_persistence(vorn_classes_get(name), 1);
        vorn::tests::add_family("Memory", "kind", {"Cache"});
        vorn_class_set_persistence(vorn_classes_get("Memory"), 1);
        vorn_config_hold("it is on trial");
    }
    ~HeldRequests() override { vorn_config_release(); }
};

TEST_F(HeldRequests, AreThoseThatCouldNotBeTakenBack)
{
    const std::string before = state();

    for (const char *operation :
         {"<update><Radio name=\"r0\"><channel>7</channel></Radio></update>",
          "<insert><Acl name=\"new\"/><Radio name=\"r7\"/></insert>", "<delete><Radio/></delete>",
          "<delete><Address/></delete>"}) {
        EXPECT_THAT(ask(std::string("<lsql>") + operation + "</lsql>"), HasSubstr(on_trial))
            << operation;
    }

    EXPECT_EQ(state(), before);
}

TEST_F(HeldRequests, AreRefusedBeforeAnythingOfThemIsDone)
{
    const std::string before = state();

    ask("<lsql><insert><Acl name=\"new\"/></insert><delete><Radio/></delete></lsql>");

    EXPECT_EQ(state(), before);
}

TEST_F(HeldRequests, AreNoOthers)
{
    EXPECT_THAT(ask("<lsql><select><Radio/></select></lsql>"), HasSubstr("<rc>0</rc>"));
    EXPECT_THAT(ask("<lsql><insert><Acl name=\"new\"/></insert></lsql>"), HasSubstr("<rc>0</rc>"));
    EXPECT_THAT(ask("<lsql><delete><Memory/></delete></lsql>"), HasSubstr("<rc>0</rc>"));
    EXPECT_THAT(ask_passively(change_channel), HasSubstr("<rc>0</rc>"));
    EXPECT_THAT(ask(change_channel_in_transaction), HasSubstr("<rc>0</rc>"));
    vorn_config_release();
    EXPECT_THAT(ask(change_channel), HasSubstr("<rc>0</rc>"));
}

/* Saving is held for a transaction, as a trial does it. */
class HoldsOfTransactions : public QueryTest {
protected:
    HoldsOfTransactions()
    {
        on_check = [](QueryTest &, vorn_check_info *info) {
            vorn_config_hold("it is on trial");
            if (refuses) vorn_check_info_refuse(info, nullptr, nullptr, "no");
        };
    }
    ~HoldsOfTransactions() override { vorn_config_release(); }

    static bool refuses;
};
bool HoldsOfTransactions::refuses;

TEST_F(HoldsOfTransactions, BeginWithOneThatIsAccepted)
{
    refuses = false;
    ask(change_channel_in_transaction);
    EXPECT_TRUE(vorn_config_is_held());
    refuses = true;
    ask(change_channel_in_transaction);
    EXPECT_TRUE(vorn_config_is_held());
}

TEST_F(HoldsOfTransactions, EndWithOneThatIsRefused)
{
    refuses = true;
    EXPECT_THAT(ask(change_channel_in_transaction), HasSubstr("<error>"));
    EXPECT_FALSE(vorn_config_is_held());
}

} // namespace
