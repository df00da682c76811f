/* SPDX-License-Identifier: MIT */
/* What a change would do, for people and for programs. */
#include "explanation.h"

#include <algorithm>
#include <iostream>
#include <iterator>

#include "differences.h"
#include "text.h"

namespace vorn::client {

namespace {

constexpr std::size_t most_listed = 6; /* instances of one provider, for people */

Instance instance_in(const pugi::xml_node &element)
{
    Instance instance = {element.attribute("class").value(), {}, {}};
    if (const pugi::xml_attribute name = element.attribute("name")) instance.name = name.value();
    return instance;
}

Difference change_in(const pugi::xml_node &change)
{
    const std::string_view action = change.attribute("action").value();
    Instance before = instance_in(change);
    Instance after = before;
    for (const pugi::xml_node &value : change.children("value")) {
        const char *property = value.attribute("property").value();
        if (value.child("before")) before.set(property, value.child("before").text().get());
        if (value.child("after")) after.set(property, value.child("after").text().get());
    }
    if (action == "inserted") return {Difference::Kind::added, {}, {after}};
    if (action == "deleted") return {Difference::Kind::removed, {before}, {}};
    return {Difference::Kind::changed, {before}, {after}};
}

bool has_text(const Instance &instance)
{
    return std::any_of(instance.values.begin(), instance.values.end(),
                       [](const auto &each) { return !each.second.empty(); });
}

/* A word that a plugin has heard and forgotten, say, is no change that anybody would see. */
bool is_visible(const Difference &change)
{
    return change.kind != Difference::Kind::changed || has_text(change.before[0]) ||
           has_text(change.after[0]);
}

Explanation::Provider provider_in(const pugi::xml_node &element)
{
    Explanation::Provider provider = {element.attribute("name").value(), {}, {}};
    for (const pugi::xml_node &each : element.children("instance"))
        provider.told.push_back({each.attribute("action").value(), instance_in(each)});
    for (const pugi::xml_node &each : element.children("effect"))
        provider.effects.push_back(
            {each.attribute("weight").value(), provider.name, each.text().get()});
    return provider;
}

constexpr std::string_view weights[] = {"restarts the device", "interrupts", "live", "nothing"};

/* A weight that is not known may be worse than all others. */
std::size_t rank_of(const std::string &weight)
{
    std::size_t rank = std::size(weights);
    while (rank > 0 && weights[rank - 1] != weight)
        rank--;
    return rank;
}

std::vector<Explanation::Effect> heaviest_first(const Explanation &explanation)
{
    std::vector<Explanation::Effect> effects;
    for (std::size_t rank = 0; rank <= std::size(weights); rank++) {
        for (const Explanation::Provider &provider : explanation.providers) {
            for (const Explanation::Effect &each : provider.effects)
                if (rank_of(each.weight) == rank) effects.push_back(each);
        }
    }
    return effects;
}

void print_row(std::string_view first, std::size_t width, std::string_view rest)
{
    std::cout << "  " << first << std::string(width - std::min(width, first.size()) + 2, ' ')
              << rest << '\n';
}

void print_effects(const std::vector<Explanation::Effect> &effects)
{
    std::size_t width = 0;
    for (const Explanation::Effect &each : effects)
        width = std::max(width, each.weight.size());
    std::cout << "What it does:\n";
    for (const Explanation::Effect &each : effects)
        print_row(each.weight, width, concat({shown(each.provider), ": ", shown(each.sentence)}));
}

std::string list_of(const std::vector<Explanation::Told> &told)
{
    std::string list;
    for (std::size_t i = 0; i < told.size() && i < most_listed; i++)
        list += concat({i > 0 ? ", " : "", told[i].action, " ", title_of(told[i].instance)});
    if (told.size() > most_listed)
        list += concat({" and ", std::to_string(told.size() - most_listed), " more"});
    return list;
}

void print_providers(const std::vector<Explanation::Provider> &providers)
{
    std::size_t width = 0;
    for (const Explanation::Provider &each : providers)
        width = std::max(width, each.name.size());
    std::cout << "Who is told, in this order:\n";
    for (const Explanation::Provider &each : providers) {
        if (!each.told.empty()) print_row(shown(each.name), width, list_of(each.told));
    }
}

void print_for_people(const Output &output, const Explanation &explanation)
{
    const std::vector<Explanation::Effect> effects = heaviest_first(explanation);
    const bool is_anybody_told =
        std::ranges::any_of(explanation.providers,
                            [](const Explanation::Provider &each) { return !each.told.empty(); });
    if (explanation.changes.empty()) std::cout << "Nothing changes.\n";
    print(output, explanation.changes);
    if (!effects.empty()) print_effects(effects);
    if (is_anybody_told) print_providers(explanation.providers);
}

void write_instance(JsonWriter &json, const Instance &instance)
{
    json.member("class", instance.class_name);
    if (instance.name) json.member("name", *instance.name);
}

void write_change(JsonWriter &json, const Difference &change)
{
    const bool is_new = change.before.empty();
    const bool is_gone = change.after.empty();
    json.open_object();
    json.member("action", is_new ? "insert" : is_gone ? "delete" : "update");
    write_instance(json, is_new ? change.after[0] : change.before[0]);
    json.name("before");
    write_values(json, is_new ? Values() : change.before[0].values);
    json.name("after");
    write_values(json, is_gone ? Values() : change.after[0].values);
    json.close_object();
}

void write_provider(JsonWriter &json, const Explanation::Provider &provider)
{
    json.open_object();
    json.member("name", provider.name);
    json.name("instances");
    json.open_list();
    for (const Explanation::Told &each : provider.told) {
        json.open_object();
        json.member("action", each.action);
        write_instance(json, each.instance);
        json.close_object();
    }
    json.close_list();
    json.name("effects");
    json.open_list();
    for (const Explanation::Effect &each : provider.effects) {
        json.open_object();
        json.member("weight", each.weight);
        json.member("effect", each.sentence);
        json.close_object();
    }
    json.close_list();
    json.close_object();
}

void print_as_json(const Explanation &explanation)
{
    JsonWriter json(json_indentation);
    json.open_object();
    json.name("changes");
    json.open_list();
    for (const Difference &each : explanation.changes)
        write_change(json, each);
    json.close_list();
    json.name("refused");
    json.open_list();
    for (const std::string &each : explanation.refused)
        json.text(each);
    json.close_list();
    json.name("providers");
    json.open_list();
    for (const Explanation::Provider &each : explanation.providers)
        write_provider(json, each);
    json.close_list();
    json.close_object();
    std::cout << json.document() << '\n';
}

} // namespace

bool Explanation::is_one(const std::string &answer)
{
    pugi::xml_document document;
    parse_document(document, answer, "the answer");
    return !document.child("explanation").empty();
}

Explanation Explanation::of(const std::string &answer)
{
    pugi::xml_document document;
    parse_document(document, answer, "the answer");
    Explanation explanation;
    for (const pugi::xml_node &node : document.child("explanation").children()) {
        const std::string_view name = node.name();
        if (name == "change") {
            const Difference change = change_in(node);
            if (is_visible(change)) explanation.changes.push_back(change);
        }
        if (name == "error") {
            explanation.errors.push_back(
                {node.attribute("operation").as_uint(), node.text().get()});
        }
        if (name == "refused") explanation.refused.emplace_back(node.text().get());
        if (name == "provider") explanation.providers.push_back(provider_in(node));
    }
    return explanation;
}

void print(const Output &output, const Explanation &explanation, const std::string &answer)
{
    if (output.format == Format::json) return print_as_json(explanation);
    if (output.format == Format::table) return print_for_people(output, explanation);
    std::cout << answer;
}

} // namespace vorn::client
