/* SPDX-License-Identifier: MIT */
/* What no validator sees is judged before anything is applied, by a plugin's check. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "configured_device.h"

namespace {

using testing::HasSubstr;
using namespace vorn::tests;

constexpr char two_radios[] = "<config><Radio name=\"a\"><channel>1</channel></Radio>"
                              "<Radio name=\"b\"><channel>6</channel></Radio></config>";
constexpr char same_channel[] = "<update><Radio name=\"b\"><channel>1</channel></Radio></update>";

class Checks : public ConfiguredDevice {
protected:
    void SetUp() override
    {
        ConfiguredDevice::SetUp();
        install_plugin("checks.vorn");
        install_plugin("save.vorn");
        write_file(startup, two_radios);
    }

    static std::string in_transaction(const std::string &operations)
    {
        return lsql("<lsql><write-transaction>" + operations + "</write-transaction></lsql>");
    }
};

TEST_F(Checks, RefuseATransactionBeforeAnyProviderHearsOfIt)
{
    boot();
    ASSERT_EQ(count(console(), "board: changed"), 1);

    EXPECT_EQ(
        in_transaction("<insert><Route><to>lan</to></Route></insert>" + std::string(same_channel)),
        "<?xml version=\"1.0\"?>\n<lsql_result>"
        "<error>Property \"channel\" of instance \"a\" of class "
        "\"Radio\": channel 1 is taken by \"b\".</error>"
        "<error>Property \"channel\" of instance \"b\" of class "
        "\"Radio\": channel 1 is taken by \"a\".</error>"
        "<rc>1</rc><counter>0</counter></lsql_result>\n");

    EXPECT_EQ(count(console(), "board: changed"), 1);
    EXPECT_EQ(read_file(startup), two_radios);
    EXPECT_THAT(lsql("<lsql><select><Route/></select></lsql>"), HasSubstr("<dataset/>"));
}

TEST_F(Checks, LetPassWhatEndsWell)
{
    boot();

    EXPECT_THAT(in_transaction(std::string(same_channel) +
                               "<update><Radio name=\"a\"><channel>11</channel></Radio></update>"),
                HasSubstr("<rc>0</rc>"));

    EXPECT_THAT(read_file(startup), HasSubstr("<channel>11</channel>"));
}

TEST_F(Checks, DoNotTouchARequestThatIsNoTransaction)
{
    boot();

    EXPECT_THAT(lsql("<lsql>" + std::string(same_channel) + "</lsql>"), HasSubstr("<rc>0</rc>"));
}

TEST_F(Checks, OnlyWarnOfWhatABootLoads)
{
    write_file(startup, "<config><Radio name=\"a\"><channel>1</channel></Radio>"
                        "<Radio name=\"b\"><channel>1</channel></Radio></config>");

    boot();

    EXPECT_TRUE(console_shows("vorn: Loaded in spite of this: Property \"channel\" of instance "
                              "\"b\" of class \"Radio\": channel 1 is taken by \"a\".\n"));
    EXPECT_THAT(lsql(select_radios), HasSubstr("<counter>2</counter>"));
}

} // namespace
