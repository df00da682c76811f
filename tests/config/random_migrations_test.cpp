/* SPDX-License-Identifier: MIT */
/* Random schemas, what becomes of them in two versions, and random configurations of the first. */
#include "config/config_document.h"
#include "config/declared_schemas.h"
#include "support/builders.h"
#include "support/dashed_texts.h"
#include "support/random_texts.h"
#include "vorn/config.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vorn::tests {

namespace {

struct Property {
    std::string name;
    std::set<std::string> values; /* that it may have; those with a dash can be split */
};

struct Class {
    std::string name;
    int type;
    std::vector<Property> properties;
};

using Schema = std::vector<Class>;

/* One instance of a document. */
struct Told {
    std::string klass;
    std::string name; /* with its quotes, so that "" is none */
    std::map<std::string, std::string> values;
};
using Document = std::vector<Told>;

Document told_by(const std::string &text)
{
    Document told;
    ConfigDocument document = parse_config_text(text.data(), text.size());
    while (const Allocated<WrittenInstance> written = document.take_next()) {
        const char *name = written->text_at(written->instance_name);
        told.push_back({written->element, name ? "\"" + std::string(name) + "\"" : "", {}});
        for (const WrittenValue &each : *written)
            told.back().values[each.property] = or_empty(written->text_at(each.text));
    }
    return told;
}

/* What is said of a loss: of which instance, and of which property or of all of it. */
struct Loss {
    std::string name;
    std::string property;
};

std::vector<Loss> losses_in(const std::string &lines)
{
    std::vector<Loss> losses;
    for (std::size_t at = 0; at < lines.size(); at = lines.find('\n', at) + 1) {
        const std::string line = lines.substr(at, lines.find('\n', at) - at);
        const std::size_t end = line.find(": ");
        const std::string title = line.substr(0, end);
        const std::size_t blank = title.find(' ');
        const std::size_t second = line.find(": ", end + 2);
        losses.push_back(
            {blank == std::string::npos ? "" : title.substr(blank + 1),
             second == std::string::npos ? "" : line.substr(end + 2, second - end - 2)});
    }
    return losses;
}

} // namespace

class RandomMigrations : public ModelTest, public RandomTexts {
protected:
    /* Steps keep what they are told as long as they are declared. */
    const char *kept(const std::string &text) { return texts.emplace_back(text).c_str(); }

    std::string free_class()
    {
        std::string name;
        do {
            name = "C" + std::to_string(below(30));
        } while (used_classes.count(name) > 0);
        used_classes.insert(name);
        return name;
    }
    /* A name that no property of the class has; one of long ago may come again. */
    std::string free_property(const Class &klass)
    {
        std::string name;
        do {
            name = "p" + std::to_string(below(12));
        } while (std::any_of(klass.properties.begin(), klass.properties.end(),
                             [&](const Property &each) { return each.name == name; }));
        return name;
    }
    std::set<std::string> any_values()
    {
        if (below(3) == 0) return {"a-b", "c-d", "e"};
        return {"a", "b", "c", ""};
    }
    Class any_class()
    {
        constexpr int types[] = {VORN_CLASS_SINGLETON, VORN_CLASS_ANONYMOUS,
                                 VORN_CLASS_UNIQUE_NAMED, VORN_CLASS_UNIQUE_NAMED,
                                 VORN_CLASS_GROUP_NAMED};
        Class klass = {free_class(), types[below(5)], {}};
        for (std::size_t i = 2 + below(4); i > 0; i--)
            klass.properties.push_back({free_property(klass), any_values()});
        return klass;
    }
    Schema any_schema()
    {
        Schema schema;
        for (std::size_t i = 1 + below(4); i > 0; i--)
            schema.push_back(any_class());
        return schema;
    }

    /* What the property was called on its way, for who looks for what is said of it. */
    void follow(const std::string &from, const std::string &to)
    {
        for (auto &[first, all] : lineage) {
            if (all.count(from) > 0) all.insert(to);
        }
        lineage[to].insert(to);
    }

    void add_step(Schema &schema, unsigned int version, std::vector<vorn_migration> &steps);
    void add_map(Property &property, const char *klass, unsigned int version,
                 std::vector<vorn_migration> &steps);
    void add_move(Schema &schema, Class &klass, Property property, unsigned int version,
                  std::vector<vorn_migration> &steps);

    void add_split_or_join(Class &klass, std::size_t at, unsigned int version,
                           std::vector<vorn_migration> &steps);
    Schema declare_any();

    std::string any_document(const Schema &schema);
    static std::string shown_steps();
    std::string migrate(const std::string &document, const std::string &versions,
                        std::string &lines)
    {
        char *lost = nullptr;
        const Text migrated(vorn_config_migrate(document.c_str(), versions.c_str(), &lost));
        lines += lost ? lost : "";
        std::free(lost);
        return migrated ? migrated.get() : "";
    }

    bool is_named(const std::vector<Loss> &losses, const Told &told, const std::string &property)
    {
        return std::any_of(losses.begin(), losses.end(), [&](const Loss &each) {
            const bool is_it = lineage[property].count(each.property) > 0;
            /* A value that went to or from one that has no name is said to be where it lies. */
            const bool may_be_elsewhere = each.name.empty() || told.name.empty();
            return each.name == told.name ? is_it || each.property.empty()
                                          : is_it && may_be_elsewhere;
        });
    }
    bool is_named(const std::vector<Loss> &losses, const Told &told)
    {
        return std::any_of(losses.begin(), losses.end(),
                           [&](const Loss &each) { return each.name == told.name; });
    }
    void compare(const Document &before, const Document &after, const std::vector<Loss> &losses);
    void expect_values(const Told &before, const Told &after, const std::vector<Loss> &losses);

    std::deque<std::string> texts;
    std::deque<std::vector<const char *>> names; /* of parts */
    std::set<std::string> used_classes;
    std::map<std::string, std::set<std::string>> lineage;
    DeclaredSchemas schemas;
};

/* A function on the values that there are. */
void RandomMigrations::add_map(Property &property, const char *klass, unsigned int version,
                               std::vector<vorn_migration> &steps)
{
    std::set<std::string> after;
    for (const std::string &value : property.values) {
        const std::string to = below(2) == 0 ? "v" + std::to_string(below(4)) : value;
        after.insert(to);
        if (to == value && below(2) == 0) continue;
        steps.push_back(VORN_MAP_VALUE(version, klass, kept(property.name), kept(value), kept(to)));
    }
    property.values = after;
}

void RandomMigrations::add_move(Schema &schema, Class &klass, Property property,
                                unsigned int version, std::vector<vorn_migration> &steps)
{
    Class &to = schema[below(schema.size())];
    if (&to == &klass) return;
    const std::string name = free_property(to);
    steps.push_back(VORN_MOVE_PROPERTY(version, kept(klass.name), kept(property.name),
                                       kept(to.name), kept(name)));
    follow(property.name, name);
    const auto same = [&](const Property &each) { return each.name == property.name; };
    klass.properties.erase(std::find_if(klass.properties.begin(), klass.properties.end(), same));
    property.name = name;
    to.properties.push_back(property);
}

void RandomMigrations::add_step(Schema &schema, unsigned int version,
                                std::vector<vorn_migration> &steps)
{
    if (schema.empty()) return;
    const std::size_t place = below(schema.size());
    Class &klass = schema[place];
    const char *name = kept(klass.name);
    const std::size_t kind = below(10);
    if (kind == 0) {
        klass.name = free_class();
        steps.push_back(VORN_RENAME_CLASS(version, name, kept(klass.name)));
        return;
    }
    if (kind == 1 && below(3) == 0) {
        steps.push_back(VORN_DROP_CLASS(version, name));
        schema.erase(schema.begin() + static_cast<std::ptrdiff_t>(place));
        return;
    }
    if (kind == 2) {
        const std::string added = free_property(klass);
        const std::set<std::string> values = any_values();
        steps.push_back(VORN_DEFAULT_VALUE(version, name, kept(added), kept(*values.begin())));
        klass.properties.push_back({added, values});
        lineage[added].insert(added);
        return;
    }
    if (klass.properties.empty()) return;
    const std::size_t at = below(klass.properties.size());
    Property &property = klass.properties[at];
    const char *old = kept(property.name);
    if (kind == 3 || kind == 4) {
        const std::string to = free_property(klass);
        steps.push_back(VORN_RENAME_PROPERTY(version, name, old, kept(to)));
        follow(property.name, to);
        property.name = to;
    } else if (kind == 5) {
        add_move(schema, klass, property, version, steps);
    } else if (kind == 6) {
        add_map(property, name, version, steps);
    } else if (kind == 7) {
        steps.push_back(VORN_DROP_PROPERTY(version, name, old));
        klass.properties.erase(klass.properties.begin() + static_cast<std::ptrdiff_t>(at));
    } else {
        add_split_or_join(klass, at, version, steps);
    }
}

/* Of two others, or into two new ones. */
void RandomMigrations::add_split_or_join(Class &klass, std::size_t at, unsigned int version,
                                         std::vector<vorn_migration> &steps)
{
    const char *name = kept(klass.name);
    const Property property = klass.properties[at];
    const bool has_way_back = below(3) > 0;
    if (below(2) == 0) {
        const std::string one = below(4) == 0 ? property.name : free_property(klass);
        klass.properties[at] = {one, {"a", "c"}};
        const std::string other = free_property(klass);
        klass.properties.push_back({other, {"b", "d"}});
        names.push_back({kept(one), kept(other), nullptr});
        steps.push_back(VORN_SPLIT_PROPERTY(version, name, kept(property.name), split_at_dash,
                                            has_way_back ? join_with_dash : nullptr,
                                            names.back().data()));
        follow(property.name, one);
        follow(property.name, other);
        return;
    }
    if (klass.properties.size() < 2) return;
    const Property second = klass.properties[(at + 1) % klass.properties.size()];
    names.push_back({kept(property.name), kept(second.name), nullptr});
    const std::string to = below(4) == 0 ? property.name : free_property(klass);
    std::erase_if(klass.properties, [&](const Property &each) {
        return each.name == property.name || each.name == second.name;
    });
    klass.properties.push_back({to, {"a-b", "c-d"}});
    steps.push_back(VORN_JOIN_PROPERTIES(version, name, names.back().data(), join_with_dash,
                                         has_way_back ? split_at_dash : nullptr, kept(to)));
    follow(property.name, to);
    follow(second.name, to);
}

std::string RandomMigrations::shown_steps()
{
    std::string all;
    for (const vorn_migration &each : first_schema->table) {
        all += std::to_string(each.version) + " kind " + std::to_string(each.kind);
        for (const char *text :
             {each.class_name, each.property, each.to_class, each.to_property, each.from, each.to,
              each.names ? each.names[0] : nullptr, each.names ? each.names[1] : nullptr})
            all += std::string(" ") + (text ? text : "-");
        all += "\n";
    }
    return all;
}

/* The first schema; the last one's classes are registered. */
Schema RandomMigrations::declare_any()
{
    for (;;) {
        forget_classes();
        used_classes.clear();
        lineage.clear();
        for (unsigned int i = 0; i < 12; i++)
            lineage["p" + std::to_string(i)].insert("p" + std::to_string(i));
        const Schema first = any_schema();
        Schema schema = first;
        std::vector<vorn_migration> steps;
        for (unsigned int version = 1; version <= 2; version++) {
            for (std::size_t i = 2 + below(7); i > 0; i--)
                add_step(schema, version, steps);
        }
        if (schemas.declare("it", 2, steps) != 0) continue;
        for (const Class &klass : schema)
            ClassBuilder(klass.name.c_str(), klass.type).persistent().add_resolved();
        return first;
    }
}

std::string RandomMigrations::any_document(const Schema &schema)
{
    std::vector<std::string> instances;
    for (const Class &klass : schema) {
        const std::size_t most = klass.type == VORN_CLASS_SINGLETON ? 2 : 5;
        const std::size_t count = below(most);
        for (std::size_t i = 0; i < count; i++) {
            std::string name;
            if (klass.type == VORN_CLASS_UNIQUE_NAMED) name = std::to_string(i);
            if (klass.type == VORN_CLASS_GROUP_NAMED) name = std::to_string(below(2));
            std::string text = "<" + klass.name;
            if (!name.empty()) text += " name=\"" + name + "\"";
            text += ">";
            for (const Property &each : klass.properties) {
                if (below(4) == 0) continue;
                const auto value =
                    std::next(each.values.begin(), static_cast<long>(below(each.values.size())));
                text += "<" + each.name + ">" + *value + "</" + each.name + ">";
            }
            instances.push_back(text + "</" + klass.name + ">");
        }
    }
    std::string document = "<config>";
    while (!instances.empty()) {
        const std::size_t at = below(instances.size());
        document += instances[at];
        instances.erase(instances.begin() + static_cast<std::ptrdiff_t>(at));
    }
    return document + "</config>";
}

void RandomMigrations::expect_values(const Told &before, const Told &after,
                                     const std::vector<Loss> &losses)
{
    for (const auto &[property, text] : before.values) {
        const auto found = after.values.find(property);
        if (found != after.values.end() && found->second == text) continue;
        EXPECT_TRUE(is_named(losses, before, property)) << before.klass << property;
    }
    for (const auto &[property, text] : after.values) {
        if (before.values.count(property) > 0) continue;
        EXPECT_TRUE(is_named(losses, before) || is_named(losses, before, property))
            << before.klass << property;
    }
}

namespace {

using Key = std::pair<std::string, std::string>;

/* In the order that each class has of its own. */
std::vector<Key> keys_that_are_in(const Document &document, const Document &other)
{
    std::vector<Key> keys;
    for (const Told &each : document) {
        if (std::any_of(other.begin(), other.end(), [&](const Told &told) {
                return told.klass == each.klass && told.name == each.name;
            }))
            keys.emplace_back(each.klass, each.name);
    }
    std::stable_sort(keys.begin(), keys.end(),
                     [](const Key &one, const Key &another) { return one.first < another.first; });
    return keys;
}

} // namespace

void RandomMigrations::compare(const Document &before, const Document &after,
                               const std::vector<Loss> &losses)
{
    std::map<Key, std::pair<Document, Document>> all;
    for (const Told &each : before)
        all[{each.klass, each.name}].first.push_back(each);
    for (const Told &each : after)
        all[{each.klass, each.name}].second.push_back(each);
    for (const auto &[key, pair] : all) {
        const auto &[was, is] = pair;
        if (was.size() == is.size()) {
            for (std::size_t i = 0; i < was.size(); i++)
                expect_values(was[i], is[i], losses);
            continue;
        }
        const bool is_empty_singleton =
            was.empty() && is.size() == 1 && is[0].name.empty() && is[0].values.empty();
        if (is_empty_singleton) continue;
        const Told &told = was.empty() ? is[0] : was[0];
        const bool is_named_by_value =
            std::any_of(told.values.begin(), told.values.end(),
                        [&](const auto &each) { return is_named(losses, told, each.first); });
        EXPECT_TRUE(is_named(losses, told) || is_named_by_value) << key.first << key.second;
    }
    if (losses.empty()) {
        EXPECT_EQ(keys_that_are_in(before, after), keys_that_are_in(after, before));
    }
}

TEST_P(RandomMigrations, LeadThereInOneStepOrTwoAndBackToWhatWas)
{
    for (int round = 0; round < 100; round++) {
        const Schema schema = declare_any();
        const std::string old = any_document(schema);
        std::string lines;
        std::string ignored;
        const std::string now = migrate(old, "it=2", lines);
        ASSERT_NE(now, "") << old;
        EXPECT_EQ(migrate(migrate(old, "it=1", ignored), "it=2", ignored), now) << old;
        const std::string back = migrate(now, "it=0", lines);
        EXPECT_EQ(migrate(migrate(now, "it=1", ignored), "it=0", ignored), back) << now;
        compare(told_by(old), told_by(back), losses_in(lines));
        if (HasFailure()) {
            ADD_FAILURE() << old << "\n" << now << "\n" << back << "\n" << lines << shown_steps();
            return;
        }
        DeclaredSchemas::forget();
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomMigrations, testing::Range(0U, 10U));

} // namespace vorn::tests
