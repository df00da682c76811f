/* SPDX-License-Identifier: MIT */
/* A store that becomes what a document says is what a load of the document makes, at least cost. */
#include "change/amend_info_record.h"
#include "config/config_fixture.h"
#include "model/lazy/working_copy.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace vorn::tests {

class Becoming : public ConfigTest {
protected:
    Becoming() { changes.reset(); }
    ~Becoming() override { abandon(); }

    /* A transaction on the store. */
    void begin()
    {
        abandon();
        copy = StoreWithInstances(new_working_copy(store));
        made.reset(vorn_changes_new(copy.get()));
    }
    void abandon()
    {
        made.reset();
        copy.reset();
    }

    int become(const std::string &body)
    {
        const std::string document = "<config>" + body + "</config>";
        vorn_amend_info info(copy.get(), made.get());
        const int result = vorn_amend_info_become(&info, document.data(), document.size());
        found_no_memory = info.out_of_memory;
        return result;
    }
    int become_in_transaction(const std::string &body)
    {
        begin();
        return become(body);
    }

    void fill(const std::string &body)
    {
        changes.reset(vorn_changes_new(store));
        load(body);
        changes.reset();
    }

    static std::string text_of(const vorn_instances *instances)
    {
        return config_document(instances).get();
    }
    /* Each instance as a save writes it, and in that order; of groups only that within each. */
    static std::vector<std::string> pieces(const std::string &document)
    {
        std::vector<std::pair<std::string, std::string>> found;
        std::istringstream lines(document);
        for (std::string line; std::getline(lines, line);) {
            const bool is_first = line.compare(0, 3, "  <") == 0 && line[3] != '/';
            const bool is_of_group = line.compare(0, 6, "  <Acl") == 0;
            if (is_first) {
                found.push_back(
                    {is_of_group ? line.substr(0, line.find_last_not_of("/>")) : "", ""});
            }
            if (!found.empty() && line[0] == ' ') found.back().second += line + "\n";
        }
        std::stable_sort(found.begin(), found.end(),
                         [](const auto &a, const auto &b) { return a.first < b.first; });
        std::vector<std::string> texts;
        for (const auto &each : found)
            texts.push_back(each.second);
        return texts;
    }
    static std::vector<std::string> pieces_of_load(const std::string &body)
    {
        const StoreWithInstances loaded(vorn_instances_new());
        const Owned<vorn_changes> all(vorn_changes_new(loaded.get()));
        const std::string text = "<config>" + body + "</config>";
        ConfigDocument document = parse_config_text(text.data(), text.size());
        EXPECT_TRUE(read_instances(document, loaded.get(), all.get()));
        EXPECT_TRUE(add_missing_singletons(loaded.get(), all.get()));
        return pieces(text_of(loaded.get()));
    }

    std::string told() const
    {
        std::string text = "changed";
        for (const vorn_instance *each :
             Walk(vorn_changes_new_class_instances_iterator(made.get(), nullptr))) {
            text += std::string(" ") + name_of(each);
            for (auto [property, value] : each->values) {
                if (vorn_changes_contains_property(made.get(), each, property))
                    text += std::string(" ") + property.name + "=" + value;
            }
        }
        text += ", deleted";
        for (const vorn_instance *each :
             Walk(vorn_changes_new_deleted_class_instances_iterator(made.get(), nullptr)))
            text += std::string(" ") + name_of(each);
        return text;
    }
    static const char *name_of(const vorn_instance *instance)
    {
        const char *name = vorn_instance_get_name(instance);
        return name ? name : vorn_instance_get_class_name(instance);
    }

    StoreWithInstances copy;
    Owned<vorn_changes> made;
    bool found_no_memory = false;
};

TEST_F(Becoming, TouchesOnlyWhatDiffers)
{
    fill("<Board><label>x</label></Board>"
         "<Radio name='a'><channel>1</channel><mode>n</mode></Radio>"
         "<Radio name='b'><channel>2</channel></Radio><Radio name='c'/>");

    ASSERT_EQ(become_in_transaction("<Board><label>x</label></Board>"
                                    "<Radio name='d'><channel>4</channel></Radio>"
                                    "<Radio name='a'><channel>1</channel><mode>ax</mode></Radio>"
                                    "<Radio name='b'><channel>2</channel></Radio>"),
              0);

    EXPECT_EQ(told(), "changed a mode=ax d channel=4, deleted c");
}

TEST_F(Becoming, IsNoChangeOfWhatIsAsTheDocumentSays)
{
    const std::string body = "<Board><label>x</label></Board>"
                             "<Radio name='a'><channel>1</channel></Radio>"
                             "<Route><to>1</to></Route><Route><to>2</to></Route>";
    fill(body);

    ASSERT_EQ(become_in_transaction(body), 0);

    EXPECT_EQ(told(), "changed, deleted");
}

TEST_F(Becoming, TakesAValueAwayThatTheDocumentDoesNotHave)
{
    fill("<Radio name='a'><channel>1</channel><mode>n</mode></Radio>");

    ASSERT_EQ(become_in_transaction("<Radio name='a'><channel>1</channel></Radio>"), 0);

    const vorn_instance *radio = vorn_instances_get(copy.get(), "Radio", "a");
    EXPECT_EQ(vorn_instance_get_value(radio, "mode"), nullptr);
    EXPECT_EQ(vorn_changes_contains_property(made.get(), radio, "mode"), 1);
    EXPECT_EQ(vorn_changes_contains_property(made.get(), radio, "channel"), 0);
    EXPECT_STREQ(
        vorn_instance_get_value(vorn_changes_get_instance_before(made.get(), radio), "mode"), "n");
}

TEST_F(Becoming, LeavesAloneWhatIsNotSaved)
{
    fill("<Board><label>x</label><uptime>7</uptime></Board>");
    put("Station", "s", {{"signal", "3"}});
    put("Lease", "l");

    ASSERT_EQ(become_in_transaction("<Board><label>y</label></Board><Lease name=\"m\"/>"), 0);

    const vorn_instance *board = vorn_instances_get_singleton(copy.get(), "Board");
    EXPECT_STREQ(vorn_instance_get_value(board, "uptime"), "7");
    EXPECT_EQ(vorn_instances_get(copy.get(), "Lease", "m"), nullptr);
    EXPECT_EQ(told(), "changed Board label=y, deleted");
}

TEST_F(Becoming, EmptiesASingletonThatTheDocumentLeavesOut)
{
    fill("<Board><label>x</label><uptime>7</uptime></Board>");

    ASSERT_EQ(become_in_transaction(""), 0);

    const vorn_instance *board = vorn_instances_get_singleton(copy.get(), "Board");
    EXPECT_EQ(vorn_instance_get_value(board, "label"), nullptr);
    EXPECT_STREQ(vorn_instance_get_value(board, "uptime"), "7");
    EXPECT_EQ(vorn_changes_contains_instance(made.get(), board), 1);
}

TEST_F(Becoming, PutsMembersWhereTheyWere)
{
    fill("<Route><to>1</to></Route><Route><to>X</to></Route><Route><to>3</to></Route>"
         "<Route><to>4</to></Route>");

    ASSERT_EQ(become_in_transaction("<Route><to>1</to></Route><Route><to>3</to></Route>"
                                    "<Route><to>4</to></Route>"),
              0);
    EXPECT_EQ(told(), "changed, deleted Route");

    ASSERT_EQ(become_in_transaction("<Route><to>1</to></Route><Route><to>2</to></Route>"
                                    "<Route><to>3</to></Route><Route><to>4</to></Route>"),
              0);
    EXPECT_EQ(told(), "changed Route to=2, deleted");
}

TEST_F(Becoming, PutsNamesInTheirOrder)
{
    fill("<Radio name='a'/><Radio name='b'/><Radio name='d'/>");

    ASSERT_EQ(become_in_transaction("<Radio name='d'/><Radio name='c'/><Radio name='b'/>"), 0);

    EXPECT_EQ(text_of(copy.get()), "<?xml version=\"1.0\"?>\n<config>\n  <Radio name=\"d\"/>\n"
                                   "  <Radio name=\"c\"/>\n  <Radio name=\"b\"/>\n</config>\n");
    EXPECT_EQ(told(), "changed c, deleted a");
    const vorn_instances *before = vorn_changes_get_before(made.get());
    EXPECT_EQ(text_of(before), text_of(store));
}

TEST_F(Becoming, MovesANameFromOneSubclassToAnother)
{
    ClassBuilder("Dhcp").persistent().below("Address").add_resolved();
    fill("<Address name='lan'><kind>Static</kind><ip>1</ip></Address>");

    ASSERT_EQ(become_in_transaction("<Address name='lan'><kind>Dhcp</kind></Address>"), 0);

    EXPECT_EQ(vorn_instances_get(copy.get(), "Static", "lan"), nullptr);
    EXPECT_NE(vorn_instances_get(copy.get(), "Dhcp", "lan"), nullptr);
}

TEST_F(Becoming, NeedsADocument)
{
    fill("<Radio name='a'/>");
    begin();
    vorn_amend_info info(copy.get(), made.get());

    for (const std::string text : {"", "<config>", "<other/>", "no document"}) {
        EXPECT_EQ(vorn_amend_info_become(&info, text.data(), text.size()), 1) << text;
        EXPECT_FALSE(info.out_of_memory);
    }
    EXPECT_EQ(told(), "changed, deleted");
    log.take();
    EXPECT_EQ(vorn_amend_info_become(nullptr, "", 0), 1);
    EXPECT_EQ(vorn_amend_info_become(&info, nullptr, 0), 1);
    log.set_level(1);
}

TEST_F(Becoming, SkipsWithAMessageWhatABootWouldSkip)
{
    ASSERT_EQ(become_in_transaction("<Radio name='a'><channel>x</channel></Radio><Nobody/>"), 0);

    EXPECT_EQ(log.take(),
              "vorn: Value \"x\" is not valid for property \"channel\" of class "
              "\"Radio\" - skipping.\nvorn: Instance has an unknown class \"Nobody\".\n");
    EXPECT_EQ(told(), "changed a, deleted");
}

TEST_F(Becoming, LeavesNothingBehindWithoutMemory)
{
    fill("<Board><label>x</label></Board><Radio name='a'><channel>1</channel></Radio>"
         "<Radio name='b'/><Route><to>1</to></Route><Acl name='g'><mac>1</mac></Acl>"
         "<Acl name='g'><mac>2</mac></Acl><Address name='lan'><kind>Static</kind></Address>");
    const std::string before = text_of(store);
    const std::string body =
        "<Board><label>y</label></Board><Radio name='c'/><Radio name='a'><mode>n</mode></Radio>"
        "<Route><to>2</to></Route><Route><to>3</to></Route><Acl name='g'><mac>2</mac></Acl>"
        "<Acl name='h'><mac>1</mac></Acl>";
    const std::vector<std::string> wanted = pieces_of_load(body);
    ASSERT_EQ(become_in_transaction(body), 0);
    const std::string all_told = told();
    constexpr unsigned long least = 100;
    FailEachAllocation(
        [&] {
            {
                const AllocationsAllowed allowed;
                begin();
            }
            const int result = become(body);
            EXPECT_EQ(result != 0, found_no_memory);
            EXPECT_TRUE(!found_no_memory || AllocationFailed());
            const AllocationsAllowed allowed;
            if (result == 0 && !made->is_incomplete) {
                EXPECT_EQ(pieces(text_of(copy.get())), wanted);
                EXPECT_EQ(told(), all_told);
            }
            abandon();
            EXPECT_EQ(text_of(store), before);
            log.take();
        },
        least);
}

/* Documents of a few instances of every class, with values that are now there and now not. */
class RandomBecoming : public Becoming, public testing::WithParamInterface<unsigned int> {
protected:
    unsigned int below(unsigned int limit)
    {
        return std::uniform_int_distribution<unsigned int>(0, limit - 1)(random);
    }
    std::string maybe(const char *property, unsigned int values)
    {
        if (below(3) == 0) return "";
        return std::string("<") + property + ">" + std::to_string(below(values)) + "</" + property +
               ">";
    }
    std::string body()
    {
        std::string text;
        if (below(3) > 0) text += "<Board>" + maybe("label", 3) + "</Board>";
        std::string names = "abcd";
        std::shuffle(names.begin(), names.end(), random);
        for (const char name : names) {
            if (below(2) == 0) continue;
            const std::string values[] = {maybe("channel", 2), maybe("mode", 2)};
            const unsigned int first = below(2);
            text += std::string("<Radio name='") + name + "'>" + values[first] + values[1 - first] +
                    "</Radio>";
        }
        for (unsigned int i = below(5); i > 0; i--)
            text += "<Route>" + maybe("to", 3) + "</Route>";
        for (unsigned int i = below(6); i > 0; i--)
            text += std::string("<Acl name='") + (below(2) ? "g" : "h") + "'>" + maybe("mac", 3) +
                    "</Acl>";
        for (const char *name : {"lan", "wan"}) {
            if (below(2) == 0) continue;
            text += std::string("<Address name='") + name + "'><kind>" +
                    (below(2) ? "Static" : "Dhcp") + "</kind>" + maybe("metric", 2) + "</Address>";
        }
        return text;
    }

    std::mt19937 random{GetParam()};
};

TEST_P(RandomBecoming, EqualsALoad)
{
    ClassBuilder("Dhcp").persistent().below("Address").add_resolved();
    for (int round = 0; round < 40; round++) {
        const std::string from = body();
        const std::string to = body();
        SCOPED_TRACE(from + "\nbecomes\n" + to);
        vorn_instances_delete_all(std::exchange(store, vorn_instances_new()));
        fill(from);
        changes.reset(vorn_changes_new(store));
        add_missing_singletons(store, changes.get());
        changes.reset();
        const std::string before = text_of(store);

        ASSERT_EQ(become_in_transaction(to), 0);

        EXPECT_EQ(pieces(text_of(copy.get())), pieces_of_load(to));
        for (const vorn_instance *each :
             Walk(vorn_changes_new_class_instances_iterator(made.get(), nullptr))) {
            const vorn_instance *old = vorn_changes_get_instance_before(made.get(), each);
            const auto sorted = [](std::vector<std::pair<std::string, std::string>> values) {
                std::sort(values.begin(), values.end());
                return values;
            };
            if (!old) continue;
            EXPECT_NE(sorted(values_of(*old)), sorted(values_of(*each)));
        }
        EXPECT_EQ(text_of(vorn_changes_get_before(made.get())), before);
        abandon();
        EXPECT_EQ(text_of(store), before);
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomBecoming, testing::Range(1u, 6u));

} // namespace vorn::tests
