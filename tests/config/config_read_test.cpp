/* SPDX-License-Identifier: MIT */
#include "config/config_fixture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <random>
#include <string>

#include <malloc.h>

namespace vorn::tests {

class ConfigDocuments : public ConfigTest {
protected:
    std::string complaint_of_parsing(const std::string &text)
    {
        write(file, text);
        EXPECT_FALSE(load_file());
        return log.take();
    }

    /* The store and the change set agree on what was loaded. */
    void expect_all_recorded()
    {
        const Walk walk(vorn_instances_new_iterator(store));
        for (const vorn_instance *instance : walk) {
            EXPECT_EQ(vorn_changes_contains_instance(changes.get(), instance), 1);
        }
    }
};

TEST_F(ConfigDocuments, AreNotReadFromNowhere)
{
    EXPECT_FALSE(parse_config(nullptr));

    EXPECT_EQ(log.text(), "vorn: Config filename is null.\n");
}

TEST_F(ConfigDocuments, AreNotReadFromAMissingFile)
{
    EXPECT_FALSE(parse_config(file.c_str()));

    EXPECT_EQ(log.text(), "vorn: Config not parsed successfully.\n");
}

TEST_F(ConfigDocuments, MustBeWellFormed)
{
    EXPECT_EQ(complaint_of_parsing(""), "vorn: Config not parsed successfully.\n");
    EXPECT_EQ(complaint_of_parsing("<config>"), "vorn: Config not parsed successfully.\n");
    EXPECT_EQ(complaint_of_parsing("<config/><config/>"),
              "vorn: Config not parsed successfully.\n");
}

TEST_F(ConfigDocuments, MustHaveTheRightRoot)
{
    EXPECT_EQ(complaint_of_parsing("<lsql/>"),
              "vorn: Document of the wrong type: root node is not \"config\".");
}

/* By which a boot knows that a plugin is missing. */
TEST_F(ConfigDocuments, AreReadWithACountOfWhatNobodyKnows)
{
    write(file, "<config><Radio name=\"r1\"><speed>1</speed><colour/></Radio><Toaster/></config>");
    ConfigDocument document = parse_config(file.c_str());
    unsigned int unknown = 0;

    EXPECT_TRUE(read_instances(document, store, changes.get(), unknown));

    EXPECT_EQ(unknown, 3U);
}

TEST_F(ConfigDocuments, BecomeInstancesInTheirOrder)
{
    load("text <Radio name=\"r1\"><channel>6</channel><mode/></Radio><!-- a remark -->\n"
         "<Board>ignored<label>attic</label></Board>"
         "<Acl name=\"staff\"/><Acl name=\"guests\"/><Acl name=\"staff\"/>"
         "<Radio name=\"r0\"/><Address name=\"lan\"><kind>Static</kind><ip>a&amp;b</ip></Address>");

    EXPECT_EQ(loaded(), "Instance name: r1\tclass: Radio\n   channel =\t6\n   mode =\t\n\n"
                        "Instance name: r0\tclass: Radio\n\n\n"
                        "Instance name: n/a\tclass: Board\n   label =\tattic\n\n\n"
                        "Instance name: staff\tclass: Acl\n\n"
                        "Instance name: staff\tclass: Acl\n\n"
                        "Instance name: guests\tclass: Acl\n\n\n"
                        "Instance name: lan\tclass: Static\n   kind =\tStatic\n   ip =\ta&b\n\n\n");
    EXPECT_EQ(log.text(), "");
    expect_all_recorded();
}

/* A large configuration is many small texts, each of which would take a piece of its own. */
TEST_F(ConfigDocuments, BecomeInstancesWhoseTextsLieSideBySide)
{
    load("<Radio name=\"r1\"><channel>6</channel><mode>11g</mode></Radio>");

    const vorn_instance *radio = vorn_instances_get(store, "Radio", "r1");
    EXPECT_EQ(vorn_instance_get_value(radio, "mode"),
              vorn_instance_get_value(radio, "channel") + sizeof "6");
}

/* In bytes, each piece as the C library rounds it up; docs/performance.md says what they are. */
TEST_F(ConfigDocuments, BecomeInstancesThatTakeNoMoreThanIsTold)
{
#if !defined(__GLIBC__) || defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "nobody counts what this allocator has given";
#else
    constexpr unsigned int count = 1000;
    constexpr std::size_t most = sizeof(void *) == 8 ? 440 : 420;
    ClassBuilder wide("Wide");
    wide.persistent();
    for (int i = 0; i < 10; i++)
        wide.with(("p" + std::to_string(i)).c_str());
    wide.add_resolved();
    std::string body;
    for (unsigned int i = 0; i < count; i++) {
        body += "<Wide name=\"item" + std::to_string(10000 + i) + "\">";
        for (int p = 0; p < 10; p++) {
            const std::string name = "p" + std::to_string(p);
            body += "<" + name + ">thirteen" + std::to_string(10000 + i) + "</" + name + ">";
        }
        body += "</Wide>";
    }
    load("<Wide name=\"first\"/>"); /* what there is of once, and of the parser's, is there then */
    write(file, "<config>" + body + "</config>");
    body = std::string();
    const std::size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;

    EXPECT_TRUE(load_file());

    const std::size_t taken = mallinfo2().uordblks + mallinfo2().hblkhd - before;
    if (taken == 0) GTEST_SKIP() << "nobody counts what this allocator has given";
    EXPECT_LE(taken / count, most);
    EXPECT_GE(taken / count, most / 2) << "not all of it was counted";
#endif
}

TEST_F(ConfigDocuments, AreUsedUp)
{
    write(file, "<config>a<Board/>b<Nothing/></config>");
    ConfigDocument document = parse_config(file.c_str());

    read_instances(document, store, changes.get());

    EXPECT_FALSE(document.take_next());
}

TEST_F(ConfigDocuments, KeepAnInstanceWithoutItsRefusedValue)
{
    load("<Radio name=\"r0\"><channel>six</channel><mode>g</mode><colour>red</colour></Radio>");

    EXPECT_EQ(loaded(), "Instance name: r0\tclass: Radio\n   mode =\tg\n\n\n");
    EXPECT_EQ(log.text(),
              "vorn: Value \"six\" is not valid for property \"channel\" of class \"Radio\" - "
              "skipping.\n"
              "vorn: Property \"colour\" is not valid for class \"Radio\" - skipping.\n");
}

/* A save would have to leave them out. */
TEST_F(ConfigDocuments, SkipTextsThatNoFileMayHold)
{
    const auto load_of_length = [&](std::size_t length) {
        const std::string text(length, 'x');
        load("<Radio name=\"" + text + "\"/><Radio name=\"r0\"><mode>" + text + "</mode></Radio>");
        return log.take();
    };

    EXPECT_EQ(load_of_length(10000001),
              "vorn: Text of the name of an instance of class \"Radio\" is too long - skipping.\n"
              "vorn: Text of mode of an instance of class \"Radio\" is too long - skipping.\n");
    EXPECT_EQ(loaded(), "Instance name: r0\tclass: Radio\n\n\n");
}

TEST_F(ConfigDocuments, SkipInstancesWhoseNameIsWrong)
{
    load("<Board name=\"b\"/><Radio/><Radio name=\"r0\"/>");

    EXPECT_EQ(loaded(), "Instance name: r0\tclass: Radio\n\n\n");
    EXPECT_EQ(log.text(), "vorn: Bad instance name \"b\" of class \"Board\"- skipping.\n"
                          "vorn: Bad instance name \"(null)\" of class \"Radio\"- skipping.\n");
}

TEST_F(ConfigDocuments, SkipInvalidInstances)
{
    load("<Key name=\"k\"/>");

    EXPECT_EQ(loaded(), "");
    EXPECT_EQ(log.text().substr(0, 27), "vorn: Instance is invalid: ");
    EXPECT_NE(log.text().find(" Skipping instance."), std::string::npos);
}

TEST_F(ConfigDocuments, SkipTakenNamesAndSecondSingletons)
{
    load("<Radio name=\"r0\"/><Radio name=\"r0\"><mode>g</mode></Radio><Board/><Board/>");

    EXPECT_EQ(loaded(), "Instance name: r0\tclass: Radio\n\n\n"
                        "Instance name: n/a\tclass: Board\n\n\n");
    EXPECT_EQ(log.text(),
              "vorn: Couldn't add instance \"r0\" of class \"Radio\". Skipping instance.\n"
              "vorn: Couldn't add instance \"(null)\" of class \"Board\". Skipping instance.\n");
}

TEST_F(ConfigDocuments, LeaveSingletonsToBeMade)
{
    ClassBuilder("Clock", VORN_CLASS_SINGLETON).persistent(0).add_resolved();
    load("<Board><label>attic</label></Board>");

    EXPECT_TRUE(add_missing_singletons(store, changes.get()));
    EXPECT_TRUE(add_missing_singletons(store, changes.get()));

    EXPECT_EQ(loaded(), "Instance name: n/a\tclass: Board\n   label =\tattic\n\n\n"
                        "Instance name: n/a\tclass: Clock\n\n\n");
    expect_all_recorded();
    EXPECT_EQ(log.text(), "");
}

/* Good is what there is memory to judge. */
int accepts_what_can_be_copied(const char *value)
{
    return static_cast<bool>(copy_of(value));
}

TEST_F(ConfigDocuments, AreTakenOverWithTheirRecordOrNotAtAllWithoutMemory)
{
    ClassBuilder("Door").with("key", {.is_valid = accepts_what_can_be_copied}).add_resolved();
    write(file, "<config><Radio name=\"r0\"><channel>6</channel></Radio><Board/>"
                "<Acl name=\"staff\"><mac>01</mac></Acl><Route><to>lan</to></Route>"
                "<Address name=\"lan\"><kind>Static</kind></Address>"
                "<Door name=\"d0\"><key>1</key></Door></config>");
    EXPECT_TRUE(load_file());
    const std::string usual = loaded();

    FailEachAllocation([&] {
        {
            const AllocationsAllowed allowed;
            changes.reset();
            vorn_instances_delete_all(store);
            store = vorn_instances_new();
            changes.reset(vorn_changes_new(store));
        }

        bool whole = load_file();
        whole &= add_missing_singletons(store, changes.get());

        const AllocationsAllowed allowed;
        expect_all_recorded();
        EXPECT_TRUE(!whole || loaded() == usual) << loaded();
        EXPECT_TRUE(whole || AllocationFailed());
    });
}

/* Says no, and an error of something else is left. */
int refuses_and_leaves_an_error(const char *)
{
    errno = ENOMEM;
    return 0;
}

TEST_F(ConfigDocuments, AreReadWholeWhateverErrorIsLeftOver)
{
    ClassBuilder("Door").with("key", {.is_valid = refuses_and_leaves_an_error}).add_resolved();
    write(file, "<config><Door name=\"d0\"><key>1</key></Door><Board name=\"wrong\"/><Board/>"
                "<Board/></config>");
    errno = ENOMEM;
    EXPECT_TRUE(load_file());
    errno = ENOMEM;
    EXPECT_TRUE(add_missing_singletons(store, changes.get()));

    EXPECT_EQ(loaded(), "Instance name: d0\tclass: Door\n\n\n"
                        "Instance name: n/a\tclass: Board\n\n\n");
}

class MutatedConfigDocuments : public ConfigDocuments,
                               public testing::WithParamInterface<unsigned int> {};

/* Whatever lies in the file, what is loaded is valid and can be written and read again. */
TEST_P(MutatedConfigDocuments, LoadNothingThatCannotBeSavedAndReadBack)
{
    const std::string original =
        "<config><Radio name=\"r0\"><channel>6</channel><mode>g</mode></Radio><Board>"
        "<label>a&lt;b&#65;</label></Board><Acl name=\"staff\"><mac>01</mac></Acl><Route/>"
        "<Key name=\"k\"><serial>1</serial></Key><Address name=\"lan\"><kind>Static</kind>"
        "</Address></config>";
    static constexpr char alphabet[] = "<>/\"&;=ac \n\x01\xC3\xFF";
    std::mt19937 random(GetParam());
    const auto below = [&random](std::size_t limit) {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
    };
    for (int round = 0; round < 60; round++) {
        std::string text = original;
        for (std::size_t i = below(3) + 1; i > 0; i--) {
            const std::size_t place = below(text.size());
            switch (below(3)) {
            case 0:
                text[place] = alphabet[below(sizeof alphabet - 1)];
                break;
            case 1:
                text.erase(place, below(12));
                break;
            default:
                text.insert(place, text.substr(below(text.size()), below(40)));
                break;
            }
        }
        write(file, text);
        load_file();
        expect_all_recorded();
        if (!save()) continue;
        const std::string once = content(file);
        changes.reset();
        vorn_instances_delete_all(store);
        store = vorn_instances_new();
        changes.reset(vorn_changes_new(store));
        log.take();

        ASSERT_TRUE(load_file()) << text;

        EXPECT_EQ(log.take(), "") << text;
        EXPECT_TRUE(save());
        EXPECT_EQ(content(file), once) << text;
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, MutatedConfigDocuments, testing::Range(1U, 9U));

} // namespace vorn::tests
