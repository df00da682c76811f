/* SPDX-License-Identifier: MIT */
#include "core/base/text.h"
#include "platform/lumo/lumo.h"

#include <gtest/gtest.h>

namespace {

TEST(Escapes, ReplaceMarkupAndNothingElse)
{
    const vorn::Text escaped(lumo_xml_escape("<a href=\"x\">Tom & Jerry's</a>"));

    EXPECT_STREQ(escaped.get(), "&lt;a href=&quot;x&quot;&gt;Tom &amp; Jerry's&lt;/a&gt;");
}

TEST(Escapes, KeepAnEmptyText)
{
    EXPECT_STREQ(vorn::Text(lumo_xml_escape("")).get(), "");
}

TEST(Escapes, AreAbsentForNull)
{
    EXPECT_FALSE(vorn::Text(lumo_xml_escape(nullptr)));
}

} // namespace
