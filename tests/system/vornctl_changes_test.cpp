/* SPDX-License-Identifier: MIT */
/* What the client changes: one value, a file of changes, a whole configuration. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include <unistd.h>

#include "vornctl_device.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class CommandedChanges : public vorn::tests::VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        boot();
    }

    static std::string batch(const std::string &lines)
    {
        write_file("/tmp/batch", lines);
        return vornctl("batch /tmp/batch");
    }

    static std::string radios() { return vornctl("show Radio"); }
};

TEST_F(CommandedChanges, SetValues)
{
    EXPECT_EQ(vornctl("set Radio r0 channel=7 'mode=a b'"), "[0]\n");

    EXPECT_EQ(radios(), "Radio r0\n  channel  7\n  mode     a b\n[0]\n");
}

TEST_F(CommandedChanges, SetEveryInstanceThatFulfilsACondition)
{
    vornctl("add Radio r1 mode=b");
    vornctl("add Radio r2 mode=g");

    EXPECT_EQ(vornctl("set Radio - channel=1 --where 'mode = b or mode = g'"), "[0]\n");

    EXPECT_EQ(radios(), "Radio  channel  mode\nr0     6\nr1     1        b\nr2     1        g\n"
                        "[0]\n");
}

TEST_F(CommandedChanges, SetValuesOfAnyText)
{
    for (const std::string value : {"<a&\"b'>", "x=y=z", "", " ", "\xC3\xA4\xE2\x82\xAC", "a\\b"}) {
        EXPECT_EQ(vornctl("set Radio r0 'mode=" +
                          (value.find('\'') == std::string::npos ? value : "<a&\"b'\\''>") + "'"),
                  "[0]\n")
            << value;

        const std::string shown = lsql("<lsql><select><Radio><mode/></Radio></select>"
                                       "<where><eq><property>mode</property><value>" +
                                       (value == "<a&\"b'>" ? "&lt;a&amp;\"b'&gt;" : value) +
                                       "</value></eq></where></lsql>");
        EXPECT_THAT(shown, HasSubstr(value.empty() ? "<counter>0" : "<counter>1")) << value;
    }
}

TEST_F(CommandedChanges, AddAndDeleteInstances)
{
    EXPECT_EQ(vornctl("add Radio 'r 1' mode=g"), "[0]\n");
    EXPECT_EQ(vornctl("add Route to=a"), "[0]\n");
    EXPECT_EQ(vornctl("add Address wan kind=Dhcp"), "[0]\n");
    EXPECT_EQ(vornctl("show Address wan kind"), "Address wan\n  kind  Dhcp\n[0]\n");
    EXPECT_EQ(vornctl("delete Radio r0"), "[0]\n");
    EXPECT_EQ(vornctl("delete Route --all"), "[0]\n");

    EXPECT_EQ(radios(), "Radio r 1\n  channel\n  mode     g\n[0]\n");
    EXPECT_EQ(vornctl("show Route"), "[0]\n");
}

TEST_F(CommandedChanges, AreRefusedWithClassInstancePropertyAndValue)
{
    EXPECT_EQ(vornctl("set Radio r0 mode=far-too-long"),
              "[1]\nvornctl: set Radio \"r0\": Value \"far-too-long\" is not valid for property "
              "\"mode\" of class \"Radio\".\n");
    EXPECT_EQ(vornctl("add Radio r0"), "[1]\nvornctl: add Radio \"r0\": it exists already\n");
    EXPECT_EQ(vornctl("set Board uptime=1"), "[1]\nvornctl: set Board: Property \"uptime\" of "
                                             "class \"Board\" is not writable.\n");
}

TEST_F(CommandedChanges, SayWhatTheyDidNotFind)
{
    EXPECT_EQ(vornctl("set Radio r9 mode=g"),
              "[5]\nvornctl: set Radio \"r9\": there is no such instance\n");
    EXPECT_EQ(vornctl("delete Radio r9"),
              "[5]\nvornctl: delete Radio \"r9\": there is no such instance\n");
}

TEST_F(CommandedChanges, AreNotMadeWhenTheyMakeNoSense)
{
    EXPECT_EQ(vornctl("set Radio r0"), "[2]\nvornctl: nothing to set: PROPERTY=VALUE is missing\n");
    EXPECT_EQ(vornctl("set Radio r0 mode"), "[2]\nvornctl: \"mode\" is not PROPERTY=VALUE\n");
    EXPECT_EQ(vornctl("set Radio r0 =g"), "[2]\nvornctl: \"=g\" is not PROPERTY=VALUE\n");
    EXPECT_EQ(vornctl("set Radio r0 'a b=g'"), "[2]\nvornctl: \"a b\" is no name of a property\n");
    EXPECT_EQ(vornctl("set Radio r0 \"mode=$(printf '\\001')\""),
              "[2]\nvornctl: the value \"\" holds a control character or is not UTF-8\n");
    EXPECT_EQ(vornctl("delete Radio"),
              "[2]\nvornctl: which Radio? A name, --where or --all says so\n");
    EXPECT_EQ(vornctl("delete Radio r0 --all"),
              "[2]\nvornctl: --all and a name or a condition contradict each other\n");
    EXPECT_EQ(vornctl("delete Radio r0 mode=g"),
              "[2]\nvornctl: delete takes no values; --where picks instances by value\n");
    EXPECT_EQ(vornctl("add Radio mode=g channel=1"),
              "[2]\nvornctl: the name of the Radio is missing before \"mode=...\"\n");
    EXPECT_EQ(vornctl("add Radio"), "[2]\nvornctl: the name of the new Radio is missing\n");
    EXPECT_EQ(vornctl("add Radio - mode=g"),
              "[2]\nvornctl: the name of the new Radio is missing\n");
    EXPECT_EQ(vornctl("add Address"), "[2]\nvornctl: the name of the new Address is missing\n");
    EXPECT_EQ(vornctl("add Radio r1 mode+=g"),
              "[2]\nvornctl: \"mode+\" is no name of a property\n");
    EXPECT_EQ(vornctl("add Radio ''"), "[2]\nvornctl: a name can't be empty\n");
    EXPECT_EQ(vornctl("rename Radio r0 ''"), "[2]\nvornctl: a name can't be empty\n");
    EXPECT_EQ(vornctl("set Radio mode+=g"),
              "[2]\nvornctl: the name of the Radio is missing before \"mode=...\"\n");
    EXPECT_EQ(radios(), "Radio r0\n  channel  6\n  mode\n[0]\n");
}

TEST_F(CommandedChanges, TakeANameThatIsNoProperty)
{
    EXPECT_EQ(vornctl("add Radio colour=red"), "[0]\n");
    EXPECT_EQ(vornctl("add Radio =g"), "[0]\n");
}

TEST_F(CommandedChanges, OfAFileHappenTogether)
{
    EXPECT_EQ(batch("# two radios\n"
                    "set Radio r0 channel=1 'mode=a b' # the first\n"
                    "\n"
                    "add Radio r1 mode=\"c d\"\r\n"
                    "delete Radio - --where 'channel = 9'\n"),
              "[5]\nvornctl: /tmp/batch:5: delete Radio: there is no such instance\n");

    EXPECT_EQ(radios(), "Radio  channel  mode\nr0     1        a b\nr1              c d\n[0]\n");
}

TEST_F(CommandedChanges, OfAFileDoNotHappenAtAllWhenOneIsRefused)
{
    EXPECT_EQ(batch("set Radio r0 channel=1\nadd Radio r1\nset Radio r1 mode=far-too-long\n"),
              "[1]\nvornctl: /tmp/batch:3: set Radio \"r1\": Value \"far-too-long\" is not valid "
              "for property \"mode\" of class \"Radio\".\n");
    EXPECT_EQ(batch("set Radio r0 channel=1\nadd Radio r0\n"),
              "[1]\nvornctl: /tmp/batch:2: add Radio \"r0\": it exists already\n");

    EXPECT_EQ(radios(), "Radio r0\n  channel  6\n  mode\n[0]\n");
}

TEST_F(CommandedChanges, OfAFileAreUnderstoodBeforeAnyHappens)
{
    EXPECT_EQ(batch("set Radio r0 channel=1\nfrobnicate\n"),
              "[2]\nvornctl: /tmp/batch:2: \"frobnicate\" is none of set, unset, add, delete and "
              "rename\n");
    EXPECT_EQ(batch("set\n"), "[2]\nvornctl: /tmp/batch:1: CLASS is required\n");
    EXPECT_EQ(batch("set Radio 'r0\n"), "[2]\nvornctl: /tmp/batch:1: the closing ' is missing\n");
    EXPECT_EQ(batch("# nothing\n"), "[0]\n");
    EXPECT_EQ(vornctl("batch - </dev/null"), "[0]\n");
    EXPECT_EQ(radios(), "Radio r0\n  channel  6\n  mode\n[0]\n");
}

/* Without a plugin that saves each change. */
class Configurations : public vorn::tests::VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        unlink("/usr/lib/vorn/plugins/save.vorn");
        write_file("/etc/config/config.xml", saved);
        boot();
    }

    static constexpr char saved[] =
        "<config><Board><label>attic</label></Board>"
        "<Radio name=\"r0\"><channel>6</channel></Radio><Radio name=\"r1\"><mode>g</mode></Radio>"
        "<Route><to>a</to></Route><Acl name=\"g\"><mac>1</mac></Acl>"
        "<Acl name=\"g\"><mac>2</mac></Acl>"
        "<Address name=\"lan\"><kind>Static</kind><ip>1.2</ip></Address></config>";

    /* The number of the commit begins again at a boot. */
    static std::string without_commit(const std::string &text)
    {
        return std::regex_replace(text, std::regex("commit=\"[0-9]+-"), "commit=\"");
    }

    static void change_everything()
    {
        EXPECT_EQ(shell("printf 'set Radio r0 channel=7 mode=b\\ndelete Radio r1\\n"
                        "add Radio \"r<2\" mode=\"&\"\\nset Board label=cellar\\nadd Route to=b\\n"
                        "delete Acl g\\ndelete Address lan\\nadd Address lan kind=Dhcp\\n' | "
                        "vornctl batch -; echo $?"),
                  "0\n");
    }
};

TEST_F(Configurations, ThatAreTheSameHaveNoDifference)
{
    EXPECT_EQ(vornctl("diff"), "[0]\n");
}

TEST_F(Configurations, ShowWhatIsNotSaved)
{
    change_everything();

    EXPECT_EQ(vornctl("diff"),
              "  Board\n-   label = attic\n+   label = cellar\n"
              "  Radio \"r0\"\n-   channel = 6\n+   channel = 7\n+   mode = b\n"
              "- Radio \"r1\"\n-   mode = g\n"
              "- Route\n-   to = a\n+ Route\n+   to = a\n+ Route\n+   to = b\n"
              "- Acl \"g\"\n-   mac = 1\n- Acl \"g\"\n-   mac = 2\n"
              "  Address \"lan\"\n-   kind = Static\n+   kind = Dhcp\n-   ip = 1.2\n"
              "+ Radio \"r<2\"\n+   mode = &\n"
              "[5]\n");
    EXPECT_THAT(vornctl("--json diff"),
                StartsWith("[\n  {\n    \"class\": \"Board\",\n    \"before\": [\n      {\n"
                           "        \"label\": \"attic\"\n"));
    EXPECT_THAT(vornctl("--xml diff"),
                StartsWith("<?xml version=\"1.0\"?>\n<differences>\n  <Board>\n    <before>\n"
                           "      <label>attic</label>\n    </before>\n    <after>\n"
                           "      <label>cellar</label>\n    </after>\n  </Board>\n"));
}

TEST_F(Configurations, ComeBackAsTheyWereExported)
{
    change_everything();
    EXPECT_EQ(vornctl("export /tmp/export.xml"), "[0]\n");
    EXPECT_EQ(vornctl("import /etc/config/config.xml"), "[0]\n");
    EXPECT_EQ(vornctl("diff"), "[0]\n");

    EXPECT_EQ(vornctl("import --force - </tmp/export.xml"), "[0]\n");

    EXPECT_EQ(vornctl("diff /tmp/export.xml"), "[0]\n");
    EXPECT_THAT(read_file("/tmp/export.xml"),
                HasSubstr("  <Radio name=\"r&lt;2\">\n    <mode>&amp;</mode>\n  </Radio>\n"));
}

TEST_F(Configurations, AreExportedAsAFileToBootFrom)
{
    change_everything();
    EXPECT_EQ(vornctl("export /tmp/export.xml"), "[0]\n");
    const std::string before = without_commit(vornctl("export"));
    shut_down();
    shell("cp /tmp/export.xml /etc/config/config.xml");

    boot();

    EXPECT_EQ(without_commit(vornctl("export")), before);
    EXPECT_EQ(vornctl("diff"), "[0]\n");
}

TEST_F(Configurations, ShowHowFarTheyAreOnATerminalOnly)
{
    EXPECT_THAT(shell("script -qec 'vornctl export /tmp/x.xml' /dev/null"),
                HasSubstr("\rReading class 2 of 10"));
    EXPECT_EQ(shell("vornctl export /tmp/x.xml 2>&1"), "");
}

TEST_F(Configurations, OnlyShowWhatAnImportWouldChange)
{
    write_file("/tmp/new.xml", "<config><Radio name=\"r0\"><channel>9</channel></Radio></config>");

    EXPECT_THAT(vornctl("import --dry-run --merge /tmp/new.xml"),
                StartsWith("  Radio \"r0\"\n-   channel = 6\n+   channel = 9\n[5]\n"));
    EXPECT_EQ(vornctl("diff"), "[0]\n");
}

TEST_F(Configurations, AreMergedWithoutLosingAnything)
{
    write_file("/tmp/new.xml", "<config><Radio name=\"r0\"><channel>9</channel></Radio>"
                               "<Radio name=\"r7\"/></config>");

    EXPECT_EQ(vornctl("import --merge /tmp/new.xml"), "[0]\n");

    EXPECT_EQ(vornctl("diff"), "  Radio \"r0\"\n-   channel = 6\n+   channel = 9\n+ Radio \"r7\"\n"
                               "[5]\n");
}

TEST_F(Configurations, AreImportedWholeOrNotAtAll)
{
    write_file("/tmp/new.xml", "<config><Radio name=\"r0\"><channel>9</channel></Radio>"
                               "<Radio name=\"r1\"><mode>far-too-long</mode></Radio></config>");

    EXPECT_EQ(vornctl("import /tmp/new.xml"),
              "[1]\nvornctl: set Radio \"r1\": Value \"far-too-long\" is not valid for property "
              "\"mode\" of class \"Radio\".\n");
    EXPECT_EQ(vornctl("diff"), "[0]\n");
}

TEST_F(Configurations, AreNotImportedFromWhatIsNone)
{
    write_file("/tmp/broken.xml", "<config><Radio");
    write_file("/tmp/other.xml", "<lsql/>");
    write_file("/tmp/unknown.xml", "<config><Toaster name=\"x\"/></config>");

    EXPECT_THAT(vornctl("import /tmp/broken.xml"), StartsWith("[2]\nvornctl: /tmp/broken.xml: "));
    EXPECT_EQ(vornctl("import /tmp/other.xml"),
              "[2]\nvornctl: /tmp/other.xml: the root is not \"config\"\n");
    EXPECT_EQ(vornctl("import /tmp/unknown.xml"),
              "[5]\nvornctl: Toaster \"x\": this device has no such class\n");
    EXPECT_EQ(vornctl("import /no/such/file"),
              "[2]\nvornctl: /no/such/file: No such file or directory\n");
}

TEST_F(Configurations, ReplaceAFileWholeOrNotAtAll)
{
    EXPECT_EQ(vornctl("export /no/such/folder/x"),
              "[2]\nvornctl: /no/such/folder/x: No such file or directory\n");
    shell("mkdir /tmp/small && mount -t tmpfs -o size=4k none /tmp/small && "
          "cp /etc/config/config.xml /tmp/small/x");

    EXPECT_EQ(vornctl("export /tmp/small/x"),
              "[2]\nvornctl: /tmp/small/x: No space left on device\n");

    EXPECT_EQ(shell("ls /tmp/small; cat /tmp/small/x"), "x\n" + std::string(saved));
}

TEST_F(Configurations, ReplaceNothingButAFile)
{
    shell("mkfifo /tmp/pipe; ln -s pipe /tmp/link");

    for (const char *name : {"pipe", "link"}) {
        EXPECT_EQ(vornctl("export /tmp/" + std::string(name)),
                  "[2]\nvornctl: /tmp/" + std::string(name) +
                      ": not a regular file; - is standard output\n");
    }
    EXPECT_EQ(shell("test -p /tmp/pipe && test -L /tmp/link && echo as before"), "as before\n");
}

/* As bash asks: the line up to the cursor in, words to choose from out. */
class Completion : public vorn::tests::VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        boot();
        vornctl("add Radio 'r 1' mode=g");
    }

    static std::string candidates(const std::string &line)
    {
        write_file("/tmp/complete.sh",
                   ". $VORN_COMPLETION\n"
                   "COMP_LINE=$1 COMP_POINT=${#1}\nset -f\nCOMP_WORDS=(${1//=/ = })\n"
                   "[[ $1 != *[[:blank:]] ]] || COMP_WORDS+=('')\n"
                   "COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_vornctl\n"
                   "printf '%s|' \"${COMPREPLY[@]}\"\n");
        return shell("bash /tmp/complete.sh '" + line + "'");
    }
};

TEST_F(Completion, OffersCommandsAndOptions)
{
    EXPECT_EQ(candidates("vornctl s"), "show|set|startup|status|");
    EXPECT_EQ(candidates("vornctl --js"), "--json|");
    EXPECT_EQ(candidates("vornctl set --w"), "--where|");
}

TEST_F(Completion, OffersClassesOfTheDevice)
{
    EXPECT_EQ(candidates("vornctl show R"), "Radio|Route|");
    EXPECT_EQ(candidates("vornctl --json show Ra"), "Radio|");
}

TEST_F(Completion, OffersInstancesOfTheDevice)
{
    EXPECT_EQ(candidates("vornctl show Radio "), "r\\ 1|r0|");
    EXPECT_EQ(candidates("vornctl delete Radio r0"), "r0|");
    EXPECT_EQ(candidates("vornctl add Radio "), "|");
}

TEST_F(Completion, OffersPropertiesOfTheClass)
{
    EXPECT_EQ(candidates("vornctl show Radio r0 "), "channel|mode|");
    EXPECT_EQ(candidates("vornctl set Radio r0 c"), "channel=|");
    EXPECT_EQ(candidates("vornctl set Board "), "label=|");
    EXPECT_EQ(candidates("vornctl add Address x "), "kind=|comment=|");
    EXPECT_EQ(candidates("vornctl set Radio r0 channel="), "|");
}

TEST_F(Completion, OffersNothingWithoutADaemon)
{
    shut_down();

    EXPECT_EQ(candidates("vornctl show R"), "|");
}

/* What zsh would be offered: the function, with stand-ins for what only its editor has. */
TEST_F(Completion, OffersTheSameInZsh)
{
    write_file("/tmp/complete.zsh",
               "compadd() { print -rl -- ${@[$(( ${@[(i)--]} + 1 )),-1]} }\n"
               "_files() { print files }\nLBUFFER=$1 words=(${(z)1})\n. $VORN_ZSH_COMPLETION\n");
    const auto offered = [](const std::string &line) {
        return shell("zsh -f /tmp/complete.zsh '" + line + "'");
    };

    EXPECT_EQ(offered("vornctl show R"), "Radio\nRoute\n");
    EXPECT_EQ(offered("vornctl show Radio "), "r 1\nr0\n");
    EXPECT_EQ(offered("vornctl set Radio r0 c"), "channel=\n");
    EXPECT_EQ(offered("vornctl import "), "files\n");
}

/* A terminal, an interactive bash, and the tab key. */
TEST_F(Completion, WorksAtAPrompt)
{
    write_file("/tmp/bashrc", "PS1=\n. $VORN_COMPLETION\nbind 'set bell-style none'\n");

    EXPECT_THAT(shell("printf 'vornctl show Rad\\tr0 ch\\t\\nexit\\n' | "
                      "script -qec 'bash --noprofile --rcfile /tmp/bashrc -i' /dev/null"),
                HasSubstr("Radio r0\x1B[0m\r\n  channel  6\r\n"));
}

} // namespace
