/* SPDX-License-Identifier: MIT */
/* What a load can't read is in the next save all the same. */
#include "config/kept_fixture.h"
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
    reload(
        "<Station name=\"s\"><signal>1</signal><x/></Station><Station name=\"s\"/><Board><uptime>1"
        "</uptime></Board>");

    EXPECT_THAT(saved(), Not(HasSubstr("Station")));
    EXPECT_EQ(listed(), "");
}

TEST_F(KeptPiecesTest, StayBehindAnInstanceThatHasTakenTheirName)
{
    reload("<Key name=\"k\"><old>1</old></Key>");
    put("Key", "k", {{"serial", "2"}});

    EXPECT_EQ(listed(), "Key \"k\"\n");
    EXPECT_THAT(saved(), HasSubstr("  <Key name=\"k\">\n    <serial>2</serial>\n  </Key>\n"
                                   "  <Key name=\"k\">\n    <old>1</old>\n  </Key>\n"));
}

/* What was refused by the one firmware and is accepted by the next. */
TEST_F(KeptPiecesTest, StayBesideAnInstanceOfTheirName)
{
    reload(
        "<Radio name=\"r\"/><Radio name=\"r\"><channel>1</channel><power>9</power></Radio><Board>"
        "<label>a</label></Board><Board><label>b</label></Board><Static name=\"x\"/><Address "
        "name=\"s\"><kind>Static</kind><ip>1</ip></Address>"
        "<Address name=\"s\"><kind>Static</kind><ip>2</ip></Address>");

    const std::string first = saved();
    EXPECT_EQ(listed(), "Static \"x\"\nRadio \"r\", another one\nBoard \"\", another one\n"
                        "Static \"s\", another one\n");
    EXPECT_THAT(first, HasSubstr("  <Radio name=\"r\">\n    <channel>1</channel>\n"
                                 "    <power>9</power>\n  </Radio>\n"));
    EXPECT_EQ(vorn_instance_get_value(radio("r"), "channel"), nullptr) << "the first one wins";
    reload();
    EXPECT_EQ(saved(), first);
}

TEST_F(KeptPiecesTest, AreNoSecondInstanceThatIsLikeTheFirst)
{
    reload("<Radio name=\"r\"><channel>1</channel><mode>g</mode></Radio>"
           "<Radio name=\"r\"><mode>g</mode><channel>1</channel></Radio>");

    EXPECT_EQ(listed(), "");
}

TEST_F(KeptPiecesTest, OfASingletonGoOnWithAnotherOne)
{
    reload("<Board><label>a</label><odd>1</odd></Board>");
    vorn_instance *gone = vorn_instances_get_singleton(store, "Board");
    vorn_instances_remove(store, gone);
    vorn_instance_delete(gone);
    vorn_instances_add(store, vorn_instance_new(vorn_classes_get("Board"), nullptr));

    EXPECT_THAT(saved(), HasSubstr("<odd>1</odd>"));
}

/* Else the other would come back with the next boot. */
TEST_F(KeptPiecesTest, OfAnInstancesNameGoWithIt)
{
    reload("<Radio name=\"r\"/><Radio name=\"r\"><channel>1</channel></Radio>");
    vorn_instance *gone = radio("r");
    vorn_instances_remove(store, gone);
    vorn_instance_delete(gone);

    EXPECT_THAT(saved(), Not(HasSubstr("Radio")));
    EXPECT_EQ(listed(), "");
}

TEST_F(KeptPiecesTest, GoOnWithAnInstanceWithoutANameWhoseValuesChange)
{
    reload("<Route><to>a</to><by>1</by></Route><Route><to>b</to><by>2</by></Route>"
           "<Route><to>a</to><by>3</by></Route>");
    changes.reset();
    changes.reset(vorn_changes_new(store));
    const char *other = "b";
    for (vorn_instance *each : Walk(vorn_instances_new_class_iterator(store, "Route"))) {
        vorn_instance_set_value(each, "to", other);
        other = "a";
    }
    kept_pieces->follow(*changes);

    EXPECT_THAT(saved(), HasSubstr("<to>b</to>\n    <by>1</by>\n  </Route>\n  <Route>\n"
                                   "    <to>a</to>\n    <by>3</by>\n  </Route>\n  <Route>\n"
                                   "    <to>a</to>\n    <by>2</by>"));
}

/* In the place where the first one was, which is nobody's any more. */
TEST_F(KeptPiecesTest, GoOnWithOneThatBecomesLikeAnotherWhoseOwnAreForgotten)
{
    reload("<Route><to>a</to><by>1</by></Route><Route><to>b</to><by>2</by></Route>");
    const auto go = [this](const char *to) {
        for (vorn_instance *each : Walk(vorn_instances_new_class_iterator(store, "Route"))) {
            if (std::string(vorn_instance_get_value(each, "to")) != to) continue;
            vorn_instances_remove(store, each);
            vorn_instance_delete(each);
        }
    };
    go("a");
    EXPECT_THAT(saved(), Not(HasSubstr("<by>1</by>")));
    changes.reset();
    changes.reset(vorn_changes_new(store));
    for (vorn_instance *each : Walk(vorn_instances_new_class_iterator(store, "Route")))
        vorn_instance_set_value(each, "to", "a");
    kept_pieces->follow(*changes);

    EXPECT_EQ(saved(), "  <Route>\n    <to>a</to>\n    <by>2</by>\n  </Route>\n");

    changes.reset();
    changes.reset(vorn_changes_new(store));
    for (vorn_instance *each : Walk(vorn_instances_new_class_iterator(store, "Route")))
        vorn_instance_set_value(each, "to", "c");
    kept_pieces->follow(*changes);
    EXPECT_EQ(saved(), "  <Route>\n    <to>c</to>\n    <by>2</by>\n  </Route>\n");
}

/* Then they stay where they were. */
TEST_F(KeptPiecesTest, AreThereThoughNoMemoryIsThereToFollow)
{
    FailEachAllocation(
        [&] {
            {
                const AllocationsAllowed allowed;
                reload("<Route><to>a</to><by>1</by></Route><Route><to>a</to><by>2</by></Route>");
                changes.reset();
                changes.reset(vorn_changes_new(store));
                for (vorn_instance *each : Walk(vorn_instances_new_class_iterator(store, "Route")))
                    vorn_instance_set_value(each, "to", "b");
            }
            kept_pieces->follow(*changes);

            const AllocationsAllowed allowed;
            EXPECT_EQ(listed(), "Route \"\": by\nRoute \"\": by\n");
            const std::string text = saved();
            EXPECT_TRUE(AllocationFailed() || (text.find("<by>1</by>") != std::string::npos &&
                                               text.find("<by>2</by>") != std::string::npos))
                << text;
        },
        2);
}

TEST_F(KeptPiecesTest, AreForgottenByTheirClassAndName)
{
    const std::string text =
        "<Toaster name=\"a\"/><Toaster name=\"b\"/><Kettle/><Toaster name=\"c\"/>"
        "<Radio name=\"a\"><power>3</power></Radio>";
    reload(text);
    EXPECT_EQ(vorn_config_forget_kept_of("Toaster", "b"), 1u);
    EXPECT_EQ(vorn_config_forget_kept_of("Toaste", nullptr), 0u);
    EXPECT_EQ(vorn_config_forget_kept_of("Radio", "b"), 0u);
    EXPECT_EQ(listed(), "Toaster \"a\"\nKettle \"\"\nToaster \"c\"\nRadio \"a\": power\n");
    EXPECT_EQ(vorn_config_forget_kept_of("Radio", nullptr), 1u);
    EXPECT_EQ(vorn_config_forget_kept_of("Toaster", nullptr), 2u);
    EXPECT_EQ(listed(), "Kettle \"\"\n");
    EXPECT_EQ(saved(), "  <Radio name=\"a\"/>\n  <Kettle/>\n");

    reload(text);
    EXPECT_EQ(vorn_config_forget_kept_of(nullptr, "a"), 2u);
    EXPECT_EQ(vorn_config_forget_kept_of(nullptr, nullptr), 3u);
    EXPECT_EQ(saved(), "  <Radio name=\"a\"/>\n");
    EXPECT_EQ(vorn_config_forget_kept_of("x", "y"), 0u);
}

/* Without them nobody is to be let in; what was too large for memory may have been one. */
TEST_F(KeptPiecesTest, KnowWhetherRulesOfAccessAreAmongThem)
{
    const std::string rule = "<access-rule name=\"a\"><order>1</order></access-rule>";
    reload("<Toaster/>");
    EXPECT_FALSE(kept_pieces->hold_rules());
    reload("<Toaster/>" + rule + "<access-default><read>deny</read></access-default>");
    EXPECT_TRUE(kept_pieces->hold_rules());

    EXPECT_EQ(kept_pieces->forget("Toaster", nullptr), 1u);
    EXPECT_EQ(kept_pieces->forget("access-rule", nullptr), 1u);
    EXPECT_TRUE(kept_pieces->hold_rules());
    EXPECT_EQ(kept_pieces->forget("access-default", nullptr), 1u);
    EXPECT_FALSE(kept_pieces->hold_rules());

    reload("<access-rule name=\"b\"><order>" + std::string(most_kept_bytes, '1') +
           "</order></access-rule>" + rule);
    EXPECT_EQ(kept_pieces->forget(nullptr, nullptr), 1u);
    EXPECT_TRUE(kept_pieces->hold_rules());
}

/* A rule of which a part can't be read may permit more than it did. */
TEST_F(KeptPiecesTest, KnowWhetherPartsOfRulesAreAmongThem)
{
    ClassBuilder("access-rule").persistent().with("order").add_resolved();
    reload("<access-rule name=\"a\"><when>night</when></access-rule><Toaster/>");
    EXPECT_TRUE(kept_pieces->hold_rules());

    EXPECT_EQ(kept_pieces->forget("Toaster", nullptr), 1u);
    EXPECT_TRUE(kept_pieces->hold_rules());
    EXPECT_EQ(kept_pieces->forget("access-rule", nullptr), 1u);
    EXPECT_FALSE(kept_pieces->hold_rules());
}

TEST_F(KeptPiecesTest, ThatAreForgottenLeaveNoVersionOfTheirs)
{
    write(file, "<?xml version=\"1.0\"?><?vorn-schema gone=\"2\"?><config><Toaster/>"
                "<Radio name=\"r\"><power>3</power></Radio></config>");
    reload();
    EXPECT_TRUE(save());
    EXPECT_THAT(content(file), HasSubstr("<?vorn-schema gone=\"2\"?>"));

    vorn_config_forget_kept_of(nullptr, nullptr);

    EXPECT_EQ(saved(), "  <Radio name=\"r\"/>\n");
    EXPECT_THAT(content(file), Not(HasSubstr("gone")));
}

TEST_F(KeptPiecesTest, LeaveTheirRoomWhenTheyAreForgotten)
{
    const std::string large(most_kept_bytes / 2, 'x');
    reload("<Toaster name=\"a\"><text>" + large + "</text></Toaster><Radio name=\"r\"><power>" +
           large.substr(2000) + "</power></Radio>");
    vorn_config_forget_kept_of("Toaster", nullptr);
    vorn_config_forget_kept_of("Radio", nullptr);

    ConfigDocument again = parse_config(file.c_str());
    read_instances(again, store, changes.get(), unknown, kept_pieces);

    EXPECT_EQ(kept_pieces->lost(), 0u);
    EXPECT_EQ(listed(), "Toaster \"a\"\nRadio \"r\", another one\n");
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
                "</Radio><Radio name=\"r\"><mode>g</mode></Radio></config>");
    FailEachAllocation(
        [&] {
            const bool whole = reload();

            const AllocationsAllowed allowed;
            EXPECT_TRUE(!whole || listed() == "Toaster \"t\"\nRadio \"r\": power\n"
                                              "Radio \"r\", another one\n")
                << listed();
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
