/* SPDX-License-Identifier: MIT */
/* What a load can't read is in the next save all the same. */
#include "config/config_fixture.h"
#include "config/kept_pieces.h"
#include "support/random_texts.h"
#include "vorn/config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vorn::tests {

using testing::HasSubstr;
using testing::Not;

class KeptPiecesTest : public ConfigTest {
protected:
    KeptPiecesTest() { kept_pieces = make<KeptPieces>().release(); }
    ~KeptPiecesTest() override { vorn_config_forget_kept(); }

    /* Loads what is in the file into an empty store, keeping what can't be read. */
    bool reload()
    {
        Owned<KeptPieces> kept;
        {
            const AllocationsAllowed allowed;
            changes.reset();
            vorn_instances_delete_all(store);
            store = vorn_instances_new();
            changes.reset(vorn_changes_new(store));
            kept = make<KeptPieces>();
        }
        ConfigDocument document = parse_config(file.c_str());
        unknown = 0;
        const bool whole =
            document && read_instances(document, store, changes.get(), unknown, kept.get());
        delete std::exchange(kept_pieces, kept.release());
        return whole;
    }

    bool reload(const std::string &text)
    {
        write(file, "<config>" + text + "</config>");
        return reload();
    }

    static std::string listed()
    {
        std::string list;
        for (unsigned int i = 0; const char *piece = vorn_config_get_kept(i); i++)
            list += std::string(piece) + "\n";
        return list;
    }

    vorn_instance *radio(const char *name) { return vorn_instances_get(store, "Radio", name); }

    unsigned int unknown = 0;
};

TEST_F(KeptPiecesTest, StandBehindWhatIsKnownAsTheyWereRead)
{
    reload("<Toaster name=\"t\"><slots>2</slots><empty/></Toaster><Radio name=\"r\">"
           "<power>3</power><channel>6</channel></Radio><Kettle/>");

    EXPECT_THAT(saved(), HasSubstr("  <Radio name=\"r\">\n    <channel>6</channel>\n"
                                   "    <power>3</power>\n  </Radio>\n"
                                   "  <Toaster name=\"t\">\n    <slots>2</slots>\n    <empty/>\n"
                                   "  </Toaster>\n  <Kettle/>\n"));
    EXPECT_EQ(listed(), "Toaster \"t\"\nKettle \"\"\nRadio \"r\": power\n");
    EXPECT_EQ(unknown, 3u);
}

TEST_F(KeptPiecesTest, AreTheSameAfterEachLoad)
{
    reload(
        "<Address><kind>Stranger</kind><ip>1</ip></Address><Radio name=\"r\"><channel>x</channel>"
        "</Radio><Key name=\"k\"/><Board name=\"no\"/><Route><to>a</to><by>b</by></Route>");
    const std::string first = saved();

    for (const char *piece : {"Stranger", "<channel>x</channel>", "<Key name=\"k\"/>",
                              "<Board name=\"no\"/>", "<by>b</by>"})
        EXPECT_THAT(first, HasSubstr(piece));

    reload();
    EXPECT_EQ(saved(), first);
}

TEST_F(KeptPiecesTest, GiveWayToAValueThatIsSetSinceThen)
{
    reload("<Radio name=\"r\"><channel>x</channel></Radio>");
    vorn_instance_set_value(radio("r"), "channel", "7");

    const std::string text = saved();

    EXPECT_THAT(text, HasSubstr("<channel>7</channel>"));
    EXPECT_THAT(text, Not(HasSubstr("<channel>x</channel>")));
}

TEST_F(KeptPiecesTest, GoWithTheirInstance)
{
    reload("<Radio name=\"r\"><power>3</power></Radio>");
    vorn_instance *gone = radio("r");
    vorn_instances_remove(store, gone);
    vorn_instance_delete(gone);
    saved();
    put("Radio", "r");

    EXPECT_THAT(saved(), Not(HasSubstr("power")));
    EXPECT_EQ(listed(), "");
}

TEST_F(KeptPiecesTest, StayWhileTheSaveOfTheirInstancesEndHasNotSucceeded)
{
    reload("<Radio name=\"r\"><power>3</power></Radio>");
    vorn_instance *gone = radio("r");
    vorn_instances_remove(store, gone);
    EXPECT_FALSE(write_config(store, "/no/such/folder/file"));
    vorn_instances_add(store, gone);

    EXPECT_THAT(saved(), HasSubstr("<power>3</power>"));
}

TEST_F(KeptPiecesTest, FindTheirInstanceAmongThoseWithoutANameOfTheirOwn)
{
    reload("<Route><to>a</to><by>1</by></Route><Route><to>b</to><by>2</by></Route>"
           "<Acl name=\"g\"><mac>1</mac><x>1</x></Acl><Acl name=\"g\"><mac>2</mac></Acl>"
           "<Route><by>3</by></Route><Route><by>4</by></Route>");
    put("Route", nullptr, {{"to", "c"}});

    const std::string text = saved();

    EXPECT_THAT(text, HasSubstr("<to>a</to>\n    <by>1</by>"));
    EXPECT_THAT(text, HasSubstr("<to>b</to>\n    <by>2</by>"));
    EXPECT_THAT(text, HasSubstr("<Route>\n    <by>3</by>\n  </Route>"));
    EXPECT_THAT(text, HasSubstr("<Route>\n    <by>4</by>\n  </Route>"));
    EXPECT_THAT(text, HasSubstr("<mac>1</mac>\n    <x>1</x>"));
}

TEST_F(KeptPiecesTest, AreNoneOfWhatIsNeverSaved)
{
    reload("<Station name=\"s\"><signal>1</signal><x/></Station><Board><uptime>1</uptime></Board>"
           "<Radio name=\"r\"/><Radio name=\"r\"><channel>1</channel></Radio>");

    const std::string text = saved();

    EXPECT_THAT(text, Not(HasSubstr("Station")));
    EXPECT_THAT(text, Not(HasSubstr("channel"))) << "a second one of the name";
}

TEST_F(KeptPiecesTest, AreForgottenWhenAClientSaysSo)
{
    reload("<Toaster/><Radio name=\"r\"><power>3</power></Radio>");

    vorn_config_forget_kept();

    EXPECT_EQ(listed(), "");
    EXPECT_THAT(saved(), Not(HasSubstr("Toaster")));
    EXPECT_THAT(saved(), Not(HasSubstr("power")));
}

TEST_F(KeptPiecesTest, AreBoundedAndTheRestIsCounted)
{
    const std::string large(most_kept_bytes / 4, 'x');
    std::string text;
    for (int i = 0; i < 6; i++)
        text += "<Toaster><text>" + large + "</text></Toaster>";

    EXPECT_TRUE(reload(text + "<Radio name=\"r\"/>"));

    EXPECT_EQ(kept_pieces->lost(), 3u);
    EXPECT_EQ(listed(), "Toaster \"\"\nToaster \"\"\nToaster \"\"\n");
    EXPECT_NE(radio("r"), nullptr);
}

TEST_F(KeptPiecesTest, AreKeptOrTheLoadIsNotWhole)
{
    write(file, "<config><Toaster name=\"t\"><a>1</a></Toaster><Radio name=\"r\"><power>3</power>"
                "</Radio></config>");
    FailEachAllocation(
        [&] {
            const bool whole = reload();

            const AllocationsAllowed allowed;
            EXPECT_TRUE(!whole || listed() == "Toaster \"t\"\nRadio \"r\": power\n") << listed();
            EXPECT_TRUE(whole || AllocationFailed());
        },
        10);
}

/* Attack. Documents of which some is known, in every mixture. */
class RandomPieces : public KeptPiecesTest, public RandomTexts {
protected:
    std::string any_element()
    {
        const std::string number = std::to_string(next++);
        const std::string mark = "u" + number;
        switch (below(6)) {
        case 0:
            marks.push_back("<Toaster name=\"" + mark + "\">");
            return "<Toaster name=\"" + mark + "\"><a>1</a></Toaster>";
        case 1:
            marks.push_back("<power>" + mark + "</power>");
            return "<Radio name=\"r" + number + "\"><power>" + mark + "</power></Radio>";
        case 2:
            marks.push_back("<channel>" + mark + "</channel>");
            return "<Radio name=\"r" + number + "\"><channel>" + mark + "</channel></Radio>";
        case 3:
            marks.push_back("<by>" + mark + "</by>");
            return "<Route><to>" + std::to_string(below(3)) + "</to><by>" + mark + "</by></Route>";
        case 4:
            marks.push_back("<Key name=\"" + mark + "\"");
            return "<Key name=\"" + mark + "\"/>";
        default:
            return "<Radio name=\"r" + number + "\"><channel>6</channel></Radio>";
        }
    }

    int next = 0;
    std::vector<std::string> marks;
};

TEST_P(RandomPieces, AreAllThereAfterLoadsAndSaves)
{
    std::string text;
    for (int i = 0; i < 60; i++)
        text += any_element();

    reload(text);
    const std::string first = saved();
    for (const std::string &mark : marks)
        EXPECT_THAT(first, HasSubstr(mark));

    reload();
    const std::string second = saved();
    EXPECT_EQ(second.size(), first.size());
    for (const std::string &mark : marks)
        EXPECT_THAT(second, HasSubstr(mark));
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomPieces, testing::Range(1U, 21U));

} // namespace vorn::tests
