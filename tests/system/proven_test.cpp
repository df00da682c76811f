/* SPDX-License-Identifier: MIT */
/* A configuration that the device does not stay up with gives way to one that it did. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "vornctl_device.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

using vorn::test::startup_file;
constexpr char unproven[] = "/etc/config/config.xml.unproven";
constexpr char boots[] = "/etc/config/history/boots";

class Proven : public vorn::tests::VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        install_plugin("history.vorn");
    }

    static std::string channel() { return shell("vornctl show Radio r0 channel -q"); }

    void restart()
    {
        shut_down();
        boot();
    }

    void die(int times)
    {
        for (int i = 0; i < times; i++) {
            kill(daemon_pid(), SIGKILL);
            ASSERT_EQ(exit_status(), -SIGKILL);
            boot();
        }
    }

    /* Generation 2, with channel 11, is proven; 3, with channel 3, will not be so soon. */
    void make_generations()
    {
        boot();
        vornctl(
            "batch /dev/stdin <<'EOF'\nset Radio r0 channel=11\nset history proven-after=0\nEOF\n");
        restart();
        vornctl(
            "batch /dev/stdin <<'EOF'\nset Radio r0 channel=3\nset history proven-after=\nEOF\n");
        restart();
        ASSERT_EQ(channel(), "3\n");
    }

    /* 4, with channel 3, is proven, too; 5, with channel 5, will not be so soon. */
    void make_two_and_another()
    {
        make_generations();
        vornctl("set history proven-after=0");
        restart();
        vornctl(
            "batch /dev/stdin <<'EOF'\nset Radio r0 channel=5\nset history proven-after=\nEOF\n");
        restart();
    }

    /* As the factory makes it. */
    static void write_default(const std::string &document)
    {
        const std::string digest = shell("printf '%s' '" + document + "' | md5sum | cut -c1-32");
        write_file("/etc/defaultconfig.xml",
                   "Version: 1\nLength: " + std::to_string(document.size()) +
                       "\nMD5sum: " + digest + "\n" + document);
    }
};

TEST_F(Proven, ConfigurationsTakeThePlaceOfOneThatDoesNotStayUp)
{
    make_generations();
    shell(std::string("chmod 640 ") + startup_file);
    die(3);

    EXPECT_EQ(channel(), "11\n");
    EXPECT_EQ(shell(std::string("stat -c %a ") + startup_file), "640\n");
    EXPECT_THAT(console(), HasSubstr("history: the configuration did not stay up in 3 boots: "
                                     "generation 2 takes its place, and it is kept as " +
                                     std::string(unproven) + ".\n"));
    EXPECT_THAT(read_file(unproven), HasSubstr("<channel>3</channel>"));
    EXPECT_THAT(vornctl("status"),
                AllOf(HasSubstr("! a configuration that did not stay up"), HasSubstr("[5]\n")));
    EXPECT_EQ(vornctl("show generation 2 proven -q"), "yes\n[0]\n");
    EXPECT_EQ(vornctl("show generation 3 proven -q"), "no\n[0]\n");
    EXPECT_THAT(read_file(boots), Not(HasSubstr("boots "))) << "nothing is left to be counted";

    vornctl("inform history action=forget-unproven");
    EXPECT_THAT(vornctl("status"), HasSubstr("[0]\n"));
    die(4);
    EXPECT_EQ(channel(), "11\n");
}

/* It did not stay up for as long before another one took its place, which has yet to boot. */
TEST_F(Proven, ConfigurationsAreNoneThatWereReplacedBefore)
{
    boot();
    vornctl("set history proven-after=10");
    restart();
    vornctl("set Radio r0 channel=11");

    ASSERT_TRUE(comes_true([] { return shell("vornctl show history proven -q") == "yes\n"; }));
    EXPECT_EQ(vornctl("show generation 2 proven -q"), "no\n[0]\n");
    EXPECT_EQ(vornctl("show generation 3 proven -q"), "no\n[0]\n");
}

/* The plugin is not to blame: it did so with a configuration that is gone by then. */
TEST_F(Proven, ConfigurationsComeWithThePluginThatDiedOfTheOther)
{
    set_environment("ASAN_OPTIONS", "handle_segv=0:detect_leaks=0");
    install_plugin("deadly.vorn");
    boot();
    vornctl(
        "batch /dev/stdin <<'EOF'\nadd Deadly mine value=good\nset history proven-after=0\nEOF\n");
    restart();
    vornctl(
        "batch /dev/stdin <<'EOF'\nset Deadly mine value=fatal\nset history proven-after=\nEOF\n");
    shut_down();
    for (int i = 0; i < 3; i++) {
        start({"-f"});
        ASSERT_EQ(exit_status(), -SIGSEGV);
    }

    boot();

    EXPECT_EQ(vornctl("show Deadly mine value -q"), "good\n[0]\n");
    EXPECT_THAT(read_file(unproven), HasSubstr("fatal"));
    EXPECT_FALSE(exists("/etc/vorn-suspects"));
}

TEST_F(Proven, ConfigurationsAreNotNeededWhenADaemonWasToldToEnd)
{
    make_generations();
    die(2);
    for (int i = 0; i < 3; i++)
        restart();

    EXPECT_EQ(channel(), "3\n");
    EXPECT_FALSE(exists(unproven));
}

TEST_F(Proven, ConfigurationsAreKeptHoweverFewAreToBe)
{
    make_generations();
    vornctl("set history keep=1");
    for (int i = 1; i <= 3; i++)
        vornctl("set Radio r0 channel=" + std::to_string(i));

    EXPECT_EQ(vornctl("show generation 2 proven -q"), "yes\n[0]\n");
    EXPECT_THAT(vornctl("show generation 3"), HasSubstr("[5]\n"));
}

TEST_F(Proven, ConfigurationsCostNoPowerCutAndNoWrite)
{
    make_generations();
    vornctl("set history proven-after=0");
    restart();
    const std::string before = shell(std::string("stat -c %i:%y ") + boots);

    die(5);

    EXPECT_EQ(channel(), "3\n");
    EXPECT_EQ(shell(std::string("stat -c %i:%y ") + boots), before);
}

TEST_F(Proven, ConfigurationsGiveWayToTheNewestOfThem)
{
    make_two_and_another();

    die(3);

    EXPECT_EQ(channel(), "3\n");
}

TEST_F(Proven, ConfigurationsAreAskedInTheirOrderWhenOneIsDamaged)
{
    make_two_and_another();
    write_file("/etc/config/history/00000004.gz", "damaged");

    die(3);

    EXPECT_EQ(channel(), "11\n");
}

TEST_F(Proven, ConfigurationsThatAreNoneLeaveTheDefaultAndThenTheRescue)
{
    write_default("<config><Radio name=\"r0\"><channel>1</channel></Radio></config>\n");
    write_file("/etc/rescueconfig.xml",
               "<config><Radio name=\"r0\"><channel>2</channel></Radio></config>\n");
    boot();
    die(3);
    EXPECT_EQ(channel(), "1\n") << console();
    EXPECT_THAT(read_file(unproven), HasSubstr("<channel>6</channel>"));

    die(4);
    EXPECT_EQ(channel(), "2\n") << console();
    die(5);
    EXPECT_EQ(channel(), "2\n");
    EXPECT_THAT(read_file(unproven), HasSubstr("<channel>6</channel>"));
}

/* What is served in its place says nothing of it. */
TEST_F(Proven, ConfigurationsAreNoneThatCannotBeRead)
{
    write_file(startup_file, "<config><Radio");
    write_file("/etc/rescueconfig.xml",
               "<config><history><proven-after>0</proven-after></history></config>\n");
    boot();

    EXPECT_EQ(shell("vornctl show history proven -q"), "no\n");
    EXPECT_THAT(shell(std::string("cat ") + boots), Not(HasSubstr("proven ")));
}

/* From then on the default is the next to be asked again. */
TEST_F(Proven, ConfigurationsOfTheDefaultLeaveNothingBehindOnceTheyStayUp)
{
    write_default("<config><history><proven-after>0</proven-after></history></config>\n");
    boot();
    die(3);
    EXPECT_THAT(read_file(boots), HasSubstr("fallback default"));

    restart();

    EXPECT_THAT(read_file(boots), AllOf(HasSubstr("proven "), Not(HasSubstr("fallback"))));
}

TEST_F(Proven, ConfigurationsThatAreNoneLeaveTheDeviceWithItsOwn)
{
    boot();
    die(5);

    EXPECT_EQ(channel(), "6\n");
    EXPECT_FALSE(exists(unproven));
}

/* Attack. */
TEST_F(Proven, ConfigurationsAreNotReadFromAFileThatMakesNoSense)
{
    std::filesystem::create_directories("/etc/config/history");
    write_file(boots, "proven x\nboots " + std::string(500, 'x') + " 99\nboots\nproven 1 " +
                          std::string(200, 'y'));

    boot();

    EXPECT_EQ(channel(), "6\n");
}

} // namespace
