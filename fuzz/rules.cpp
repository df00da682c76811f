/* SPDX-License-Identifier: MIT */
/*
 * Rules of who may do what, held against a reader of their texts and one plain search among them.
 * The first line is who asks: a name that the gate speaks for, or "#" for a user of the system.
 * Each other line is a rule: name, order, subject, class, properties, operations, effect, with "|"
 * between them. One that makes no sense makes the whole list one that is not used.
 */
#include "vorn/class.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "access/view.h"
#include "fuzz/board.h"
#include "fuzz/target.h"

namespace {

using vorn::AccessRules;
using vorn::AccessView;
using vorn::Right;
using vorn::Subject;
using vorn::fuzz::require;

constexpr std::uint32_t user = 4242424242; /* nobody in any file has it */
constexpr std::uint32_t group = 4242424243;
const char *const fields[] = {"order", "subject", "class", "properties", "operations", "effect"};
const char *const operations[] = {"read", "insert", "update", "delete", "confirm", "inform"};

using Values = std::map<std::string, std::string>;

/* Before the board, which lets nobody declare anything after it. */
void declare()
{
    static bool is_declared = false;
    if (std::exchange(is_declared, true)) return;
    vorn_class *rule = vorn_class_new(vorn::access_rule_class);
    vorn_class_set_type(rule, VORN_CLASS_UNIQUE_NAMED);
    for (const char *field : fields) {
        vorn_property *property = vorn_property_new(field);
        vorn_property_set_is_valid_fn(property, [](const char *) { return 1; });
        require(vorn_class_add_property(rule, property) == 0, "a property fits");
    }
    require(vorn_classes_add(rule) == 0, "the class of rules can be added");
    vorn::fuzz::set_up_board();
}

std::string_view take_until(std::string_view &rest, char separator)
{
    const std::size_t end = std::min(rest.find(separator), rest.size());
    const std::string_view part = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return part;
}

std::vector<std::string> words_of(std::string_view text)
{
    std::vector<std::string> words;
    while (!text.empty()) {
        const std::string_view word = take_until(text, ' ');
        if (!word.empty()) words.emplace_back(word);
    }
    return words;
}

bool is_one_of(const std::string &word, const std::vector<std::string> &words)
{
    return std::find(words.begin(), words.end(), word) != words.end();
}

/* Digits, up to a number that nobody needs. */
bool is_order(std::string text)
{
    if (text.empty() || text.find_first_not_of("0123456789") != text.npos) return false;
    text.erase(0, std::min(text.find_first_not_of('0'), text.size() - 1));
    return text.size() <= 8 && std::stoul(text) / 10 <= 1'000'000;
}

/* Each part in the words of docs/rights.md. */
bool makes_sense(Values &rule)
{
    const std::string &order = rule["order"];
    const std::string &subject = rule["subject"];
    const std::vector<std::string> done = words_of(rule["operations"]);
    const bool has_subject =
        subject == "any" ||
        std::ranges::any_of(std::vector{"user:", "group:", "gate:"}, [&](auto kind) {
            return subject.starts_with(kind) && subject != kind;
        });
    return is_order(order) && has_subject && !rule["class"].empty() && rule["class"] != "inform:" &&
           !done.empty() &&
           std::ranges::all_of(done,
                               [](const std::string &word) {
                                   return word == "*" || std::ranges::find(operations, word) !=
                                                             std::end(operations);
                               }) &&
           (rule["effect"] == "permit" || rule["effect"] == "deny");
}

struct Asker {
    std::string gate_name; /* empty for a user of the system */

    bool is_meant(const std::string &subject) const
    {
        if (subject == "any") return true;
        if (!gate_name.empty()) return subject == "gate:" + gate_name;
        return subject == "user:" + std::to_string(user) ||
               subject == "group:" + std::to_string(group);
    }
};

/* What the first rule that is about it says; everything may be done where none is. */
bool may(std::map<std::pair<unsigned long, std::string>, Values> &rules, const Asker &asker,
         const std::string &operation, const std::string &target, const std::string &property)
{
    for (auto &[place, rule] : rules) {
        const std::vector<std::string> done = words_of(rule["operations"]);
        const std::vector<std::string> properties = words_of(rule["properties"]);
        const bool is_of_door = rule["class"].starts_with("inform:");
        const bool is_all = rule["class"] == (operation == "inform" ? "inform:*" : "*");
        const bool is_target = is_all || rule["class"] == target;
        const bool is_property = operation == "inform" || rule["properties"].empty() ||
                                 rule["properties"] == "*" || is_one_of(property, properties);
        if (asker.is_meant(rule["subject"]) && is_of_door == (operation == "inform") && is_target &&
            is_property && (is_one_of("*", done) || is_one_of(operation, done)))
            return rule["effect"] == "permit";
    }
    return true;
}

struct DeleteAll {
    void operator()(vorn_instances *each) const { vorn_instances_delete_all(each); }
};
using Store = std::unique_ptr<vorn_instances, DeleteAll>;

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    std::string_view rest = vorn::fuzz::as_text(data, size);
    if (rest.find('\0') != rest.npos) return 0;
    declare();
    const std::string_view name = take_until(rest, '\n');
    Asker asker;
    Subject subject;
    if (name != "#") {
        asker.gate_name = name;
        if (!vorn::is_gate_name(asker.gate_name.c_str())) return 0;
        asker.gate_name.copy(subject.gate_name, Subject::longest_gate_name);
    } else {
        subject.uid = user;
        subject.gid = group;
        subject.knows_groups = true;
    }

    const Store store(vorn_instances_new());
    std::map<std::pair<unsigned long, std::string>, Values> rules;
    bool make_sense = true;
    while (!rest.empty()) {
        std::string_view line = take_until(rest, '\n');
        const std::string rule_name(take_until(line, '|'));
        if (rule_name.empty()) continue;
        vorn_instance *instance =
            vorn_instance_new(vorn_classes_get(vorn::access_rule_class), rule_name.c_str());
        Values rule;
        for (const char *field : fields) {
            rule[field] = take_until(line, '|');
            require(vorn_instance_set_value(instance, field, rule[field].c_str()) == 0,
                    "any value is taken");
        }
        if (vorn_instances_add(store.get(), instance) != 0) {
            vorn_instance_delete(instance);
            continue;
        }
        const bool is_right = makes_sense(rule);
        make_sense = make_sense && is_right;
        if (is_right) rules[{std::stoul(rule["order"]), rule_name}] = rule;
    }

    vorn::Owned<AccessRules> read;
    const vorn::Outcome outcome = AccessRules::read(store.get(), read);
    require((outcome == vorn::Outcome::done) == make_sense,
            "a list is used when all of it makes sense");
    if (outcome != vorn::Outcome::done) return 0;

    AccessView view;
    require(view.begin(subject, *read), "there is memory");
    for (const char *object : {"radio", "reboot"})
        require(view.may_inform(object) ==
                    may(rules, asker, "inform", std::string("inform:") + object, ""),
                "the inform door does what the rules say");
    for (const vorn::fuzz::ClassPlan &plan : vorn::fuzz::class_plans()) {
        if (!plan.superclass.empty() || !plan.identifier.empty()) continue;
        const vorn::ClassRights &rights = view.of(*vorn_classes_get(plan.name.c_str()));
        for (const vorn::fuzz::PropertyPlan &each : plan.properties) {
            require(rights.may_read(each.name.c_str()) ==
                        may(rules, asker, "read", plan.name, each.name),
                    "what may be read is what the rules say");
            require(!rights.not_updatable.contains(each.name.c_str()) ==
                        may(rules, asker, "update", plan.name, each.name),
                    "what may be changed is what the rules say");
        }
    }
    return 0;
}
