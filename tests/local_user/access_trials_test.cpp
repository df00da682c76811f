/* SPDX-License-Identifier: MIT */
/* Rules about changes on trial: who may end one, and who is told whose it is. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "local_user/access_device.h"
#include "system/words_of_trials.h"

namespace {

using testing::HasSubstr;
using namespace vorn::tests;

std::string refused(const std::string &property)
{
    return "<error>Access denied: property \"" + property + "\" of class \"trial\".</error>";
}

std::string refused_class(const std::string &name)
{
    return "<error>Access denied: class \"" + name + "\".</error>";
}

class AccessToTrials : public AccessDevice {
protected:
    void SetUp() override
    {
        AccessDevice::SetUp();
        for (const char *plugin : {"save.vorn", "trial.vorn"})
            install_plugin(plugin);
    }
    void begin_with(const std::string &rules)
    {
        configure(rules);
        boot();
        ASSERT_THAT(lsql(transaction(channel("a", "7") + trial("<seconds>600</seconds>"))),
                    HasSubstr("<rc>0</rc>"));
    }
    static std::string word(const std::string &name)
    {
        return trial("<" + name + ">" + told("id") + "</" + name + ">");
    }
};

TEST_F(AccessToTrials, IsNeededToEndOne)
{
    begin_with(rule("1", "user:1000", "trial", "confirm", "deny"));
    EXPECT_TRUE(he_is_told(transaction(word("confirm")), refused("confirm")));
    EXPECT_TRUE(he_is_told(transaction(word("revert")), refused("revert")));
    EXPECT_EQ(told("state"), "pending");
    EXPECT_TRUE(he_is_told(transaction(word("join") + channel("a", "8")), "<rc>0</rc>"))
        << "that is to change something";
    EXPECT_THAT(lsql("<lsql><select><Radio><channel/></Radio></select></lsql>"),
                HasSubstr("<channel>8<"));
}

TEST_F(AccessToTrials, IsAllThatIsNeededToEndOne)
{
    begin_with(rule("1", "user:1000", "trial", "confirm", "permit") +
               rule("2", "user:1000", "*", "insert update delete confirm", "deny"));
    EXPECT_TRUE(he_is_told(transaction(word("join")), refused_class("trial")));
    EXPECT_TRUE(he_is_told(transaction(trial("<seconds>60</seconds>")), refused_class("trial")));
    EXPECT_TRUE(
        he_is_told(transaction(word("revert") + channel("a", "1")), refused_class("Radio")));
    EXPECT_EQ(told("state"), "pending");
    EXPECT_TRUE(he_is_told(transaction(word("revert")), "<rc>0</rc>"));
    EXPECT_EQ(told("state"), "none");
    EXPECT_THAT(lsql("<lsql><select><Radio><channel/></Radio></select></lsql>"),
                HasSubstr("<channel>1<"));
}

TEST_F(AccessToTrials, IsOfOneWordIfARuleSaysSo)
{
    begin_with(rule("1", "user:1000", "trial", "confirm", "deny", "revert"));
    EXPECT_TRUE(he_is_told(transaction(word("revert")), refused("revert")));
    EXPECT_TRUE(he_is_told(transaction(word("confirm")), "<rc>0</rc>"));
    EXPECT_EQ(told("state"), "none");
}

TEST_F(AccessToTrials, IsNotHadWithoutATransaction)
{
    begin_with(rule("1", "user:1000", "Route", "read", "deny"));
    const std::string request = "<lsql>" + word("revert") + "</lsql>";
    EXPECT_TRUE(he_is_told(request, refused("revert")));
    EXPECT_EQ(told("state"), "pending");
}

TEST_F(AccessToTrials, IsNeededToReadWhoHoldsOne)
{
    const auto change = transaction(channel("a", "9"));
    begin_with(rule("1", "user:1000", "trial", "read", "deny", "holder"));
    const std::string select = "<lsql><select><trial><holder/></trial></select></lsql>";
    EXPECT_TRUE(he_is_told(select, "<trial><holder/></trial>"));
    EXPECT_TRUE(he_is_told(change, "<error>A change is on trial.</error>"));
    EXPECT_TRUE(he_is_told("<lsql>" + channel("a", "9") + "</lsql>", "A change is on trial"));
    EXPECT_FALSE(he_is_told("<lsql>" + channel("a", "9") + "</lsql>", "root"));
    lsql("<lsql><delete><access-rule/></delete></lsql>");
    lsql(transaction(word("join") + "<delete><access-rule/></delete>"));
    EXPECT_TRUE(he_is_told(select, "<holder>root ("));
    EXPECT_TRUE(he_is_told(change, "root ("));
}

} // namespace
