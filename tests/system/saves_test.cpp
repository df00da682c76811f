/* SPDX-License-Identifier: MIT */
/* Files that the daemon writes: whole or not at all, and nowhere else. */
#include "support/raw_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <iterator>
#include <random>
#include <string>

#include <sys/mount.h>

#include "configured_device.h"

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using namespace vorn::tests;

class Saves : public ConfiguredDevice {
protected:
    void SetUp() override
    {
        ConfiguredDevice::SetUp();
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

struct WorstText {
    const char *name;
    const char *piece; /* as somebody else may have written it */
    int times;
};

const WorstText worst_texts[] = {
    {"Quotes", "\"", 2000000},
    {"Emoji", "\xF0\x9F\x98\x80", 1300000},
    {"Ampersands", "&amp;", 2000000},
    {"LineEnds", "&#10;", 2000000},
    {"LettersUpToTheLimit", "x", 10000000},
};

/* Attack. */
class WorstTexts : public Saves, public testing::WithParamInterface<WorstText> {};

TEST_P(WorstTexts, AreReadBackByTheNextBoot)
{
    std::string text;
    for (int i = 0; i < GetParam().times; i++)
        text += GetParam().piece;
    write_file(startup, "<config><Radio name='" + text + "'/><Acl name='a'><mac>" + text +
                            "</mac></Acl></config>");
    boot();
    const char everything[] = "<lsql><select><Radio/></select><select><Acl><mac/></Acl></select>"
                              "</lsql>";
    const std::string before = lsql(everything);
    ASSERT_GT(before.size(), static_cast<std::size_t>(2 * GetParam().times));
    lsql("<lsql><update><Board><label>save</label></Board></update></lsql>");
    EXPECT_THAT(lsql(select_save), HasSubstr("<result>saved</result>"));
    shut_down();

    boot();

    EXPECT_TRUE(lsql(everything) == before) << "the answer is another";
    EXPECT_THAT(lsql(select_save), HasSubstr("<boot>startup</boot>"));
}

INSTANTIATE_TEST_SUITE_P(Of, WorstTexts, testing::ValuesIn(worst_texts),
                         [](const auto &each) { return std::string(each.param.name); });

/* Whatever a client may put into a configuration, in every length that it may have. */
/* Attack. */
class RandomStores : public Saves, public testing::WithParamInterface<unsigned int> {
protected:
    std::size_t up_to(std::size_t limit)
    {
        return std::uniform_int_distribution<std::size_t>(0, limit)(random_);
    }

    /* As it stands in a request. One in eight is about as long as texts may be. */
    std::string any_text(std::size_t longest)
    {
        struct Piece {
            const char *markup;
            std::size_t length;
        };
        static constexpr Piece pieces[] = {
            {"a", 1},        {" ", 1},          {"&lt;", 1},     {"&gt;", 1},     {"&amp;", 1},
            {"&quot;", 1},   {"'", 1},          {"&#10;", 1},    {"&#9;", 1},     {"&#13;", 1},
            {"]]&gt;", 3},   {"&#xE4;", 2},     {"&#x20AC;", 3}, {"&#xFFFD;", 3}, {"&#x1F600;", 4},
            {"%s", 2},       {"&#x7F;", 1},     {"&#x80;", 2},   {"&#x85;", 2},   {"&#x2028;", 3},
            {"&amp;#1;", 4}, {"&#x10FFFF;", 4},
        };
        const bool is_long = up_to(7) == 0;
        const bool is_uniform = up_to(1) == 0;
        const Piece *piece = &pieces[up_to(std::size(pieces) - 1)];
        std::string text;
        for (std::size_t left = is_long ? longest - up_to(2) : up_to(12); left >= piece->length;) {
            text += piece->markup;
            left -= piece->length;
            if (!is_uniform) piece = &pieces[up_to(std::size(pieces) - 1)];
        }
        return text;
    }

    std::string any_instance(int number)
    {
        constexpr std::size_t longest_name = 16384;
        constexpr std::size_t longest_value = 1048576;
        const std::string name =
            " name=\"" + std::to_string(number) + any_text(longest_name - 2) + "\">";
        switch (up_to(2)) {
        case 0:
            return "<Radio" + name + "</Radio>";
        case 1:
            return "<Acl" + name + "<mac>" + any_text(longest_value) + "</mac></Acl>";
        default:
            return "<Address" + name + "<kind>Static</kind><comment>" + any_text(longest_value) +
                   "</comment></Address>";
        }
    }

private:
    std::mt19937 random_{GetParam()};
};

TEST_P(RandomStores, AreTheSameOnceSavedAndLoadedByAnotherProcess)
{
    constexpr char everything[] = "<lsql><select><Radio/></select><select><Acl><mac/></Acl>"
                                  "</select><select><Address><kind/><comment/></Address></select>"
                                  "</lsql>";
    write_file(startup, "<config><Board><label>a</label></Board></config>");
    boot();
    for (int i = 10; i < 26; i++) {
        ASSERT_THAT(lsql("<lsql><insert>" + any_instance(i) + "</insert></lsql>").substr(0, 200),
                    HasSubstr("<rc>0</rc>"));
    }
    const std::string before = lsql(everything);
    const std::string saved = read_file(startup);
    shut_down();

    boot();

    EXPECT_TRUE(lsql(everything) == before) << "the answer is another";
    EXPECT_THAT(lsql(select_save), HasSubstr("<boot>startup</boot>"));
    std::filesystem::remove(startup);
    lsql("<lsql><update><Board><label>a</label></Board></update></lsql>");
    EXPECT_TRUE(read_file(startup) == saved) << "the file is another";
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomStores, testing::Range(1U, 4U));

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
    EXPECT_THAT(console() + standard_error(), Not(HasSubstr("Can't remember")));
}

TEST_F(Saves, AreAskedForByThoseWhoWantToKnow)
{
    write_file(startup, "<config/>");
    boot();
    EXPECT_EQ(lsql(select_save), answer("<save><time/><result>none</result><reason/><unsaved/>"
                                        "<boot>startup</boot><broken/></save>",
                                        1));

    lsql("<lsql><insert><Radio name=\"r0\"/></insert></lsql>");

    EXPECT_THAT(lsql(select_save), ContainsRegex("<time>20[0-9-]*T[0-9:]*Z</time><result>saved"
                                                 "</result><reason/><unsaved/>"));
    EXPECT_THAT(read_file(startup), Not(HasSubstr("<save")));
}

TEST_F(Saves, ThatFailTellWhyAndWhatIsNotSavedUntilOneSucceeds)
{
    ASSERT_EQ(mount("tmpfs", "/etc/config", "tmpfs", 0, nullptr), 0);
    write_file(startup, "<config><Radio name=\"r0\"/><Route/></config>");
    ASSERT_EQ(mount(nullptr, "/etc/config", nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    boot();

    lsql("<lsql><update><Radio><mode>g</mode></Radio></update></lsql>");
    lsql("<lsql><delete><Route/></delete></lsql>");
    lsql("<lsql><update><Radio><mode>b</mode></Radio></update></lsql>");

    EXPECT_THAT(lsql(select_save),
                HasSubstr("<result>failed</result><reason>Read-only file system</reason>"
                          "<unsaved>Radio \"r0\", Route</unsaved>"));
    ASSERT_EQ(mount(nullptr, "/etc/config", nullptr, MS_REMOUNT, nullptr), 0);
    lsql("<lsql><update><Board><label>x</label></Board></update></lsql>");
    EXPECT_THAT(lsql(select_save), HasSubstr("<result>saved</result><reason/><unsaved/>"));
    shut_down();
    umount("/etc/config");
}

TEST_F(Saves, ListAFewOfManyThatAreNotSaved)
{
    ASSERT_EQ(mount("tmpfs", "/etc/config", "tmpfs", 0, nullptr), 0);
    write_file(startup, "<config/>");
    ASSERT_EQ(mount(nullptr, "/etc/config", nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    boot();

    for (int i = 0; i < 9; i++)
        lsql("<lsql><insert><Acl name=\"" + std::string(30, static_cast<char>('a' + i)) +
             "\"/></insert></lsql>");
    lsql("<lsql><insert><Acl name=\"" + std::string(1000, 'z') + "\"/></insert></lsql>");

    const std::string told = lsql(select_save);
    EXPECT_THAT(told, HasSubstr("<unsaved>Acl \"" + std::string(30, 'a') + "\", "));
    EXPECT_THAT(told, HasSubstr("Acl \"" + std::string(30, 'h') + "\", and more</unsaved>"));
    shut_down();
    umount("/etc/config");
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

class Copies : public ConfiguredDevice {
protected:
    void SetUp() override
    {
        ConfiguredDevice::SetUp();
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

TEST_F(Copies, ToTheDiskAreAllHeldAtOnePlace)
{
    const std::string body = "<config><Radio name=\"r0\"/></config>";
    write_file(startup, body);
    write_file("/etc/defaultconfig.xml", "the factory's");
    write_file("/etc/rescueconfig.xml", "the rescue");
    boot();
    copy("hold");
    ASSERT_TRUE(console_shows("copies: hold 0\n"));

    for (const char *road :
         {"running-to-default 1", "default-to-startup 1", "rescue-to-startup 0",
          "rescue-to-default 1", "startup-to-running 1", "running-to-startup 0"}) {
        const std::string name = road;
        copy(name.substr(0, name.size() - 2));
        EXPECT_TRUE(
            console_shows("vorn: Not saving: it is on trial.\nvorn: copies: " + name + "\n"))
            << name;
    }

    EXPECT_EQ(read_file(startup), body);
    EXPECT_EQ(read_file("/etc/defaultconfig.xml"), "the factory's");
    copy("confirm");
    ASSERT_TRUE(console_shows("copies: confirm 0\n"));
    EXPECT_THAT(read_file(startup), HasSubstr("<Radio name=\"r0\"/>\n"));
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

TEST_F(Copies, ToTheDefaultBelieveNoDigestOfAToolThatFailed)
{
    stand_in("/usr/bin/md5sum", "echo 00000000000000000000000000000000; exit 1");
    boot();

    copy("running-to-default");

    EXPECT_TRUE(console_shows("copies: running-to-default 1\n"));
    EXPECT_FALSE(exists(default_file));
}

TEST_F(Copies, ToTheDefaultBelieveNoDigestThatIsTooShort)
{
    stand_in("/usr/bin/md5sum", "echo 0123456789abcdef0123456789abcde");
    boot();

    copy("running-to-default");

    EXPECT_TRUE(console_shows("vorn: Can't compute the checksum of /tmp/defaultconfig.xml.\n"
                              "vorn: copies: running-to-default 1\n"));
    EXPECT_FALSE(exists(default_file));
}

TEST_F(Copies, ToTheDefaultNeedTheirScratchFile)
{
    std::filesystem::create_directories("/tmp/defaultconfig.xml.new/in-the-way");
    boot();

    copy("running-to-default");

    EXPECT_TRUE(console_shows("vorn: Can't open /tmp/defaultconfig.xml.\n"
                              "vorn: Can't stat /tmp/defaultconfig.xml.\n"
                              "vorn: copies: running-to-default 1\n"));
    EXPECT_FALSE(exists(default_file));
}

TEST_F(Copies, ToTheDefaultNeedAFileForTheirDigest)
{
    std::filesystem::create_directories("/tmp/md5.gen/in-the-way");
    boot();

    copy("running-to-default");

    EXPECT_TRUE(console_shows("vorn: Can't open /tmp/md5.gen.\n"
                              "vorn: copies: running-to-default 1\n"));
    EXPECT_FALSE(exists(default_file));
}

TEST_F(Copies, ToTheDefaultLeaveItAsItWasWhenItCannotBeWritten)
{
    write_default(good_header());
    const std::string before = read_file(default_file);
    std::filesystem::create_directories("/etc/defaultconfig.xml.new/in-the-way");
    boot();

    copy("running-to-default");

    EXPECT_TRUE(console_shows("vorn: Can't open /etc/defaultconfig.xml.\n"
                              "vorn: copies: running-to-default 1\n"));
    EXPECT_EQ(read_file(default_file), before);
}

TEST_F(Copies, FromAMissingRescueLeaveTheStartupFileAsItWas)
{
    std::filesystem::remove(rescue);
    boot();
    const std::string before = read_file(startup);

    copy("rescue-to-startup");

    EXPECT_TRUE(console_shows("vorn: vorn_config_cp: Can't open /etc/rescueconfig.xml\n"
                              "vorn: copies: rescue-to-startup 0\n"));
    EXPECT_EQ(read_file(startup), before);
}

TEST_F(Copies, OfTheDefaultReplaceTheStartupFile)
{
    write_default(good_header());
    boot();

    copy("default-to-startup");

    EXPECT_TRUE(console_shows("copies: default-to-startup 0\n"));
    EXPECT_EQ(read_file(startup), default_text);
}

TEST_F(Copies, OnAFullDiskKeepTheOldFileAndSaySo)
{
    ASSERT_EQ(mount("tmpfs", "/etc/config", "tmpfs", 0, "size=64k"), 0);
    write_file(startup, "<config/>");
    write_file("/etc/config/ballast", std::string(64 * 1024, 'x'));
    write_default(good_header());
    boot();

    copy("default-to-startup");

    EXPECT_TRUE(console_shows("vorn: Can't write /etc/config/config.xml: "
                              "No space left on device.\n"
                              "vorn: Error 6 copying default config.\n"
                              "vorn: Can't write /etc/config/config.xml: "
                              "No space left on device.\n"
                              "vorn: copies: default-to-startup 1\n"));
    EXPECT_EQ(read_file(startup), "<config/>");
    shut_down();
    umount("/etc/config");
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

TEST_F(Copies, OfABrokenStartupFileAreToldToSubscribersAsTheDefaultTakesItsPlace)
{
    write_default(good_header());
    boot();
    RawClient subscriber(8001);
    subscriber.send("x");
    lsql("<lsql/>");
    lsql("<lsql/>"); /* by now it has been taken, and heard */
    write_file(startup, "<config>");

    copy("startup-to-running");

    ASSERT_TRUE(console_shows("copies: startup-to-running 0\n"));
    EXPECT_THAT(subscriber.receive_until(std::string(1, '\0')), HasSubstr("<conf_changed>"));
}

/* What the commit goes on handing out would be freed. */
TEST_F(Copies, OfTheStartupFileAreRefusedWithinACommit)
{
    boot();
    write_file(startup, "<config><Radio name=\"other\"/></config>");
    const std::string before = lsql(select_radios);

    copy("startup-at-once");

    EXPECT_TRUE(console_shows("copies: at once 1\n"));
    EXPECT_THAT(
        standard_error() + console(),
        HasSubstr("vorn: Can't load a configuration while another one is being changed.\n"));
    EXPECT_EQ(lsql(select_radios), before);
}

} // namespace
