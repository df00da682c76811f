/* SPDX-License-Identifier: MIT */
/* Whole configurations: read from the device and from files, written, compared. */
#include "configuration.h"

#include <algorithm>
#include <map>
#include <sstream>

#include "failure.h"
#include "output.h"

namespace vorn::client {

namespace {

/* Which instances are compared with one another: class and, where there is one, name. */
struct Key {
    std::string class_name;
    std::string name;
    auto operator<=>(const Key &) const = default;
};

struct Pair {
    std::vector<Instance> before;
    std::vector<Instance> after;
};

Key key_of(const Instance &instance)
{
    return {instance.class_name, instance.called()};
}

/* An unset value and an empty one look alike in an answer. */
Values values_set(const Instance &instance)
{
    Values values;
    for (const auto &each : instance.values) {
        if (!each.second.empty()) values.insert(std::ranges::upper_bound(values, each), each);
    }
    return values;
}

bool are_equal(const std::vector<Instance> &left, const std::vector<Instance> &right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](const Instance &one, const Instance &other) {
                          return values_set(one) == values_set(other);
                      });
}

/* The daemon makes a singleton without values at every boot, saved or not. */
bool is_empty_singleton(const std::vector<Instance> &instances, const Schema &schema)
{
    const Class *klass = schema.find(instances.front().class_name);
    return klass && klass->type == "singleton" && values_set(instances.front()).empty();
}

} // namespace

std::string saved_document(Device &device)
{
    std::string reply = device.ask("<get_conf/>");
    pugi::xml_document document;
    parse_document(document, reply, "the saved configuration");
    if (const pugi::xml_node error = document.child("error")) {
        fail(refused, {error.text().get()});
    }
    return reply;
}

Configuration parse_configuration(const std::string &text, const char *source)
{
    pugi::xml_document document;
    parse_document(document, text, source);
    const pugi::xml_node root = document.child("config");
    if (!root) fail(misused, {source, ": the root is not \"config\""});
    return parse_instances(root);
}

Configuration running_configuration(Device &device, const Schema &schema)
{
    Configuration configuration;
    Progress progress("Reading class", schema.classes().size());
    for (const Class &klass : schema.classes()) {
        progress.step();
        if (!klass.persistent || !klass.superclass.empty()) continue;
        Request request(Request::Kind::plain);
        request.select({klass.name, {}, {}}, {});
        const std::vector<Outcome> outcomes = parse_answer(device.ask(request.text()));
        if (outcomes.empty() || outcomes[0].rc != 0) {
            fail(outcomes.empty() ? no_answer : refused,
                 {klass.name, ": ", outcomes.empty() ? "no answer" : outcomes[0].error});
        }
        for (const Instance &instance : outcomes[0].instances) {
            Instance kept = {klass.name, instance.name, {}};
            for (const auto &value : instance.values) {
                const Property *property = schema.find_property(klass.name, value.first);
                if (property && property->persistent && !value.second.empty()) {
                    kept.values.push_back(value);
                }
            }
            configuration.push_back(kept);
        }
    }
    return configuration;
}

std::string present_commit(Device &device)
{
    Request request(Request::Kind::plain);
    request.ask_for_commit();
    request.select({"schema-class", "none", {}}, {"none"});
    return commit_of(device.ask(request.text()));
}

Snapshot snapshot(Device &device, const Schema &schema)
{
    constexpr int most_attempts = 3;
    Snapshot result;
    result.commit = present_commit(device);
    for (int attempt = 0; attempt < most_attempts; attempt++) {
        const std::string before = result.commit;
        result.configuration = running_configuration(device, schema);
        result.commit = present_commit(device);
        if (is_same_commit(before, result.commit)) break;
    }
    return result;
}

std::string commit_of_file(const std::string &text)
{
    pugi::xml_document document;
    document.load_buffer(text.data(), text.size());
    return document.child("config").attribute("commit").value();
}

std::string configuration_document(const Configuration &configuration, const std::string &commit)
{
    pugi::xml_document document;
    pugi::xml_node root = document.append_child("config");
    if (!commit.empty()) root.append_attribute("commit").set_value(commit.c_str());
    for (const Instance &instance : configuration) {
        pugi::xml_node element = root.append_child(instance.class_name.c_str());
        if (instance.name) set_name(element, *instance.name);
        for (const auto &[property, value] : instance.values) {
            set_text(element.append_child(property.c_str()), value);
        }
    }
    std::ostringstream text;
    document.save(text, "  ", pugi::format_indent | pugi::format_no_escapes);
    return text.str();
}

std::vector<Difference> compare(const Configuration &before, const Configuration &after,
                                const Schema &schema)
{
    std::vector<Key> order;
    std::map<Key, Pair> pairs;
    const auto gather = [&](const Configuration &configuration, auto side) {
        for (const Instance &instance : configuration) {
            const auto [found, is_new] = pairs.try_emplace(key_of(instance));
            if (is_new) order.push_back(found->first);
            (found->second.*side).push_back(instance);
        }
    };
    gather(before, &Pair::before);
    gather(after, &Pair::after);

    std::vector<Difference> differences;
    for (const Key &key : order) {
        const Pair &pair = pairs[key];
        if (are_equal(pair.before, pair.after)) continue;
        const bool one_side = pair.before.empty() || pair.after.empty();
        if (one_side &&
            is_empty_singleton(pair.before.empty() ? pair.after : pair.before, schema)) {
            continue;
        }
        const Difference::Kind kind = pair.after.empty()    ? Difference::Kind::removed
                                      : pair.before.empty() ? Difference::Kind::added
                                                            : Difference::Kind::changed;
        differences.push_back({kind, pair.before, pair.after});
    }
    return differences;
}

} // namespace vorn::client
