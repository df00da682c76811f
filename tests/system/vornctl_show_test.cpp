/* SPDX-License-Identifier: MIT */
/* What the client shows of a device: its classes, its instances, its saved configuration. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "vornctl_device.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr char config[] = "<config>"
                          "<Board><label>attic</label></Board>"
                          "<Radio name=\"r0\"><channel>6</channel><mode>g</mode></Radio>"
                          "<Radio name=\"r1\"><channel>11</channel></Radio>"
                          "<Radio name=\"&lt;&quot;&amp;\"><mode>&lt;a&amp;b&gt;</mode></Radio>"
                          "<Route><to>a</to></Route><Route><to>b</to></Route>"
                          "<Acl name=\"guests\"><mac>1</mac></Acl>"
                          "<Acl name=\"guests\"><mac>2</mac></Acl>"
                          "<Address name=\"lan\"><kind>Static</kind><ip>1.2</ip></Address>"
                          "</config>";

class Views : public vorn::tests::VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        write_file("/etc/config/config.xml", config);
        boot();
    }
};

TEST_F(Views, ListTheClasses)
{
    const std::string shown = vornctl("list");

    EXPECT_THAT(shown, StartsWith("CLASS            TYPE                    SAVED  SUPERCLASS\n"));
    EXPECT_THAT(shown, EndsWith("\n[0]\n"));
    /* Which plugin comes first is up to the folder. */
    EXPECT_THAT(shown, HasSubstr("\nBoard            singleton               yes\n"
                                 "Radio            unique-named            yes\n"
                                 "Route            anonymous               yes\n"
                                 "Acl              group-named             yes\n"
                                 "Clock            singleton               no\n"
                                 "Address          unique-named, abstract  yes\n"
                                 "Static           unique-named            yes    Address\n"
                                 "Dhcp             unique-named            yes    Address\n"));
    EXPECT_THAT(shown, HasSubstr("\nschema-class     unique-named            no\n"
                                 "schema-property  group-named             no\n"));
}

TEST_F(Views, ListTheProperties)
{
    EXPECT_EQ(vornctl("list Dhcp"), "PROPERTY  FLAGS  FROM\n"
                                    "kind      r-ip   Address\n"
                                    "comment   rw-p   Address\n"
                                    "lease     r---\n"
                                    "[0]\n");
    EXPECT_EQ(vornctl("list Toaster"), "[5]\nvornctl: there is no class \"Toaster\"\n");
}

TEST_F(Views, ListForPrograms)
{
    EXPECT_THAT(vornctl("--json list"),
                HasSubstr("  {\n    \"class\": \"schema-class\",\n    \"name\": \"Board\",\n"
                          "    \"values\": {\n      \"type\": \"singleton\",\n"));
    EXPECT_THAT(vornctl("--xml list Board"), StartsWith("<?xml version=\"1.0\"?>\n<dataset>\n"
                                                        "  <schema-property name=\"Board\">\n"
                                                        "    <property>label</property>\n"));
}

TEST_F(Views, ShowInstancesAsATable)
{
    EXPECT_EQ(vornctl("show Radio"), "Radio  channel  mode\n"
                                     "r0     6        g\n"
                                     "r1     11\n"
                                     "<\"&             <a&b>\n"
                                     "[0]\n");
    EXPECT_EQ(vornctl("show Route"), "to\na\nb\n[0]\n");
    EXPECT_EQ(vornctl("show Acl guests"), "Acl     mac\nguests  1\nguests  2\n[0]\n");
}

TEST_F(Views, ShowOneInstanceAsAList)
{
    EXPECT_EQ(vornctl("show Radio r1"), "Radio r1\n  channel  11\n  mode\n[0]\n");
    EXPECT_EQ(vornctl("show Board"), "Board\n  label   attic\n  uptime  42\n[0]\n");
    EXPECT_EQ(vornctl("show Address"),
              "Address lan\n  kind     Static\n  comment\n  ip       1.2\n[0]\n");
}

TEST_F(Views, ShowTheGivenPropertiesOnly)
{
    EXPECT_EQ(vornctl("show Radio - mode"), "Radio  mode\nr0     g\nr1\n<\"&    <a&b>\n[0]\n");
    EXPECT_EQ(vornctl("show Radio r0 mode channel"), "Radio r0\n  mode     g\n  channel  6\n[0]\n");
    EXPECT_EQ(vornctl("show Board label"), "Board\n  label  attic\n[0]\n");
}

TEST_F(Views, ShowWhatFulfilsACondition)
{
    EXPECT_EQ(vornctl("show Radio - channel --where 'mode = g and not channel = 11'"),
              "Radio r0\n  channel  6\n[0]\n");
    EXPECT_EQ(vornctl("show Radio - channel --where 'not mode or @name = r0'"),
              "Radio  channel\nr0     6\nr1     11\n[0]\n");
    EXPECT_EQ(vornctl("show Radio --where 'mode = x'"), "[0]\n");
    EXPECT_THAT(vornctl("show Radio --where 'mode ='"),
                StartsWith("[2]\nvornctl: the condition can't be understood: mode = >>> \n"));
}

TEST_F(Views, ShowForPrograms)
{
    EXPECT_EQ(vornctl("show Radio '<\"&' mode --json"),
              "[\n  {\n    \"class\": \"Radio\",\n    \"name\": \"<\\\"&\",\n    \"values\": {\n"
              "      \"mode\": \"<a&b>\"\n    }\n  }\n]\n[0]\n");
    EXPECT_EQ(vornctl("show Radio '<\"&' mode --xml"),
              "<?xml version=\"1.0\"?>\n<dataset>\n  <Radio name=\"&lt;&quot;&amp;\">\n"
              "    <mode>&lt;a&amp;b&gt;</mode>\n  </Radio>\n</dataset>\n[0]\n");
    EXPECT_EQ(vornctl("show Radio --where 'mode = x' --json"), "[]\n[0]\n");
}

TEST_F(Views, SayWhatIsNotThere)
{
    EXPECT_EQ(vornctl("show Radio r9"), "[5]\nvornctl: there is no Radio \"r9\"\n");
    EXPECT_EQ(vornctl("show Radio r0 --where 'mode = b'"),
              "[5]\nvornctl: there is no Radio \"r0\" that fulfils the condition\n");
    EXPECT_EQ(vornctl("show Toaster"), "[5]\nvornctl: there is no class \"Toaster\"\n");
    EXPECT_EQ(vornctl("show Radio r0 speed"),
              "[5]\nvornctl: class \"Radio\" has no property \"speed\"\n");
}

TEST_F(Views, ShowTheSavedConfiguration)
{
    EXPECT_EQ(vornctl("--xml startup"), std::string(config) + "[0]\n");
    EXPECT_THAT(vornctl("startup"), StartsWith("Board\n  label  attic\n\nRadio  channel  mode\n"));
    EXPECT_THAT(vornctl("startup"), EndsWith("Address lan\n  kind  Static\n  ip    1.2\n[0]\n"));
    EXPECT_THAT(vornctl("--json startup"), StartsWith("[\n  {\n    \"class\": \"Board\",\n"));
}

TEST_F(Views, AreColouredOnlyWhenAskedForOrOnATerminal)
{
    constexpr char terminal[] = "script -qec 'vornctl list Board' /dev/null";

    EXPECT_THAT(vornctl("list Board"), StartsWith("PROPERTY"));
    EXPECT_THAT(vornctl("list Board --color always"), StartsWith("\033[1mPROPERTY"));
    EXPECT_THAT(shell(terminal), StartsWith("\033[1mPROPERTY"));
    EXPECT_THAT(shell(std::string("NO_COLOR=1 ") + terminal), StartsWith("PROPERTY"));
    EXPECT_THAT(shell(std::string("NO_COLOR= ") + terminal), StartsWith("\033[1mPROPERTY"));
}

TEST_F(Views, AreListsWhereTheTerminalIsTooNarrowForATable)
{
    EXPECT_EQ(shell("script -qec 'stty cols 10; NO_COLOR=1 vornctl show Radio - channel mode "
                    "--where mode\\ =\\ g\\ or\\ channel\\ =\\ 11'"
                    " /dev/null | tr -d '\\r'"),
              "Radio r0\n  channel  6\n  mode     g\n\nRadio r1\n  channel  11\n  mode\n");
}

TEST_F(Views, OfWhatThereIsFitANarrowTerminalToo)
{
    EXPECT_THAT(shell("script -qec 'stty cols 20; NO_COLOR=1 PAGER=cat vornctl list Radio' "
                      "/dev/null | tr -d '\r'"),
                StartsWith("channel\n  FLAGS  rw-p\n  FROM\n\nmode\n"));
}

TEST_F(Views, DoNotLetAValueDriveTheTerminal)
{
    EXPECT_EQ(vornctl("show Radio \"r$(printf '\\302\\2332J')\""),
              "[5]\nvornctl: there is no Radio \"r2J\"\n");
    EXPECT_EQ(vornctl("set Radio r0 \"mode=$(printf 'a\\033[2Jb')\""),
              "[2]\nvornctl: the value \"a[2Jb\" holds a control character or is not UTF-8\n");
    EXPECT_EQ(vornctl("set Radio r1 \"mode=$(printf 'a\\nb\\tc')\""), "[0]\n");
    EXPECT_EQ(vornctl("show Radio r1 mode"), "Radio r1\n  mode  a\\nb\\tc\n[0]\n");
}

class ViewsWithoutASchema : public vorn::tests::VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        unlink("/usr/lib/vorn/plugins/schema.vorn");
        boot();
    }
};

TEST_F(ViewsWithoutASchema, StillShowAndChangeInstances)
{
    EXPECT_EQ(vornctl("set Radio r0 mode=g"), "[0]\n");
    EXPECT_EQ(vornctl("set Board label=x"), "[0]\n");
    EXPECT_EQ(vornctl("show Radio r0"), "Radio r0\n  channel  6\n  mode     g\n[0]\n");
    EXPECT_EQ(vornctl("show Board - label"), "Board\n  label  x\n[0]\n");
    EXPECT_EQ(vornctl("show Toaster"), "[0]\n");
}

TEST_F(ViewsWithoutASchema, SayWhatIsMissing)
{
    const char *missing = "[5]\nvornctl: this device does not tell what it has: the plugin "
                          "\"schema\" is not installed\n";

    for (const char *command : {"list", "diff", "export"})
        EXPECT_EQ(vornctl(command), missing) << command;
}

} // namespace
