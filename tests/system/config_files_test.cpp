/* SPDX-License-Identifier: MIT */
#include "support/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

#include <sys/mount.h>
#include <sys/stat.h>

namespace {

using testing::HasSubstr;
using testing::Not;
using vorn::tests::Device;

constexpr char startup[] = "/etc/config/config.xml";
constexpr char default_file[] = "/etc/defaultconfig.xml";
constexpr char rescue[] = "/etc/rescueconfig.xml";
constexpr char rescue_text[] = "<config><Radio name=\"rescued\"/></config>\n";
constexpr char default_text[] = "<config><Radio name=\"factory\"/></config>\n";
constexpr char select_radios[] = "<lsql><select><Radio properties=\"all\"/></select></lsql>";

std::string answer(const std::string &dataset, int counter)
{
    return "<?xml version=\"1.0\"?>\n<lsql_result><dataset>" + dataset +
           "</dataset><rc>0</rc><counter>" + std::to_string(counter) + "</counter></lsql_result>\n";
}

std::string radio(const std::string &name)
{
    return answer("<Radio name=\"" + name + "\"><channel/><mode/></Radio>", 1);
}

class ConfigurationFiles : public Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        install_plugin("board.vorn");
        write_file(rescue, rescue_text);
    }

    /* A default file as the factory makes it, with the header lines given. */
    static void write_default(const std::string &header)
    {
        write_file(default_file, header + "\n" + default_text);
    }

    static std::string md5_of(const std::string &text)
    {
        write_file("/tmp/to-digest", text);
        return shell("md5sum </tmp/to-digest | cut -c1-32 | tr -d '\\n'");
    }

    static std::string good_header()
    {
        return "Version: 1\nLength: " + std::to_string(sizeof default_text - 1) +
               "\nMD5sum: " + md5_of(default_text) + "\n";
    }

    void expect_boot_from(const std::string &radio_name)
    {
        boot();
        EXPECT_EQ(lsql(select_radios), radio(radio_name));
    }
};

TEST_F(ConfigurationFiles, StartFromTheStartupFile)
{
    write_file(startup, "<config><Radio name=\"mine\"/></config>");

    expect_boot_from("mine");
}

TEST_F(ConfigurationFiles, FallBackToTheDefaultWithoutAStartupFile)
{
    write_default(good_header());

    expect_boot_from("factory");
    EXPECT_EQ(read_file(startup), default_text);
}

TEST_F(ConfigurationFiles, FallBackToTheDefaultForAnotherRoot)
{
    write_file(startup, "<configuration/>");
    write_default(good_header());

    expect_boot_from("factory");
    EXPECT_THAT(console(),
                HasSubstr("vorn: Document of the wrong type: root node is not \"config\"."
                          "vorn: Unable to parse startup config - resetting to "
                          "default.\n"));
}

TEST_F(ConfigurationFiles, FallBackToTheDefaultForWhatIsNoXml)
{
    write_file(startup, "<config><Radio");
    write_default(good_header());

    expect_boot_from("factory");
    EXPECT_THAT(console(), HasSubstr("vorn: Config not parsed successfully.\n"
                                     "vorn: Unable to parse startup config - resetting to "
                                     "default.\n"));
}

TEST_F(ConfigurationFiles, TakeTheDefaultsHeaderInAnyOrder)
{
    write_default("MD5sum: " + md5_of(default_text) +
                  "\nVersion: 1\nLength: " + std::to_string(sizeof default_text - 1) + "\n");

    expect_boot_from("factory");
}

TEST_F(ConfigurationFiles, TakeTheLastOfARepeatedHeader)
{
    write_default("Length: 3\nMD5sum: " + std::string(32, '0') + "\n" + good_header());

    expect_boot_from("factory");
}

TEST_F(ConfigurationFiles, FallBackToTheRescueWithoutADefault)
{
    expect_boot_from("rescued");

    EXPECT_THAT(console(), Not(HasSubstr("copying default config")));
}

struct BadDefault {
    const char *name;
    std::string (*header)();
    std::string log;
};

std::string length_line()
{
    return "Length: " + std::to_string(sizeof default_text - 1) + "\n";
}

const std::string zeros(32, '0');

const BadDefault bad_defaults[] = {
    {"WrongDigest", [] { return "Version: 1\n" + length_line() + "MD5sum: " + zeros + "\n"; },
     "vorn: /etc/defaultconfig.xml failed checksum.\nvorn: Error 4 copying default config.\n"},
    {"ShortBody", [] { return "Version: 1\nLength: 4000\nMD5sum: " + zeros + "\n"; },
     "vorn: /etc/defaultconfig.xml failed checksum.\nvorn: Error 4 copying default config.\n"},
    {"LengthOnly", length_line,
     "vorn: Headers are missing.\nvorn: Error 108 copying default config.\n"},
    {"NoHeaderAtAll", [] { return std::string(); },
     "vorn: Headers are missing.\nvorn: Error 107 copying default config.\n"},
    {"VersionOnly", [] { return std::string("Version: 1\n"); },
     "vorn: Headers are missing.\nvorn: Error 109 copying default config.\n"},
    {"VersionAndLength", [] { return "Version: 1\n" + length_line(); },
     "vorn: Headers are missing.\nvorn: Error 110 copying default config.\n"},
    {"DigestOnly", [] { return "MD5sum: " + zeros + "\n"; },
     "vorn: Headers are missing.\nvorn: Error 111 copying default config.\n"},
    {"DigestAndLength", [] { return "MD5sum: " + zeros + "\n" + length_line(); },
     "vorn: Headers are missing.\nvorn: Error 112 copying default config.\n"},
    {"DigestAndVersion", [] { return "MD5sum: " + zeros + "\nVersion: 1\n"; },
     "vorn: Headers are missing.\nvorn: Error 113 copying default config.\n"},
    {"NoColon", [] { return std::string("Version 1\n"); },
     "vorn: Couldn't read header line in default.\nvorn: Error 102 copying default config.\n"},
    {"OtherVersion", [] { return std::string("Version: 2\n"); },
     "vorn: Bad default Version: 2.\nvorn: Error 103 copying default config.\n"},
    {"BadLength", [] { return std::string("Length: 12x\n"); },
     "vorn: Bad default Length: 12x.\nvorn: Error 104 copying default config.\n"},
    {"BadDigest", [] { return std::string("MD5sum: abc\n"); },
     "vorn: Bad default Md5sum: abc.\nvorn: Error 105 copying default config.\n"},
    {"OtherName", [] { return std::string("Author: me\n"); },
     "vorn: Bad default header name: Author.\nvorn: Error 106 copying default config.\n"},
};

class BadDefaults : public ConfigurationFiles, public testing::WithParamInterface<BadDefault> {};

TEST_P(BadDefaults, GiveWayToTheRescue)
{
    write_default(GetParam().header());

    expect_boot_from("rescued");
    EXPECT_THAT(console(), HasSubstr(GetParam().log));
    EXPECT_EQ(read_file(startup), rescue_text);
}

INSTANTIATE_TEST_SUITE_P(With, BadDefaults, testing::ValuesIn(bad_defaults),
                         [](const auto &each) { return std::string(each.param.name); });

TEST_F(ConfigurationFiles, FallBackToTheRescueForAHeaderWithoutAnEnd)
{
    write_file(default_file, "Version: 1\nLength: 3");

    expect_boot_from("rescued");
    EXPECT_THAT(console(), HasSubstr("vorn: Headers ended prematurely in default.\n"
                                     "vorn: Error 101 copying default config.\n"));
}

TEST_F(ConfigurationFiles, WithoutActionsAlwaysEndInTheRescue)
{
    write_default(good_header());

    boot({"-f", "-n"});

    EXPECT_EQ(lsql(select_radios), radio("rescued"));
    EXPECT_THAT(console(), HasSubstr("vorn: Error 4 copying default config.\n"));
}

TEST_F(ConfigurationFiles, ThatAreAllMissingLeaveAnEmptyConfiguration)
{
    std::filesystem::remove(rescue);

    boot();

    EXPECT_EQ(lsql("<lsql><select><Radio/></select></lsql>"),
              "<?xml version=\"1.0\"?>\n<lsql_result><dataset/><rc>0</rc><counter>0</counter>"
              "</lsql_result>\n");
    EXPECT_THAT(console(), HasSubstr("vorn: vorn_config_cp: Can't open /etc/rescueconfig.xml\n"));
    EXPECT_THAT(console(), HasSubstr("vorn: Unable to read the default either."));
    EXPECT_FALSE(exists(startup));
}

using BootLoads = ConfigurationFiles;

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

class SkippedPieces : public ConfigurationFiles, public testing::WithParamInterface<Skipped> {};

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

TEST_F(BootLoads, ReachTheProvidersAsInsertions)
{
    write_file(startup, "<config>\n <Radio name=\"a\"/>\n <!-- and -->\n <Radio name=\"b\"/>\n"
                        "</config>");

    boot();

    EXPECT_THAT(console(), HasSubstr("vorn: board: changed a b - -\nvorn: board: deleted\n"));
}

class Saves : public ConfigurationFiles {
protected:
    void SetUp() override
    {
        ConfigurationFiles::SetUp();
        install_plugin("save.vorn");
    }
};

constexpr char saved_text[] = "<?xml version=\"1.0\"?>\n"
                              "<config>\n"
                              "  <Board/>\n"
                              "  <Radio name=\"r0\">\n"
                              "    <channel>7</channel>\n"
                              "    <mode>&lt;&amp;g&gt;</mode>\n"
                              "  </Radio>\n"
                              "  <Acl name=\"staff\">\n"
                              "    <mac>01</mac>\n"
                              "  </Acl>\n"
                              "  <Address name=\"lan\">\n"
                              "    <kind>Static</kind>\n"
                              "    <ip>10.0.0.1</ip>\n"
                              "  </Address>\n"
                              "</config>\n";

TEST_F(Saves, WriteWhatIsPersistentInTheOrderOfTheClasses)
{
    write_file(startup, "<config>"
                        "<Address name=\"lan\"><kind>Static</kind><ip>10.0.0.1</ip></Address>"
                        "<Acl name=\"staff\"><mac>01</mac></Acl><Radio name=\"r0\"/></config>");
    boot();

    lsql("<lsql><write-transaction><update><Radio><channel>7</channel>"
         "<mode>&lt;&amp;g&gt;</mode></Radio></update></write-transaction></lsql>");

    EXPECT_EQ(read_file(startup), saved_text);
}

TEST_F(Saves, SurviveARestart)
{
    write_file(startup, "<config/>");
    boot();
    lsql("<lsql><insert><Radio name=\"r0\"><mode>&lt;&amp;\"&gt;</mode></Radio></insert></lsql>");
    shut_down();

    boot();

    EXPECT_EQ(lsql("<lsql><select><Radio><mode/></Radio></select></lsql>"),
              answer("<Radio name=\"r0\"><mode>&lt;&amp;\"&gt;</mode></Radio>", 1));
}

TEST_F(Saves, KeepTheFilesMode)
{
    write_file(startup, "<config/>");
    std::filesystem::permissions(startup, std::filesystem::perms(0600));
    boot();

    lsql("<lsql><insert><Radio name=\"r0\"/></insert></lsql>");

    EXPECT_THAT(read_file(startup), HasSubstr("r0"));
    EXPECT_EQ(std::filesystem::status(startup).permissions(), std::filesystem::perms(0600));
}

TEST_F(Saves, ReplaceALinkAndLeaveAloneWhatItPointsTo)
{
    write_file("/tmp/elsewhere.xml", "<config/>");
    std::filesystem::create_symlink("/tmp/elsewhere.xml", startup);
    boot();

    lsql("<lsql><insert><Radio name=\"r0\"/></insert></lsql>");

    EXPECT_THAT(read_file(startup), HasSubstr("r0"));
    EXPECT_EQ(read_file("/tmp/elsewhere.xml"), "<config/>");
}

TEST_F(Saves, LeaveNothingBesideTheFile)
{
    write_file(startup, "<config/>");
    boot();

    lsql("<lsql><insert><Radio name=\"r0\"/></insert></lsql>");

    EXPECT_EQ(shell("ls /etc/config"), "config.xml\n");
}

TEST_F(Saves, OnAFullDiskKeepTheOldFileAndSaySo)
{
    ASSERT_EQ(mount("tmpfs", "/etc/config", "tmpfs", 0, "size=64k"), 0);
    write_file(startup, "<config><Radio name=\"old\"/></config>");
    write_file("/etc/config/ballast", std::string(64 * 1024, 'x'));
    boot();

    std::string names;
    for (int i = 0; i < 200; i++)
        names += "<Acl name=\"group" + std::to_string(i) + "\"/>";
    lsql("<lsql><insert>" + names + "</insert></lsql>");

    EXPECT_EQ(read_file(startup), "<config><Radio name=\"old\"/></config>");
    EXPECT_THAT(console(), HasSubstr("No space left on device"));
    EXPECT_THAT(lsql("<lsql><select><Radio/></select></lsql>"), HasSubstr("name=\"old\""));
    shut_down();
    umount("/etc/config");
}

TEST_F(Saves, OnAReadOnlyDiskKeepTheOldFileAndSaySo)
{
    ASSERT_EQ(mount("tmpfs", "/etc/config", "tmpfs", 0, nullptr), 0);
    write_file(startup, "<config/>");
    ASSERT_EQ(mount(nullptr, "/etc/config", nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    boot();

    lsql("<lsql><insert><Radio name=\"r0\"/></insert></lsql>");

    EXPECT_EQ(read_file(startup), "<config/>");
    EXPECT_THAT(console(), HasSubstr("vorn: Can't open /etc/config/config.xml.\n"));
    shut_down();
    umount("/etc/config");
}

class Copies : public ConfigurationFiles {
protected:
    void SetUp() override
    {
        ConfigurationFiles::SetUp();
        install_plugin("copies.vorn");
        write_file(startup, "<config><Radio name=\"mine\"/></config>");
    }

    std::string copy(const std::string &what)
    {
        return lsql("<lsql><update><Copies><" + what + ">now</" + what +
                    "></Copies></update></lsql>");
    }
};

TEST_F(Copies, WriteADefaultThatCanBeReadBack)
{
    boot();

    copy("running-to-default");
    ASSERT_TRUE(console_shows("copies: running-to-default 0\n"));
    const std::string text = read_file(default_file);
    shut_down();
    std::filesystem::remove(startup);
    expect_boot_from("mine");

    const std::string body = text.substr(text.find("\n\n") + 2);
    EXPECT_EQ(text, "Version: 1\nLength: " + std::to_string(body.size()) +
                        "\nMD5sum: " + md5_of(body) + "\n\n" + body);
}

TEST_F(Copies, OfTheDefaultFollowNoPlantedLink)
{
    write_file("/tmp/precious", "precious");
    for (const char *name : {"/tmp/defaultconfig.xml", "/tmp/defaultconfig.xml.new",
                             "/tmp/defaultconfig.xml.md5", "/tmp/md5.gen"}) {
        std::filesystem::create_symlink("/tmp/precious", name);
    }
    boot();

    copy("running-to-default");
    copy("default-to-startup");

    EXPECT_TRUE(console_shows("copies: default-to-startup 0\n"));
    EXPECT_EQ(read_file("/tmp/precious"), "precious");
}

TEST_F(Copies, OfTheDefaultReplaceTheStartupFile)
{
    write_default(good_header());
    boot();

    copy("default-to-startup");

    EXPECT_TRUE(console_shows("copies: default-to-startup 0\n"));
    EXPECT_EQ(read_file(startup), default_text);
}

TEST_F(Copies, OfABadDefaultEndInTheRescueAndSaySo)
{
    write_default("Version: 2\n");
    boot();

    copy("default-to-startup");

    EXPECT_TRUE(console_shows("copies: default-to-startup 1\n"));
    EXPECT_EQ(read_file(startup), rescue_text);
}

TEST_F(Copies, OfTheRescueReplaceTheStartupFile)
{
    boot();

    copy("rescue-to-startup");

    EXPECT_TRUE(console_shows("copies: rescue-to-startup 0\n"));
    EXPECT_EQ(read_file(startup), rescue_text);
}

TEST_F(Copies, OfTheRescueToTheDefaultRemoveTheDefault)
{
    write_default(good_header());
    boot();

    copy("rescue-to-default");
    EXPECT_TRUE(console_shows("copies: rescue-to-default 0\n"));
    EXPECT_FALSE(exists(default_file));

    copy("rescue-to-default");
    EXPECT_TRUE(console_shows("copies: rescue-to-default 1\n"));
    EXPECT_THAT(standard_error(), HasSubstr("vorn: unlink: No such file or directory\n"));
}

TEST_F(Copies, OfTheStartupFileBecomeTheRunningConfiguration)
{
    boot();
    write_file(startup, "<config><Radio name=\"other\"/></config>");

    copy("startup-to-running");

    EXPECT_TRUE(console_shows("copies: startup-to-running 0\n"));
    EXPECT_EQ(lsql(select_radios), radio("other"));
}

} // namespace
