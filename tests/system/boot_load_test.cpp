/* SPDX-License-Identifier: MIT */
/* What a boot makes of the instances in its configuration file. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "configured_device.h"

namespace {

using testing::HasSubstr;
using namespace vorn::tests;

class BootLoads : public ConfiguredDevice {
protected:
    /* A line of the kernel's about the daemon, in KiB. */
    int memory(const std::string &which) const
    {
        const std::string command =
            "grep " + which + " /proc/" + std::to_string(daemon_pid()) + "/status";
        return std::stoi(shell(command + " | tr -cd 0-9"));
    }
};

/* Attack. */
TEST_F(BootLoads, GiveBackTheMemoryThatTheFileTook)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "its allocator keeps what is free";
#endif
    std::string document = "<config>";
    for (int i = 0; i < 20000; i++)
        document += "<Radio name=\"r" + std::to_string(i) +
                    "\"><mode>g</mode><channel>1</channel>"
                    "<Toaster>with a text of some length</Toaster></Radio>";
    write_file(startup, document + "</config>");
    boot();

    EXPECT_LT(memory("VmRSS"), 20000); /* a tree of the file would make it 39 MiB */
}

/* What is small is kept in pieces by the allocator unless it is told to join them. */
TEST_F(BootLoads, GiveBackTheMemoryOfWhatNobodyKnows)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "its allocator keeps what is free";
#endif
    std::string document = "<config>";
    for (int i = 0; i < 40000; i++)
        document += "<Toaster name=\"t" + std::to_string(i) + "\"><heat>1</heat></Toaster>";
    const std::string end = "<Radio name=\"last\"/></config>";
    write_file(startup, "<config>" + end);
    boot();
    const int without = memory("VmRSS");
    shut_down();
    write_file(startup, document + end);
    boot();

    EXPECT_LT(memory("VmRSS") - without, (memory("VmHWM") - without) / 2)
        << "of " << without << " KiB";
}

struct Skipped {
    const char *name;
    const char *element;
    const char *log;
    const char *dataset;
};

const Skipped skipped[] = {
    {"UnknownClasses", "<Toaster/>", "vorn: Instance has an unknown class \"Toaster\".\n", ""},
    {"UnknownProperties", "<Radio name=\"r\"><speed>1</speed></Radio>",
     "vorn: Property \"speed\" is not valid for class \"Radio\" - skipping.\n",
     "<Radio name=\"r\"><channel/><mode/></Radio>"},
    {"RefusedValues", "<Radio name=\"r\"><mode>far too long</mode></Radio>",
     "vorn: Value \"far too long\" is not valid for property \"mode\" of class \"Radio\" - "
     "skipping.\n",
     "<Radio name=\"r\"><channel/><mode/></Radio>"},
    {"MissingNames", "<Radio/>",
     "vorn: Bad instance name \"(null)\" of class \"Radio\"- skipping.\n", ""},
    {"NamesTooMany", "<Route name=\"x\"/>",
     "vorn: Bad instance name \"x\" of class \"Route\"- skipping.\n", ""},
    {"DuplicateNames", "<Radio name=\"r\"><mode>g</mode></Radio><Radio name=\"r\"/>",
     "vorn: Couldn't add instance \"r\" of class \"Radio\". Skipping instance.\n",
     "<Radio name=\"r\"><channel/><mode>g</mode></Radio>"},
    {"SecondSingletons", "<Board/><Board/>",
     "vorn: Couldn't add instance \"(null)\" of class \"Board\". Skipping instance.\n", ""},
    {"AbstractClassesWithoutAnIdentifier", "<Address name=\"a\"/>",
     "vorn: Instance of class \"Address\" does not contain a subclass identifier property "
     "\"kind\".\n",
     ""},
    {"EmptyIdentifiers", "<Address name=\"a\"><kind/></Address>",
     "vorn: Instance of class \"Address\" subclass identifier property \"kind\" has a null "
     "value.\n",
     ""},
    {"UnknownSubclasses", "<Address name=\"a\"><kind>Toaster</kind></Address>",
     "vorn: Instance of class \"Address\" subclass identifier property \"kind\" value is an "
     "unknown class \"Toaster\".\n",
     ""},
    {"OtherClassesForASubclass", "<Address name=\"a\"><kind>Radio</kind></Address>",
     "vorn: Instance of class \"Address\" subclass identifier property \"kind\" value is "
     "\"Radio\", which is not a subclass of \"Address\".\n",
     ""},
};

class SkippedPieces : public ConfiguredDevice, public testing::WithParamInterface<Skipped> {};

TEST_P(SkippedPieces, DoNotEndTheBootLoad)
{
    write_file(startup, std::string("<config>") + GetParam().element +
                            "<Route><to>after</to></Route></config>");

    boot();

    EXPECT_THAT(console(), HasSubstr(GetParam().log));
    const std::string dataset = GetParam().dataset;
    if (dataset.empty()) {
        EXPECT_THAT(lsql(select_radios), HasSubstr("<dataset/>"));
    } else {
        EXPECT_EQ(lsql(select_radios), answer(dataset, 1));
    }
    EXPECT_THAT(lsql("<lsql><select><Route><to/></Route></select></lsql>"),
                HasSubstr("<to>after</to>"));
}

INSTANTIATE_TEST_SUITE_P(Of, SkippedPieces, testing::ValuesIn(skipped),
                         [](const auto &each) { return std::string(each.param.name); });

TEST_F(BootLoads, TakeAnEmptyPropertyAsTheEmptyText)
{
    write_file(startup, "<config><Board><label/></Board></config>");
    boot();

    kill(daemon_pid(), SIGHUP);

    EXPECT_TRUE(console_shows("Instance name: n/a\tclass: Board\n   label =\t\n"));
}

TEST_F(BootLoads, MakeTheSingletonsThatTheFileLeavesOut)
{
    write_file(startup, "<config/>");

    boot();

    EXPECT_THAT(lsql("<lsql><select><Board/></select><select><Clock/></select></lsql>"),
                HasSubstr("<dataset><Board/></dataset><rc>0</rc><counter>1</counter>"
                          "<dataset><Clock/></dataset><rc>0</rc><counter>1</counter>"));
}

TEST_F(BootLoads, TakeASingletonThatIsNotPersistentFromTheFile)
{
    write_file(startup, "<config><Clock/></config>");

    boot();

    EXPECT_EQ(lsql("<lsql><select><Clock/></select></lsql>"), answer("<Clock/>", 1));
}

TEST_F(BootLoads, ReachTheProvidersAsInsertions)
{
    write_file(startup, "<config>\n <Radio name=\"a\"/>\n <!-- and -->\n <Radio name=\"b\"/>\n"
                        "</config>");

    boot();

    EXPECT_THAT(console(), HasSubstr("vorn: board: changed a b - -\nvorn: board: deleted\n"));
}

} // namespace
