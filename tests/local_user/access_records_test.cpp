/* SPDX-License-Identifier: MIT */
/* What the device tells of others' deeds, and of its classes, to who may not read everything. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "local_user/access_device.h"
#include "system/words_of_trials.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using namespace vorn::tests;

class AccessToRecords : public AccessDevice {
protected:
    void SetUp() override
    {
        AccessDevice::SetUp();
        for (const char *plugin : {"commits", "history", "plugins", "save", "schema", "trial"})
            install_plugin(plugin + std::string(".vorn"));
        configure(rule("1", "user:1000", "Radio", "read", "deny") + "<Toaster name=\"t\"/>");
    }
    static std::string all_of(const std::string &class_name)
    {
        return "<lsql><select><" + class_name + " properties=\"all\"/></select></lsql>";
    }
    std::string told_to_him(const std::string &request)
    {
        EXPECT_EQ(as_local_user([&] {
                      write_file("/tmp/answer", lsql(request));
                      return 0;
                  }),
                  0);
        return read_file("/tmp/answer");
    }
    /* Root is told what he is not: that there are such instances he may well know. */
    void expect_hidden(const std::string &class_name, const std::string &words)
    {
        EXPECT_THAT(lsql(all_of(class_name)), HasSubstr(words)) << class_name;
        const std::string told = told_to_him(all_of(class_name));
        EXPECT_THAT(told, Not(HasSubstr(words))) << class_name;
        EXPECT_THAT(told, Not(HasSubstr("<counter>0<"))) << class_name;
    }
    static std::string value_in(const std::string &answer, const std::string &property)
    {
        const auto at = answer.find("<" + property + ">");
        return at == answer.npos ? "" : answer.substr(at, answer.find("</", at) - at);
    }
};

TEST_F(AccessToRecords, IsNeededForWhatCommitsAndRefusalsWereAbout)
{
    boot();
    lsql(transaction(channel("a", "7")));
    lsql(transaction(channel("a", "much-too-long")));
    expect_hidden("commit", "Radio");
    expect_hidden("refusal", "Radio");
    for (const char *property : {"changed", "deleted", "providers"}) {
        const std::string select =
            "<lsql><select><commit><" + std::string(property) + "/></commit></select></lsql>";
        EXPECT_NE(value_in(lsql(select), property), "") << property;
        EXPECT_EQ(value_in(told_to_him(select), property), "") << property;
    }
    EXPECT_THAT(told_to_him(all_of("commit")), HasSubstr("<user>root</user>"));
    EXPECT_THAT(told_to_him(all_of("refusal")), HasSubstr("<user>root</user>"));
}

TEST_F(AccessToRecords, IsNeededForWhatGenerationsChangedAndHold)
{
    boot();
    lsql(transaction(channel("a", "7")));
    expect_hidden("generation", "Radio");
    const std::string document = "<lsql><select><generation><document/></generation></select>"
                                 "</lsql>";
    EXPECT_THAT(lsql(document), HasSubstr("channel"));
    EXPECT_THAT(told_to_him(document), Not(HasSubstr("channel")));
    EXPECT_NE(value_in(lsql(all_of("generation")), "bytes"), "");
    EXPECT_EQ(value_in(told_to_him(all_of("generation")), "bytes"), "");
    EXPECT_THAT(told_to_him(all_of("generation")), HasSubstr("<user>root</user>"));
}

TEST_F(AccessToRecords, IsNeededForWhatIsNotSaved)
{
    boot();
    lsql(transaction(channel("a", "7") + trial("<seconds>600</seconds>")));
    expect_hidden("save", "Radio");
    EXPECT_NE(value_in(lsql(select_save), "reason"), "<reason>");
    EXPECT_EQ(value_in(told_to_him(select_save), "reason"), "");
}

TEST_F(AccessToRecords, IsNeededForWhatIsKeptOfUnknownClasses)
{
    boot();
    expect_hidden("daemon", "Toaster");
    EXPECT_EQ(value_in(told_to_him(all_of("daemon")), "left-behind-instances"), "");
}

TEST_F(AccessToRecords, IsNeededToKnowThatThereIsAClassOrAProperty)
{
    configure(rule("1", "user:1000", "Radio", "read", "deny") +
              rule("2", "user:1000", "Board", "*", "deny", "label") +
              rule("3", "user:1000", "Route", "read", "deny", "to"));
    boot();
    expect_hidden("schema-class", "<schema-class name=\"Radio\">");
    expect_hidden("schema-property", "<schema-property name=\"Radio\">");
    expect_hidden("schema-property", "<schema-property name=\"Board\"><property>label</property>");
    const std::string told = told_to_him(all_of("schema-property"));
    EXPECT_THAT(told, HasSubstr("<property>uptime</property>"));
    EXPECT_THAT(told, HasSubstr("<property>to</property>")) << "which he may write";
}

TEST_F(AccessToRecords, TellsEachWhatHeMayDo)
{
    configure(rule("1", "user:1000", "Radio", "update", "deny", "channel") +
              rule("2", "user:1000", "Radio", "insert delete", "deny"));
    boot();
    const std::string of_class = "<lsql><select><schema-class name=\"Radio\"><insertable/>"
                                 "<deletable/></schema-class></select></lsql>";
    const std::string changeable =
        "<lsql><select><schema-property name=\"Radio\"><property/></schema-property></select>"
        "<where><eq><property>changeable</property><value>yes</value></eq></where></lsql>";
    EXPECT_THAT(lsql(of_class),
                HasSubstr("<insertable>yes</insertable><deletable>yes</deletable>"));
    EXPECT_THAT(told_to_him(of_class),
                HasSubstr("<insertable>no</insertable><deletable>no</deletable>"));
    EXPECT_THAT(lsql(changeable), HasSubstr("<property>channel</property>"));
    EXPECT_THAT(told_to_him(changeable), Not(HasSubstr("<property>channel</property>")));
    EXPECT_THAT(told_to_him(changeable), HasSubstr("<property>mode</property>"));
}

} // namespace
