/* SPDX-License-Identifier: MIT */
/* A generation as clients see it: without secrets, and without a tree of it in memory. */
#include "support/builders.h"
#include "support/held_by_libxml2.h"
#include "vorn/vorn.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstddef>
#include <string>

extern "C" {
#include "shown.h"
}

namespace {

using vorn::tests::ClassBuilder;
using vorn::tests::HeldByLibxml2;

class ShownGenerations : public vorn::tests::ModelTest {
protected:
    ShownGenerations()
    {
        vorn_class *klass = ClassBuilder("Key").persistent().with("label").with("pin").add();
        vorn_property_set_secret(vorn_class_get_property(klass, "pin"), 1);
    }

    static std::string of(const std::string &document)
    {
        char *text = shown_document(document.data(), document.size());
        const std::string copy = text ? text : "(nothing)";
        xmlFree(text);
        return copy;
    }
};

std::string many_keys(int count)
{
    std::string document = "<?xml version=\"1.0\"?>\n<config>";
    for (int i = 0; i < count; i++) {
        const std::string number = std::to_string(i);
        document.append("\n  <Key name=\"key")
            .append(number)
            .append("\">\n    <label>the key of number ");
        document.append(number).append("</label>\n    <pin>1234</pin>\n  </Key>");
    }
    return document + "\n</config>\n";
}

TEST_F(ShownGenerations, AreWhatWasSavedButForTheirSecrets)
{
    EXPECT_EQ(
        of("<?xml version=\"1.0\"?>\n<config>\n  <Key name=\"a\"><label>x</label><pin>1</pin></Key>"
           "\n  <Toaster name=\"t\"><label>x</label></Toaster>\n</config>\n"),
        "<?xml version=\"1.0\"?>\n<config>\n  <Key name=\"a\"><label>x</label><pin>********</pin>"
        "</Key>\n  <Toaster name=\"t\"><label>********</label></Toaster>\n</config>\n");
    EXPECT_EQ(of("<?xml version=\"1.0\"?>\n<config/>\n"), "<?xml version=\"1.0\"?>\n<config/>\n");
    EXPECT_EQ(of("<config><Key name=\"a\">"), "(nothing)");
}

/* On a device of little memory the answer is the largest of what there may be, and not of much
 * else. */
TEST_F(ShownGenerations, TakeLittleMoreMemoryThanTheirText)
{
    constexpr std::ptrdiff_t room_of_the_reader = 64 * 1024;
    for (const int count : {1000, 10000}) {
        const std::string document = many_keys(count);
        const auto size = static_cast<std::ptrdiff_t>(document.size());
        const HeldByLibxml2 memory;

        char *text = shown_document(document.data(), document.size());

        ASSERT_NE(text, nullptr);
        EXPECT_GE(memory.most, size) << "not all of it was counted";
        EXPECT_LE(memory.most, 3 * size + room_of_the_reader) << count << " instances";
        xmlFree(text);
        EXPECT_LE(memory.held, room_of_the_reader) << "what is left behind";
    }
}

} // namespace
