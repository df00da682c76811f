/* SPDX-License-Identifier: MIT */
#include "config/config_fixture.h"
#include "vorn/config.h"

#include <gtest/gtest.h>

#include <string>

#include <sys/stat.h>

namespace vorn::tests {

class SavedConfigurations : public ConfigTest {};

TEST_F(SavedConfigurations, AreEmptyForAnEmptyStore)
{
    EXPECT_EQ(saved(), "");
}

TEST_F(SavedConfigurations, MayBeWrittenWithoutAFile)
{
    put("Radio", "r0", {{"channel", "6"}});
    const std::string in_a_file = (save(), content(file));

    const Allocated<char> document(vorn_config_write_document(store));

    ASSERT_TRUE(document);
    EXPECT_EQ(document.get(), in_a_file);
    EXPECT_EQ(vorn_config_write_document(nullptr), nullptr);
}

TEST_F(SavedConfigurations, FollowTheOrderOfTheRegistryAndThatOfTheStore)
{
    put("Acl", "staff", {{"mac", "01"}});
    put("Route", nullptr, {{"to", "wan"}});
    put("Radio", "r1", {{"mode", "g"}, {"channel", "6"}});
    put("Acl", "guests");
    put("Radio", "r0");
    put("Acl", "staff", {{"mac", "02"}});
    put("Board", nullptr, {{"label", "attic"}});

    EXPECT_EQ(saved(), "  <Board>\n    <label>attic</label>\n  </Board>\n"
                       "  <Radio name=\"r1\">\n    <mode>g</mode>\n    <channel>6</channel>\n"
                       "  </Radio>\n"
                       "  <Radio name=\"r0\"/>\n"
                       "  <Route>\n    <to>wan</to>\n  </Route>\n"
                       "  <Acl name=\"staff\">\n    <mac>01</mac>\n  </Acl>\n"
                       "  <Acl name=\"staff\">\n    <mac>02</mac>\n  </Acl>\n"
                       "  <Acl name=\"guests\"/>\n");
}

TEST_F(SavedConfigurations, LeaveOutWhatIsNotPersistent)
{
    put("Board", nullptr, {{"uptime", "10"}, {"label", "attic"}});
    put("Station", "sta0", {{"signal", "-40"}});
    put("Lease", "wan", {{"kind", "Lease"}});

    EXPECT_EQ(saved(), "  <Board>\n    <label>attic</label>\n  </Board>\n");
}

TEST_F(SavedConfigurations, NameSubclassesByTheirAbstractClass)
{
    put("Static", "lan", {{"kind", "Static"}, {"metric", "1"}, {"ip", "10.0.0.1"}});

    EXPECT_EQ(saved(), "  <Address name=\"lan\">\n    <kind>Static</kind>\n"
                       "    <metric>1</metric>\n    <ip>10.0.0.1</ip>\n  </Address>\n");
}

TEST_F(SavedConfigurations, EscapeMarkupOnce)
{
    put("Radio", "<&\">", {{"mode", "a<b>&amp;\"c'"}});

    EXPECT_EQ(saved(), "  <Radio name=\"&lt;&amp;&quot;&gt;\">\n"
                       "    <mode>a&lt;b&gt;&amp;amp;\"c'</mode>\n  </Radio>\n");
}

TEST_F(SavedConfigurations, LeaveOutAndNameWhatNoDocumentCanHold)
{
    put("Radio", "r0", {{"mode", "\x01"}, {"channel", "6"}});
    put("Radio", "r\xFF", {{"channel", "7"}});

    EXPECT_EQ(saved(), "  <Radio name=\"r0\">\n    <channel>6</channel>\n  </Radio>\n");
    EXPECT_EQ(log.text(), "vorn: Can't save mode of instance \"r0\" of class \"Radio\": XML can't "
                          "hold it.\n"
                          "vorn: Can't save the name of instance \"r\xFF\" of class \"Radio\": XML "
                          "can't hold it.\n");
}

TEST_F(SavedConfigurations, HoldTheLongestTextThatCanBeReadBack)
{
    const std::string longest(10'000'000, 'x');
    put("Radio", "r0", {{"mode", longest.c_str()}});
    put("Radio", "r1", {{"mode", (longest + "x").c_str()}});

    EXPECT_EQ(saved(), "  <Radio name=\"r0\">\n    <mode>" + longest +
                           "</mode>\n  </Radio>\n  <Radio name=\"r1\"/>\n");
    EXPECT_EQ(log.text(), "vorn: Can't save mode of instance \"r1\" of class \"Radio\": XML can't "
                          "hold it.\n");
    EXPECT_TRUE(parse_config(file.c_str()));
}

TEST_F(SavedConfigurations, LeaveOutWhatHasNoXmlName)
{
    ClassBuilder("two words").persistent().with("p").add_resolved();
    ClassBuilder("Odd").persistent().with("1st").with("p").add_resolved();
    put("two words", "x", {{"p", "1"}});
    put("Odd", "y", {{"1st", "1"}, {"p", "2"}});

    EXPECT_EQ(saved(), "  <Odd name=\"y\">\n    <p>2</p>\n  </Odd>\n");
    EXPECT_EQ(log.text(), "vorn: Can't save the name of instance \"x\" of class \"two words\": XML "
                          "can't hold it.\n"
                          "vorn: Can't save 1st of instance \"y\" of class \"Odd\": XML can't hold "
                          "it.\n");
}

TEST_F(SavedConfigurations, HoldTheLongestNamesThatCanBeReadBack)
{
    const std::string longest(50'000, 'n');
    ClassBuilder("Odd")
        .persistent()
        .with(longest.c_str())
        .with((longest + "n").c_str())
        .add_resolved();
    put("Odd", "y", {{longest.c_str(), "1"}, {(longest + "n").c_str(), "2"}});

    EXPECT_EQ(saved(), "  <Odd name=\"y\">\n    <" + longest + ">1</" + longest + ">\n  </Odd>\n");
    EXPECT_EQ(log.text(), "vorn: Can't save " + longest +
                              "n of instance \"y\" of class \"Odd\": "
                              "XML can't hold it.\n");
    EXPECT_TRUE(parse_config(file.c_str()));
}

TEST_F(SavedConfigurations, LeaveTheOldFileWhenThereIsNowhereToWrite)
{
    const std::string nowhere = folder / "no/config.xml";

    EXPECT_FALSE(write_config(store, nowhere.c_str()));

    EXPECT_EQ(log.text(), "vorn: Can't open " + nowhere + ".\n");
}

TEST_F(SavedConfigurations, AreNotMadeOfNothing)
{
    log.set_level(1);
    vorn::SaveReason reason;
    vorn::Text document;

    EXPECT_FALSE(write_config(nullptr, file.c_str(), vorn::FileKind::kept, reason, document));

    EXPECT_STREQ(reason.get(), "there is no configuration");
    EXPECT_EQ(log.text(), "vorn: Null instances.\n");
    EXPECT_EQ(folder.file_count(), 0U);
}

TEST_F(SavedConfigurations, AreWrittenWholeOrNotAtAllWithoutMemory)
{
    put("Board", nullptr, {{"label", "attic"}});
    put("Radio", "r0", {{"mode", "a&b"}});
    put("Static", "lan", {{"kind", "Static"}});
    const std::string whole = "<?xml version=\"1.0\"?>\n<config>\n" + saved() + "</config>\n";
    write(file, "the old one");

    FailEachAllocation([&] {
        const bool done = save();

        const AllocationsAllowed allowed;
        EXPECT_EQ(done, !AllocationFailed());
        EXPECT_EQ(content(file), done ? whole : "the old one");
        EXPECT_EQ(folder.file_count(), 1U);
    });
}

TEST_F(SavedConfigurations, KeptAsScratchAreForTheDaemonAlone)
{
    write(file, "planted");
    ASSERT_EQ(chmod(file.c_str(), 0666), 0);

    EXPECT_TRUE(write_config(store, file.c_str(), FileKind::scratch));

    struct stat status;
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

} // namespace vorn::tests
