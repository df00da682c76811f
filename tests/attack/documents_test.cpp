/* SPDX-License-Identifier: MIT */
/* Documents that are small for who sends them and large for who parses them. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "attacked_device.h"

namespace {

using testing::HasSubstr;

using DocumentAttacks = vorn::tests::AttackedDevice;

/* Each parameter entity is ten of the one before. */
std::string nested_declarations()
{
    std::string text = "<!DOCTYPE lsql [<!ENTITY % e0 \"<!ENTITY x 'y'>\">";
    for (int i = 1; i < 7; i++) {
        text += "<!ENTITY % e" + std::to_string(i) + " \"";
        for (int times = 0; times < 10; times++)
            text += "&#37;e" + std::to_string(i - 1) + ";";
        text += "\">";
    }
    return text + "%e6;]>";
}

/* Each name of an enumeration is compared with all before it. */
std::string long_enumeration()
{
    std::string text = "<!DOCTYPE lsql [<!ATTLIST lsql a (";
    for (int i = 0; i < 90000; i++)
        text += std::string(150, 'n') + std::to_string(i) + "|";
    return text + "z) 'z'>]>";
}

TEST_F(DocumentAttacks, ByDeclarationsInARequestCostNothing)
{
    constexpr char request[] = "<lsql><select><Radio/></select></lsql>";
    boot();

    EXPECT_EQ(answer_to(nested_declarations() + request), "");
    EXPECT_EQ(answer_to(long_enumeration() + request), "");

    EXPECT_TRUE(console_shows("XML with a document type is refused.\n", 2));
    expect_service();
}

TEST_F(DocumentAttacks, ByDeclarationsInTheStartupFileEndInTheRescue)
{
    write_file("/etc/config/config.xml", nested_declarations() + "<config/>");
    write_file("/etc/rescueconfig.xml", "<config><Radio name=\"r0\"/></config>");

    boot();

    EXPECT_THAT(console(), HasSubstr("XML with a document type is refused.\n"));
    expect_service();
}

} // namespace
