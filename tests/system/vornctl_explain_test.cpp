/* SPDX-License-Identifier: MIT */
/* What the client says of a change that it does not make. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "vornctl_device.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class ExplainedChanges : public vorn::tests::VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        install_plugin("explains.vorn");
        boot();
        saved_ = read_file("/etc/config/config.xml");
    }

    /* Whatever was said, nothing was done. */
    void TearDown() override
    {
        EXPECT_EQ(vornctl("show Radio - -q channel"), "6\n[0]\n");
        EXPECT_EQ(read_file("/etc/config/config.xml"), saved_);
        VornctlDevice::TearDown();
    }

private:
    std::string saved_;
};

TEST_F(ExplainedChanges, ShowWhatChangesWhatItDoesAndWhoIsTold)
{
    EXPECT_EQ(vornctl("explain set Radio r0 channel=7 mode=g"),
              "  Radio \"r0\"\n"
              "-   channel = 6\n"
              "+   channel = 7\n"
              "+   mode = g\n"
              "What it does:\n"
              "  interrupts  explains: two stations are cut off\n"
              "  nothing     explains: a file is written\n"
              "  nothing     save: the configuration is saved\n"
              "Who is told, in this order:\n"
              "  board     update Radio \"r0\"\n"
              "  explains  update Radio \"r0\"\n"
              "  save      update Radio \"r0\"\n"
              "[0]\n");
}

TEST_F(ExplainedChanges, AreAskedForBeforeOrWithTheCommand)
{
    write_file("/tmp/batch", "set Board label=attic\nadd Route to=moon\n");
    const std::string explained = vornctl("explain batch /tmp/batch");

    EXPECT_THAT(explained,
                AllOf(HasSubstr("+   label = attic"), HasSubstr("+ Route\n+   to = moon"),
                      HasSubstr("  restarts the device  explains: all is gone\n"
                                "  nothing              explains: a file")));
    EXPECT_EQ(vornctl("batch --explain /tmp/batch"), explained);
    EXPECT_EQ(vornctl("batch /tmp/batch --explain"), explained);
}

TEST_F(ExplainedChanges, AreOfEveryKind)
{
    EXPECT_THAT(vornctl("explain add Address wan kind=Dhcp"),
                AllOf(StartsWith("+ Dhcp \"wan\"\n"), HasSubstr("insert Dhcp \"wan\"")));
    EXPECT_THAT(
        vornctl("explain delete Radio r0"),
        AllOf(StartsWith("- Radio \"r0\"\n-   channel = 6\n"), HasSubstr("delete Radio \"r0\"")));
    EXPECT_THAT(vornctl("explain unset Radio r0 channel"),
                StartsWith("  Radio \"r0\"\n-   channel = 6\n"));
    EXPECT_THAT(vornctl("explain rename Radio r0 r1"),
                AllOf(HasSubstr("- Radio \"r0\"\n"), HasSubstr("+ Radio \"r1\"\n")));
    vornctl("export /tmp/other.xml");
    shell("sed -i s/6/9/ /tmp/other.xml");
    EXPECT_THAT(vornctl("import --explain /tmp/other.xml"), HasSubstr("+   channel = 9\n"));
    vornctl("export /tmp/same.xml");
    EXPECT_EQ(vornctl("explain import /tmp/same.xml"), "Nothing changes.\n[0]\n");
}

TEST_F(ExplainedChanges, SayWhyTheyWouldBeRefused)
{
    EXPECT_THAT(vornctl("explain set Radio r0 channel=13"),
                AllOf(StartsWith("  Radio \"r0\"\n"), Not(HasSubstr("What it does")),
                      HasSubstr("[1]\nvornctl: Property \"channel\" of instance \"r0\" of class "
                                "\"Radio\": the neighbours have 13.\n")));
    EXPECT_THAT(vornctl("explain set Radio r0 channel=1234567890"),
                StartsWith("[1]\nvornctl: set Radio \"r0\": Value \"1234567890\" is not valid"));
    EXPECT_THAT(vornctl("explain set Radio r9 channel=1"),
                StartsWith("[5]\nvornctl: set Radio \"r9\": there is no such instance"));
}

TEST_F(ExplainedChanges, NameEveryLineThatWouldBeRefused)
{
    write_file("/tmp/batch", "set Radio r0 channel=1234567890\n\nset Board label=attic\n"
                             "set Radio r9 channel=1\n");

    EXPECT_THAT(vornctl("explain batch /tmp/batch"),
                AllOf(StartsWith("[1]\nvornctl: /tmp/batch:1: set Radio \"r0\": Value "
                                 "\"1234567890\" is not valid"),
                      HasSubstr("\nvornctl: /tmp/batch:4: set Radio \"r9\": there is no such "
                                "instance"),
                      Not(HasSubstr("/tmp/batch:3:"))));
}

TEST_F(ExplainedChanges, AreToldToPrograms)
{
    EXPECT_EQ(vornctl("--json explain set Radio r0 channel=7 | tr -d ' \\n'"),
              "{\"changes\":[{\"action\":\"update\",\"class\":\"Radio\",\"name\":\"r0\","
              "\"before\":{\"channel\":\"6\"},\"after\":{\"channel\":\"7\"}}],\"refused\":[],"
              "\"providers\":[{\"name\":\"board\",\"instances\":[{\"action\":\"update\","
              "\"class\":\"Radio\",\"name\":\"r0\"}],\"effects\":[]},{\"name\":\"explains\","
              "\"instances\":[{\"action\":\"update\",\"class\":\"Radio\",\"name\":\"r0\"}],"
              "\"effects\":[{\"weight\":\"nothing\",\"effect\":\"afileiswritten\"},"
              "{\"weight\":\"interrupts\",\"effect\":\"twostationsarecutoff\"}]},"
              "{\"name\":\"save\",\"instances\":[{\"action\":\"update\",\"class\":\"Radio\","
              "\"name\":\"r0\"}],\"effects\":[{\"weight\":\"nothing\","
              "\"effect\":\"theconfigurationissaved\"}]}]}[0]\n");
    EXPECT_THAT(vornctl("--xml explain set Radio r0 channel=7"),
                StartsWith("<?xml version=\"1.0\"?>\n<explanation><change action=\"updated\""));
}

TEST_F(ExplainedChanges, AreNothingElse)
{
    EXPECT_THAT(vornctl("explain show Radio"),
                StartsWith("[2]\nexplain: show is no change of the configuration\n"));
    EXPECT_THAT(vornctl("explain"), StartsWith("[2]\nCOMMAND is required\n"));
    EXPECT_THAT(vornctl("explain explain set Radio r0 channel=7"), StartsWith("[2]\nexplain: "));
    write_file("/tmp/batch", "set --explain Radio r0 channel=7\n");
    EXPECT_EQ(vornctl("batch /tmp/batch"),
              "[2]\nvornctl: /tmp/batch:1: --explain is for all changes of a file together\n");
    EXPECT_THAT(vornctl("explain --help"), StartsWith("say what a change would do"));
}

TEST_F(ExplainedChanges, AreCompleted)
{
    EXPECT_EQ(
        shell("vornctl complete 'vornctl explain '"),
        "set\nadd\ndelete\nunset\nrename\nbatch\nconfirm\nrevert\nimport\nrollback\nrepair\n");
    EXPECT_EQ(shell("vornctl complete 'vornctl explain set Rad'"), "Radio\n");
    EXPECT_EQ(shell("vornctl complete 'vornctl explain set Radio r0 ch'"), "channel=\n");
}

} // namespace
