/* SPDX-License-Identifier: MIT */
/* Files of changes and whole configurations: all of it or nothing, and nobody's change is lost. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "vornctl_states.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

class Batches : public vorn::tests::VornctlStates {
protected:
    static std::string batch(const std::string &lines)
    {
        write_file("/tmp/batch", lines);
        return vornctl("batch /tmp/batch");
    }
};

TEST_F(Batches, ChangeNothingWhenANamedInstanceIsNotThere)
{
    EXPECT_EQ(batch("set Radio r0 mode=g\nset Radio r77 mode=g\n"),
              "[5]\nvornctl: /tmp/batch:2: set Radio \"r77\": there is no such instance\n");
    EXPECT_EQ(batch("set Radio r0 mode=g\ndelete Radio r77\n"),
              "[5]\nvornctl: /tmp/batch:2: delete Radio \"r77\": there is no such instance\n");
    EXPECT_EQ(
        batch("set Radio r0 mode=g\nset Radio r0 mode=b --where 'channel = 7'\n"),
        "[5]\nvornctl: /tmp/batch:2: set Radio \"r0\": there is no such instance that fulfils "
        "the condition\n");
    EXPECT_EQ(batch("set Radio r0 mode=g\ndelete Radio r0 --where 'channel = 7'\n"),
              "[5]\nvornctl: /tmp/batch:2: delete Radio \"r0\": there is no such instance that "
              "fulfils the condition\n");

    EXPECT_EQ(vornctl("show Radio r0 mode -q"), "\n[0]\n");
}

TEST_F(Batches, SeeTheChangesOfTheLinesAbove)
{
    EXPECT_EQ(batch("set Program p radios+=r0\nset Program p radios+=r1\nset Program p radios-=r0\n"
                    "add --or-set Radio r9 mode=a\nadd --or-set Radio r9 mode=b\n"
                    "rename Radio r1 r2\nunset Radio r0 channel\n"),
              "[0]\n");

    EXPECT_EQ(vornctl("show Program p radios -q"), "r2\n[0]\n");
    EXPECT_EQ(vornctl("show Radio r9 mode -q"), "b\n[0]\n");
}

class Imports : public vorn::tests::VornctlStates {
protected:
    static void change_between() { EXPECT_EQ(vornctl("set Radio r1 mode=b"), "[0]\n"); }
};

TEST_F(Imports, OfAnExportAreRefusedWhenTheDeviceHasMovedOn)
{
    EXPECT_EQ(vornctl("export /tmp/export.xml"), "[0]\n");
    change_between();

    EXPECT_THAT(vornctl("import /tmp/export.xml"),
                MatchesRegex("\\[1\\]\nvornctl: /tmp/export.xml: the device has changed since this "
                             "was exported \\(commit 0, now 1\\); .*--force.*\n"));
    EXPECT_EQ(vornctl("show Radio r1 mode -q"), "b\n[0]\n");
    EXPECT_THAT(vornctl("import --dry-run /tmp/export.xml"),
                StartsWith("  Radio \"r1\"\n-   mode = b\n[5]\n"));

    EXPECT_EQ(vornctl("import --force /tmp/export.xml"), "[0]\n");

    EXPECT_EQ(vornctl("show Radio r1 mode -q"), "\n[0]\n");
}

TEST_F(Imports, OfInstancesWithoutTheirNamesAreRefused)
{
    write_file("/tmp/nameless.xml", "<config><Radio><mode>b</mode></Radio></config>");

    EXPECT_EQ(vornctl("import --merge /tmp/nameless.xml"),
              "[2]\nvornctl: the name of a Radio is missing\n");
}

/* Commits are counted from each start of the daemon. */
TEST_F(Imports, OfAnExportFromAnEarlierRunAreRefusedWithoutItsNumber)
{
    EXPECT_EQ(vornctl("export /tmp/export.xml"), "[0]\n");
    shut_down();
    shell("sed -i 's/<channel>6/<channel>7/' /etc/config/config.xml");
    boot();

    EXPECT_THAT(vornctl("import /tmp/export.xml"),
                HasSubstr("has changed since this was exported (during an earlier run, or from "
                          "another device); "));
}

/* Somebody who hears nothing takes it for done. */
TEST_F(Imports, OfAPropertyThatTheDeviceLacksAreRefused)
{
    write_file("/tmp/slip.xml", "<config><Radio name=\"r1\"><mod>b</mod></Radio></config>");

    EXPECT_EQ(vornctl("import --merge /tmp/slip.xml"),
              "[5]\nvornctl: Radio \"r1\": this device has no such property: \"mod\"; "
              "did you mean \"mode\"?\n");
}

TEST_F(Imports, OfAnEditedExportAreDoneAsLongAsTheDeviceHasNotChanged)
{
    EXPECT_EQ(vornctl("export /tmp/export.xml"), "[0]\n");
    shell("sed -i 's/<channel>6/<channel>7/' /tmp/export.xml");
    const std::string saved = lsql("<get_conf/>");
    shut_down();
    boot();

    EXPECT_EQ(vornctl("import /tmp/export.xml"), "[0]\n");

    EXPECT_EQ(vornctl("show Radio r0 channel -q"), "7\n[0]\n");
    EXPECT_THAT(vornctl("import /tmp/export.xml"), EndsWith("[0]\n")) << "nothing to do";
}

TEST_F(Imports, ThatMergeChangeOnlyThePropertiesInTheFile)
{
    EXPECT_EQ(vornctl("set Program p arguments=x key=open123"), "[0]\n");
    EXPECT_EQ(vornctl("add Route to=a"), "[0]\n");
    write_file("/tmp/one.xml",
               "<config><Program name=\"p\"><respawn>on</respawn></Program>"
               "<Route><to>a</to></Route><Route><to>b</to></Route>"
               "<Address name=\"lan\"><kind>Static</kind><ip>1.2</ip></Address></config>");

    EXPECT_EQ(vornctl("import --merge /tmp/one.xml"), "[0]\n");

    EXPECT_EQ(vornctl("show Program p arguments key respawn"),
              "Program p\n  arguments  x\n  key        ********\n  respawn    on\n[0]\n");
    EXPECT_EQ(vornctl("show Route"), "to\na\nb\n[0]\n");
    EXPECT_EQ(vornctl("show Address lan ip -q"), "1.2\n[0]\n");
    EXPECT_EQ(vornctl("import --merge --dry-run /tmp/one.xml"), "[0]\n");
}

TEST_F(Imports, ThatMergeDoNotMakeAnInstanceAnotherKind)
{
    write_file("/tmp/kind.xml", "<config><Address name=\"lan\"><kind>Dhcp</kind></Address>"
                                "</config>");

    EXPECT_EQ(vornctl("import --merge /tmp/kind.xml"),
              "[1]\nvornctl: Address \"lan\": a merge can't make a Static a Dhcp\n");
}

TEST_F(Imports, TellWhatIsNotApplied)
{
    write_file("/tmp/fail.xml",
               "<config><Program name=\"p\"><arguments>fail</arguments></Program></config>");

    EXPECT_EQ(vornctl("import --merge /tmp/fail.xml"),
              "[7]\nvornctl: recorded, but not applied: Program \"p\": failed: no such file\n");
}

} // namespace
