/* SPDX-License-Identifier: MIT */
/*
 * Random transactions, each explained first and then done: what was said to change is what has
 * changed, and whoever was said to be called was called, for the same instances in the same order.
 * VORN_EXPLAINED_TRANSACTIONS=10000 takes more of them.
 */
#include "api/query_fixture.h"
#include "change/committer_record.h"
#include "vorn/xml.h"

#include <gmock/gmock.h>

#include <libxml/parser.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <string_view>

namespace {

using testing::HasSubstr;
using vorn::Owned;
using vorn::Walk;
using vorn::tests::ClassBuilder;
using vorn::tests::QueryTest;

using Lines = std::vector<std::string>;

/* "provider action class name" of each call, and what differs between the two stores. */
Lines calls;
Lines differences;

const vorn_changes *changes_at_hand;
std::vector<Owned<vorn_committer>> committers;

std::string text(const char *value)
{
    return value ? std::string("\"") + value + "\"" : "none";
}

std::string named(const vorn_instance &instance)
{
    return std::string(vorn_instance_get_class_name(&instance)) + " " +
           text(vorn_instance_get_name(&instance));
}

/* Callbacks that follow each other for one instance are one visit. */
void note(const char *provider, const std::string &action, const std::string &what)
{
    const std::string line = std::string(provider) + " " + action + " " + what;
    if (calls.empty() || calls.back() != line) calls.push_back(line);
}

const char *action_on(const vorn_instance *instance)
{
    return vorn_changes_get_instance_before(changes_at_hand, instance) ? "update" : "insert";
}

constexpr const char *providers[] = {"radios", "groups", "family", "routes"};

template <int Provider>
void created(vorn_instance *instance)
{
    note(providers[Provider], "insert", named(*instance));
}

template <int Provider>
void deleted(vorn_instance *instance, vorn_commit_info *)
{
    note(providers[Provider], "delete", named(*instance));
}

template <int Provider>
void changed(vorn_instance *instance, vorn_instance *before, vorn_commit_info *)
{
    if (instance) {
        note(providers[Provider], before ? "update" : "insert", named(*instance));
    } else {
        note(providers[Provider], "delete", named(*before));
    }
}

template <int Provider>
void property_changed(vorn_instance *instance, const char *, const char *, const char *)
{
    note(providers[Provider], action_on(instance), named(*instance));
}

/* Called for its first member, the deleted ones coming first. */
template <int Provider>
void group_changed(vorn_instances *, const char *class_name, const char *group, vorn_commit_info *)
{
    const auto is_member = [&](const vorn_instance *each) {
        return std::string_view(vorn_instance_get_name(each)) == group;
    };
    for (const vorn_instance *each :
         Walk(vorn_changes_new_deleted_class_instances_iterator(changes_at_hand, class_name)))
        if (is_member(each)) return note(providers[Provider], "delete", named(*each));
    for (const vorn_instance *each :
         Walk(vorn_changes_new_class_instances_iterator(changes_at_hand, class_name)))
        if (is_member(each)) return note(providers[Provider], action_on(each), named(*each));
}

void add_committer(int number, void (*fill)(vorn_committer *committer))
{
    vorn_committer *committer = committers.emplace_back(vorn_committer_new()).get();
    fill(committer);
    vorn_provider *provider = vorn_provider_new(providers[number]);
    vorn_provider_set_commit_fn(provider, vorn_committer_fn, committer);
    vorn_providers_add(provider);
}

std::string joined(const std::set<std::string> &values)
{
    std::string all;
    for (const std::string &each : values)
        all += " " + each;
    return all;
}

std::string values_in(const vorn_instance &instance, const vorn_instance *other, const char *label)
{
    std::set<std::string> all;
    for (const auto &[property, value] : vorn::tests::values_of(instance)) {
        const char *others = other ? vorn_instance_get_value(other, property.c_str()) : nullptr;
        if (others && value == others) continue;
        all.insert(property + " " + label + " " + text(value.c_str()));
    }
    return joined(all);
}

/* Asks nobody what was recorded as changed: every instance of both stores is looked at. */
void find_differences(const vorn_commit_info *info)
{
    std::set<const vorn_instance *> gone;
    for (const vorn_instance *each :
         Walk(vorn_instances_new_iterator(vorn_commit_info_get_before(info))))
        gone.insert(each);
    for (const vorn_instance *each :
         Walk(vorn_instances_new_iterator(vorn_commit_info_get_after(info)))) {
        const vorn_instance *before = vorn_changes_get_instance_before(changes_at_hand, each);
        gone.erase(before);
        const std::string was = before ? values_in(*before, each, "before") : "";
        const std::string is = values_in(*each, before, "after");
        if (before && was.empty() && is.empty()) continue;
        differences.push_back((before ? "updated " : "inserted ") + named(*each) + was + is);
    }
    for (const vorn_instance *each : gone)
        differences.push_back("deleted " + named(*each) + values_in(*each, nullptr, "before"));
}

/* The first provider: it sees the change set before the committers need it. */
void commit_own_way(vorn_commit_info *info)
{
    changes_at_hand = vorn_commit_info_get_changes(info);
    find_differences(info);
    for (const vorn_instance *each :
         Walk(vorn_changes_new_deleted_class_instances_iterator(changes_at_hand, nullptr)))
        calls.push_back("own delete " + named(*each));
    for (const vorn_instance *each :
         Walk(vorn_changes_new_class_instances_iterator(changes_at_hand, nullptr)))
        calls.push_back(std::string("own ") + action_on(each) + " " + named(*each));
}

void add_providers()
{
    committers.clear();
    add_committer(3, [](vorn_committer *committer) {
        vorn_committer_set_property_change_fn(committer, "Route", "to", property_changed<3>);
        vorn_committer_set_instance_change_fn(committer, "Board", changed<3>, 0);
    });
    add_committer(0, [](vorn_committer *committer) {
        vorn_committer_set_property_change_fn(committer, "Radio", "channel", property_changed<0>);
        vorn_committer_set_instance_change_fn(committer, "Radio", changed<0>, 1);
    });
    add_committer(1, [](vorn_committer *committer) {
        vorn_committer_set_instance_create_fn(committer, "Radio", created<1>);
        vorn_committer_set_group_change_fn(committer, "Acl", group_changed<1>);
        vorn_committer_set_property_change_fn(committer, "Radio", "mode", property_changed<1>);
    });
    add_committer(2, [](vorn_committer *committer) {
        vorn_committer_set_instance_delete_fn(committer, "Address", deleted<2>);
        vorn_committer_set_property_change_fn(committer, "Tunnel", "peer", property_changed<2>);
        vorn_committer_set_instance_change_fn(committer, "Address", changed<2>, 0);
    });
    vorn_provider *own = vorn_provider_new("own");
    vorn_provider_set_commit_fn(own, commit_own_way, nullptr);
    vorn_providers_add(own);
    for (const char *each : providers)
        vorn_providers_order("own", each);
    vorn_providers_order("family", "groups");
    vorn_providers_order("groups", "radios");
}

/* What an explanation says, as the lines above. */
struct Told {
    Lines calls;
    Lines differences;
    Lines errors;
};

std::string attribute(xmlNode *element, const char *name)
{
    const char *value = vorn_util_xmlGetProp(element, name);
    return value ? value : "none";
}

std::string name_told(xmlNode *element)
{
    return attribute(element, "class") + " " + text(vorn_util_xmlGetProp(element, "name"));
}

std::string_view kind(const xmlNode *element)
{
    return reinterpret_cast<const char *>(element->name);
}

std::string content(const xmlNode *element)
{
    const xmlNode *child = element->children;
    return child ? reinterpret_cast<const char *>(child->content) : "";
}

std::string read_change(xmlNode *change)
{
    std::string line = attribute(change, "action") + " " + name_told(change);
    for (const std::string_view side : {"before", "after"}) {
        std::set<std::string> values;
        for (xmlNode *value = change->children; value; value = value->next) {
            for (xmlNode *each = value->children; each; each = each->next) {
                if (kind(each) != side) continue;
                values.insert(attribute(value, "property") + " " + std::string(side) + " " +
                              text(content(each).c_str()));
            }
        }
        line += joined(values);
    }
    return line;
}

void read_provider(xmlNode *provider, Told &told)
{
    if (attribute(provider, "name") == "recorder") return;
    for (xmlNode *each = provider->children; each; each = each->next) {
        const std::string line =
            attribute(provider, "name") + " " + attribute(each, "action") + " " + name_told(each);
        const bool is_again = !told.calls.empty() && told.calls.back() == line;
        if (!is_again || line.starts_with("own ")) told.calls.push_back(line);
    }
}

Told read(const std::string &answer)
{
    Told told;
    const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> document(
        xmlReadMemory(answer.data(), static_cast<int>(answer.size()), "", nullptr, 0), xmlFreeDoc);
    xmlNode *root = xmlDocGetRootElement(document.get());
    for (xmlNode *each = root->children; each; each = each->next) {
        if (kind(each) == "change") told.differences.push_back(read_change(each));
        if (kind(each) == "provider") read_provider(each, told);
        if (kind(each) == "error" || kind(each) == "refused") told.errors.push_back(content(each));
    }
    return told;
}

Lines sorted(Lines lines)
{
    std::sort(lines.begin(), lines.end());
    return lines;
}

class RandomOperations {
public:
    explicit RandomOperations(unsigned int seed) : random_(seed) {}

    std::string some()
    {
        std::string all;
        for (unsigned int count = below(5) + 1; count > 0; count--)
            all += one();
        return all;
    }

private:
    struct Kind {
        const char *name;
        std::vector<const char *> names; /* none when its instances have none */
        std::vector<const char *> properties;
    };

    unsigned int below(unsigned int limit)
    {
        return std::uniform_int_distribution<unsigned int>(0, limit - 1)(random_);
    }
    template <typename Choices>
    std::string any(const Choices &choices)
    {
        return choices[below(static_cast<unsigned int>(std::size(choices)))];
    }
    std::string value() { return below(60) ? any(std::array{"1", "6", "7", "11"}) : "x"; }

    std::string one()
    {
        static const Kind kinds[] = {{"Board", {}, {"label"}},
                                     {"Radio", {"r0", "r1", "r2", "r3"}, {"channel", "mode"}},
                                     {"Route", {}, {"to"}},
                                     {"Acl", {"guests", "staff", "none"}, {"mac"}},
                                     {"Tunnel", {"t0", "t1"}, {"peer"}},
                                     {"Static", {"lan", "wan"}, {}}};
        const Kind &it = kinds[below(std::size(kinds))];
        const unsigned int what = below(8);
        if (what < 3) return "<update>" + element(it, below(4) > 0) + "</update>" + condition(it);
        if (what < 5)
            return "<delete>" + element(it, below(8) > 0, false) + "</delete>" + condition(it);
        if (what < 7) return "<insert>" + element(it, true) + "</insert>";
        return "<select><Radio properties=\"all\"/></select>";
    }
    std::string element(const Kind &it, bool is_named, bool has_values = true)
    {
        std::string all = std::string("<") + it.name;
        if (is_named && !it.names.empty()) all += " name=\"" + any(it.names) + "\"";
        all += ">";
        for (const char *property : it.properties) {
            if (!has_values || !below(3)) continue;
            all += std::string("<") + property + ">" + value() + "</" + property + ">";
        }
        return all + "</" + it.name + ">";
    }
    std::string condition(const Kind &it)
    {
        if (it.properties.empty() || below(3)) return "";
        return std::string("<where><eq><property>") + it.properties[0] + "</property><value>" +
               value() + "</value></eq></where>";
    }

    std::mt19937 random_;
};

/* Sometimes a check is against it. */
void refuse_two_sevens(QueryTest &, vorn_check_info *info)
{
    int sevens = 0;
    for (const vorn_instance *each :
         Walk(vorn_instances_new_class_iterator(vorn_check_info_get_instances(info), "Radio"))) {
        const char *channel = vorn_instance_get_value(each, "channel");
        if (!channel || std::string_view(channel) != "7" || ++sevens < 2) continue;
        vorn_check_info_refuse(info, each, "channel", "two radios can't have it");
    }
}

class ExplainedTransactions : public QueryTest {
protected:
    ExplainedTransactions() : QueryTest(add_providers) { on_check = refuse_two_sevens; }
    ~ExplainedTransactions() override { committers.clear(); }

    static unsigned int how_many()
    {
        const char *wanted = std::getenv("VORN_EXPLAINED_TRANSACTIONS");
        return wanted ? static_cast<unsigned int>(std::atoi(wanted)) : 1000;
    }

    void explain_and_do(const std::string &operations)
    {
        const std::string before = state();
        const Told told = read(ask("<explain>" + operations + "</explain>"));
        ASSERT_EQ(state(), before);
        ASSERT_EQ(calls, Lines());

        const Told done =
            read(ask("<lsql><write-transaction>" + operations + "</write-transaction></lsql>"));
        ASSERT_EQ(told.errors.empty(), done.errors.empty());
        ASSERT_GE(told.errors.size(), done.errors.size());
        for (std::size_t i = 0; i < done.errors.size(); i++)
            ASSERT_EQ(told.errors[i], done.errors[i]);
        if (!told.errors.empty()) return;
        ASSERT_EQ(sorted(told.differences), sorted(differences));
        ASSERT_EQ(told.calls, calls);
        tally[told.calls.empty() ? "idle" : "busy"]++;
    }

    std::map<std::string, unsigned int> tally;
};

TEST_F(ExplainedTransactions, DoWhatWasSaidAndNothingElse)
{
    RandomOperations random(2026);
    unsigned int refused = 0;
    for (unsigned int i = 0; i < how_many() && !HasFatalFailure(); i++) {
        const std::string operations = random.some();
        SCOPED_TRACE(operations);
        calls.clear();
        differences.clear();
        explain_and_do(operations);
        refused += calls.empty();
        if (i % 50 == 49) renew();
    }
    EXPECT_GT(tally["busy"], how_many() / 3);
    EXPECT_GT(refused, how_many() / 50);
}

} // namespace
