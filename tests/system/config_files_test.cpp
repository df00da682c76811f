/* SPDX-License-Identifier: MIT */
/* Which file a boot takes, and what the default file must be like to be believed. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <sys/mount.h>

#include "configured_device.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using namespace vorn::tests;

using ConfigurationFiles = ConfiguredDevice;

TEST_F(ConfigurationFiles, StartFromTheStartupFile)
{
    write_file(startup, "<config><Radio name=\"mine\"/></config>");

    expect_boot_from("mine");
}

TEST_F(ConfigurationFiles, AreReplacedByAPluginThatIsAskedBeforeTheLoad)
{
    install_plugin("early.vorn");
    write_file(startup, "<config><Radio name=\"mine\"/></config>");
    write_file("/etc/config/next.xml", "<config><Radio name=\"next\"/></config>");

    expect_boot_from("next");
    EXPECT_THAT(console(), HasSubstr("early: 1 classes of others are there, and its data\n"));
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

    EXPECT_THAT(console(), Not(HasSubstr("default config")));
    EXPECT_THAT(console(), Not(HasSubstr("where it lies")));
    EXPECT_EQ(read_file(startup), rescue_text);
}

TEST_F(ConfigurationFiles, SayThatThereIsNoDefaultWhenDebugging)
{
    boot({"-f", "-d"});

    EXPECT_THAT(console(),
                HasSubstr("vorn: Default file /etc/defaultconfig.xml does not exist.\n"));
    EXPECT_THAT(console(), Not(HasSubstr("copying default config")));
}

TEST_F(ConfigurationFiles, FallBackToTheRescueWithoutAChecksumTool)
{
    write_default(good_header());
    ASSERT_EQ(mount("/proc/version", "/usr/bin/md5sum", nullptr, MS_BIND, nullptr), 0);

    expect_boot_from("rescued");
    EXPECT_THAT(console(), HasSubstr("vorn: /etc/defaultconfig.xml failed checksum.\n"
                                     "vorn: Error 4 copying default config.\n"));
}

TEST_F(ConfigurationFiles, ServeTheDefaultFromWhereItLiesWithoutAScratchCopy)
{
    write_default(good_header());
    std::filesystem::create_directories("/tmp/defaultconfig.xml.new/in-the-way");

    expect_boot_from("factory");
    EXPECT_THAT(console(), HasSubstr("vorn: Can't open /tmp/defaultconfig.xml.\n"
                                     "vorn: Error 2 copying default config.\n"
                                     "vorn: It can't be copied: /etc/defaultconfig.xml is read "
                                     "where it lies.\n"));
}

TEST_F(ConfigurationFiles, ServeTheDefaultFromWhereItLiesWithoutAChecksumList)
{
    write_default(good_header());
    std::filesystem::create_directories("/tmp/defaultconfig.xml.md5.new/in-the-way");

    expect_boot_from("factory");
    EXPECT_THAT(console(), HasSubstr("vorn: Can't open /tmp/defaultconfig.xml.md5.\n"
                                     "vorn: Error 3 copying default config.\n"));
}

TEST_F(ConfigurationFiles, FallBackFromABadDefaultToTheRescueWhenTheStartupFileIsBadToo)
{
    write_file(startup, "<config>");
    write_default("Version: 2\n");

    expect_boot_from("rescued");
    EXPECT_THAT(console(), HasSubstr("vorn: Unable to parse startup config - resetting to "
                                     "default.\n"
                                     "vorn: Bad default Version: 2.\n"
                                     "vorn: Error 103 copying default config.\n"));
}

TEST_F(ConfigurationFiles, ReadTheRescueWhereItLiesWhenTheDefaultIsWholeAndNoConfiguration)
{
    const std::string no_configuration = "<configuration/>";
    write_file(default_file, header_of(no_configuration) + "\n" + no_configuration);

    expect_boot_from("rescued");
    EXPECT_THAT(console(), HasSubstr("vorn: Unable to read the default either."
                                     "vorn: /etc/rescueconfig.xml is read where it lies.\n"));
    EXPECT_EQ(read_file(startup), no_configuration);
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

/* Attack. */
class BadDefaults : public ConfiguredDevice, public testing::WithParamInterface<BadDefault> {};

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

} // namespace
