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

constexpr char startup[] = "/etc/config/config.xml";
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
};

TEST_F(Proven, ConfigurationsTakeThePlaceOfOneThatDoesNotStayUp)
{
    make_generations();
    shell(std::string("chmod 640 ") + startup);
    die(3);

    EXPECT_EQ(channel(), "11\n");
    EXPECT_EQ(shell(std::string("stat -c %a ") + startup), "640\n");
    EXPECT_THAT(console(), HasSubstr("history: the configuration did not stay up in 3 boots: "
                                     "generation 2 takes its place, and it is kept as " +
                                     std::string(unproven) + ".\n"));
    EXPECT_THAT(read_file(unproven), HasSubstr("<channel>3</channel>"));
    EXPECT_THAT(vornctl("status"),
                AllOf(HasSubstr("! a configuration that did not stay up"), HasSubstr("[5]\n")));
    EXPECT_EQ(vornctl("show generation 2 proven -q"), "yes\n[0]\n");
    EXPECT_EQ(vornctl("show generation 3 proven -q"), "no\n[0]\n");

    vornctl("inform history action=forget-unproven");
    EXPECT_THAT(vornctl("status"), HasSubstr("[0]\n"));
    die(4);
    EXPECT_EQ(channel(), "11\n");
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

TEST_F(Proven, ConfigurationsAreAskedInTheirOrderWhenOneIsDamaged)
{
    make_generations();
    vornctl("set history proven-after=0");
    restart();
    vornctl("batch /dev/stdin <<'EOF'\nset Radio r0 channel=5\nset history proven-after=\nEOF\n");
    restart();
    write_file("/etc/config/history/00000004.gz", "damaged");

    die(3);

    EXPECT_EQ(channel(), "11\n");
}

TEST_F(Proven, ConfigurationsThatAreNoneLeaveTheDefaultAndThenTheRescue)
{
    const std::string document =
        "<config><Radio name=\"r0\"><channel>1</channel></Radio></config>\n";
    const std::string digest = shell("printf '%s' '" + document + "' | md5sum | cut -c1-32");
    write_file("/etc/defaultconfig.xml", "Version: 1\nLength: " + std::to_string(document.size()) +
                                             "\nMD5sum: " + digest + "\n" + document);
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
