/* SPDX-License-Identifier: MIT */
/* Rules that the kernel's word of who asks decides by. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "local_user/access_device.h"
#include "system/words_of_trials.h"

namespace {

using testing::HasSubstr;
using namespace vorn::tests;

constexpr char rollback[] =
    "<lsql><write-transaction><update><history><rollback>1</rollback></history>"
    "</update></write-transaction></lsql>";

class Access : public AccessDevice {
protected:
    void SetUp() override
    {
        AccessDevice::SetUp();
        for (const char *plugin : {"history.vorn", "save.vorn", "trial.vorn"})
            install_plugin(plugin);
    }
};

TEST_F(Access, IsDecidedByTheUserThatTheKernelTells)
{
    configure(rule("1", "user:1000", "Radio", "read", "deny"));
    boot();
    EXPECT_TRUE(he_is_told(all_radios, "<counter>0</counter>"));
    EXPECT_TRUE(he_is_told("<get_conf/>", denied));
    EXPECT_THAT(lsql(all_radios), HasSubstr("<counter>1</counter>"));
}

TEST_F(Access, IsNobodyElseSForWhoSaysSo)
{
    configure(rule("1", "gate:eve", "*", "*", "permit") + rule("2", "any", "*", "*", "deny"));
    boot();
    const std::string as_eve = "<lsql for-user=\"eve\"><select><Radio/></select></lsql>";
    EXPECT_TRUE(he_is_told(as_eve, denied));
    EXPECT_THAT(lsql(as_eve), HasSubstr("<counter>1</counter>"));
    EXPECT_TRUE(he_is_told(all_radios, "<counter>0</counter>"));
    lsql("<lsql><write-transaction><update><access-default><gate-user>" + his_name() +
         "</gate-user></access-default></update></write-transaction></lsql>");
    EXPECT_TRUE(he_is_told(as_eve, "<counter>1</counter>"));
}

TEST_F(Access, IsRootSAloneWithoutThePlugin)
{
    configure(rule("1", "user:nobody", "Radio", "read", "deny"));
    shell("rm /usr/lib/vorn/plugins/access.vorn");
    boot();
    EXPECT_TRUE(he_is_told(all_radios, denied));
    EXPECT_THAT(lsql(all_radios), HasSubstr("<counter>1</counter>"));
    lsql(transaction(channel("a", "6")));
    EXPECT_TRUE(he_is_told(all_radios, denied)) << "a change is no reason";
}

TEST_F(Access, IsAgainOfAllOnceTheRulesAreForgotten)
{
    configure(rule("1", "user:nobody", "Radio", "read", "deny") + "<Toaster name=\"t\"/>");
    shell("rm /usr/lib/vorn/plugins/access.vorn");
    boot();
    EXPECT_EQ(inform("save", {"action=forget-kept", "class=Toaster"}), "OK\n");
    EXPECT_TRUE(he_is_told(all_radios, denied));
    EXPECT_EQ(inform("save", {"action=forget-kept", "class=access-rule"}), "OK\n");
    EXPECT_TRUE(he_is_told(all_radios, "<counter>1</counter>"));
}

TEST_F(Access, IsNotGainedByARollback)
{
    configure(rule("1", "user:1000", "Radio", "update insert delete", "deny"));
    boot();
    lsql("<lsql><write-transaction><update><Radio name=\"a\"><channel>6</channel></Radio></update>"
         "</write-transaction></lsql>");
    EXPECT_TRUE(he_is_told(rollback, "<error>Access denied: property \"channel\" of class"));
    EXPECT_TRUE(
        he_is_told("<lsql><update><history><rollback>1</rollback></history></update></lsql>",
                   "<error>Access denied: property \"rollback\" of class \"history\".</error>"));
    EXPECT_THAT(lsql(all_radios), HasSubstr("<channel>6</channel>"));
    lsql("<lsql><write-transaction><delete><access-rule/></delete></write-transaction></lsql>");
    lsql("<lsql><write-transaction><update><Radio name=\"a\"><channel>9</channel></Radio></update>"
         "</write-transaction></lsql>");
    EXPECT_TRUE(he_is_told(rollback, "<rc>0</rc>"));
    EXPECT_THAT(lsql(all_radios), HasSubstr("<channel>1</channel>"));
}

TEST_F(Access, IsToldWithTheNameThatTheGateSpeaksFor)
{
    install_plugin("commits.vorn");
    configure("");
    boot();
    lsql("<lsql for-user=\"eve\"><write-transaction><update><Radio name=\"a\"><channel>6</channel>"
         "</Radio></update></write-transaction></lsql>");
    EXPECT_THAT(lsql("<lsql><select><commit><user/></commit></select></lsql>"),
                HasSubstr("<user>gate:eve</user>"));
    EXPECT_THAT(lsql("<lsql><select><generation><user/></generation></select></lsql>"),
                HasSubstr("<user>gate:eve</user>"));
}

} // namespace
