/* SPDX-License-Identifier: MIT */
/* Changes as people write them, made as one transaction. */
#include "change.h"

#include <algorithm>
#include <iostream>
#include <sstream>

#include "advice.h"
#include "failure.h"
#include "text.h"
#include "transaction.h"
#include "view.h"

namespace vorn::client {

namespace {

constexpr int most_attempts = 3; /* somebody else may change the same thing at the same time */

[[noreturn]] void fail_in(const Change &change, ExitStatus status,
                          std::initializer_list<std::string_view> parts)
{
    fail(status, {change.place, concat(parts)});
}

std::string title_of_change(const Change &change, const Target &target)
{
    std::string title = concat({change.place, change.operation, " ", target.class_name});
    if (target.name) title += concat({" \"", *target.name, "\""});
    return title;
}

/* "p=v", or "p+=v" and "p-=v", which change the words of a list. */
struct Assignment {
    std::string property;
    char sign; /* '=', '+' or '-' */
    std::string value;
};

Assignment assignment_of(const Change &change, const std::string &word, bool may_be_secret = false)
{
    const std::size_t separator = word.find('=');
    if (separator == std::string::npos || separator == 0) {
        if (may_be_secret) {
            fail_in(
                change, misused,
                {"what follows a secret is not PROPERTY=VALUE; a value with blanks needs quotes"});
        }
        fail_in(change, misused, {"\"", word, "\" is not PROPERTY=VALUE"});
    }
    const char before = word[separator - 1];
    const bool is_list =
        separator > 1 && change.operation == "set" && (before == '+' || before == '-');
    return {word.substr(0, separator - (is_list ? 1 : 0)), is_list ? before : '=',
            word.substr(separator + 1)};
}

std::vector<std::string> list_of(const std::string &value)
{
    std::istringstream stream(value);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

/* A condition, in the quotes that the value has not. */
std::string equals(const std::string &property, const std::string &value)
{
    const char *quote = value.find('"') == std::string::npos ? "\"" : "'";
    return concat({property, " = ", quote, value, quote});
}

/* What clients may give a new instance. */
Values settable_values(const Schema &schema, const Instance &instance, const Class &klass)
{
    Values values;
    for (const auto &each : instance.values) {
        const Property *property = schema.find_property(klass.name, each.first);
        const bool is_settable = property && (property->writable || property->required);
        if (is_settable && !each.second.empty()) values.push_back(each);
    }
    return values;
}

/* From what somebody wrote to what the daemon is asked for. */
class Planner {
public:
    Planner(Device &device, const Schema &schema, Transaction &transaction, bool replaces)
        : device_(device),
          schema_(schema),
          view_(device, schema),
          transaction_(transaction),
          replaces_(replaces)
    {}

    void plan(const Change &change)
    {
        Target target = target_of(change);
        if (change.operation == "set") plan_set(change, target);
        if (change.operation == "add") plan_add(change, target);
        if (change.operation == "delete") plan_delete(change, target);
        if (change.operation == "unset") plan_unset(change, target);
        if (change.operation == "rename") plan_rename(change, target);
    }

    /* The changes were planned on what is seen; where nothing was looked at nothing matters. */
    std::string commit() { return reads_ ? view_.commit() : ""; }

    struct Title {
        std::string text;
        bool must_match;
    };
    const std::vector<Title> &titles() const { return titles_; }

private:
    /* An "=" in the first word means that there is no name, unless the class has names for sure. */
    bool begins_with_name(const Change &change) const
    {
        if (change.words.empty() || !schema_.may_have_name(change.class_name)) return false;
        return schema_.find(change.class_name) || change.words[0].find('=') == std::string::npos;
    }

    /* A property of the class with a value is one, where a name was forgotten. */
    void expect_name(const Change &change, const Target &target) const
    {
        if (change.operation == "add" && (!target.name || target.name->empty())) {
            if (target.name) fail_in(change, misused, {"a name can't be empty"});
            fail_in(change, misused, {"the name of the new ", target.class_name, " is missing"});
        }
        if (!target.name || (change.operation != "add" && change.operation != "set")) return;
        const std::string &name = *target.name;
        const std::string property =
            name.substr(0, name.find_last_not_of("+-", name.find('=') - 1) + 1);
        if (name.find('=') == std::string::npos || name.find('=') == 0) return;
        if (!schema_.find_property(target.class_name, property)) return;
        fail_in(
            change, misused,
            {"the name of the ", target.class_name, " is missing before \"", property, "=...\""});
    }

    Target target_of(const Change &change)
    {
        Target target = {change.class_name, {}, change.where};
        words_ = change.words;
        if (begins_with_name(change)) {
            if (words_[0] != "-") target.name = words_[0];
            words_.erase(words_.begin());
        }
        const Class *klass = schema_.find(change.class_name);
        if (target.name || (klass && klass->is_named())) expect_name(change, target);
        if (!change.where.empty()) expect_there(change, properties_in(change.where));
        return target;
    }

    /* The class, and these properties of it. */
    void expect_there(const Change &change, const std::vector<std::string> &properties) const
    {
        try {
            expect_properties(schema_, change.class_name, properties);
        } catch (const Failure &failure) {
            fail_in(change, failure.status(), {failure.what()});
        }
    }

    /* The title of one more operation. */
    const std::string &titled(const Change &change, const Target &target, bool must_match)
    {
        titles_.push_back({title_of_change(change, target), must_match});
        return titles_.back().text;
    }
    void update(const Change &change, const Target &target, const Values &values)
    {
        transaction_.update(titled(change, target, true), target, values);
        if (reads_) view_.update(target, values);
    }
    void insert(const Change &change, const Target &target, const Values &values,
                const std::string &secrets_of = {})
    {
        transaction_.insert(titled(change, target, false), target, values, secrets_of);
        if (reads_) view_.insert(target, values);
    }
    void remove(const Change &change, const Target &target)
    {
        transaction_.remove(titled(change, target, true), target);
        if (reads_) view_.remove(target);
    }

    std::vector<Instance> look_up(const Change &change, const Target &target)
    {
        reads_ = true;
        std::vector<Instance> found = view_.find(target);
        if (found.empty()) {
            fail(differs,
                 {title_of_change(change, target), ": there is no such instance",
                  did_you_mean(target.name.value_or(""), names_of(device_, target.class_name))});
        }
        return found;
    }

    /* A word without "=" may be the end of a secret that was not quoted. */
    std::vector<Assignment> assignments(const Change &change, const Target &target) const
    {
        std::vector<Assignment> all;
        bool may_be_secret = false;
        for (const std::string &word : words_) {
            all.push_back(assignment_of(change, word, may_be_secret));
            may_be_secret = may_be_secret || !schema_.known() ||
                            schema_.is_secret(target.class_name, all.back().property);
        }
        return all;
    }

    void plan_set(const Change &change, const Target &target)
    {
        Values values;
        std::vector<Assignment> lists;
        for (const Assignment &assignment : assignments(change, target)) {
            if (assignment.sign == '=') {
                values.emplace_back(assignment.property, assignment.value);
            } else {
                lists.push_back(assignment);
            }
        }
        if (words_.empty()) fail_in(change, misused, {"nothing to set: PROPERTY=VALUE is missing"});
        if (lists.empty()) return update(change, target, values);
        for (const Assignment &list : lists)
            expect_there(change, {list.property});
        for (const Instance &each : look_up(change, target)) {
            const Target one = {target.class_name, each.name, {}};
            Values changed = values;
            for (const Assignment &list : lists)
                changed.emplace_back(list.property, changed_list(change, one, each, list));
            update(change, one, changed);
        }
    }

    std::string changed_list(const Change &change, const Target &target, const Instance &instance,
                             const Assignment &assignment)
    {
        const Class *klass = schema_.find(target.class_name);
        if (klass && (klass->type == "anonymous" || klass->type == "group-named")) {
            fail_in(change, misused, {"+= and -= need an instance with a name of its own"});
        }
        std::vector<std::string> words = list_of(instance.value(assignment.property));
        for (const std::string &word : list_of(assignment.value)) {
            const bool is_there = contains(words, word);
            if (assignment.sign == '+' && !is_there) words.push_back(word);
            if (assignment.sign == '-' && !is_there) {
                fail(differs, {title_of_change(change, target), ": ", assignment.property,
                               " has no \"", word, "\""});
            }
            if (assignment.sign == '-') std::erase(words, word);
        }
        return joined(words, " ");
    }

    /* A member of a family is added to its abstract class, which has to be told the kind. */
    void plan_add(const Change &change, Target target)
    {
        if (!change.where.empty()) fail_in(change, misused, {"a new instance has no condition"});
        Values values;
        for (const Assignment &assignment : assignments(change, target))
            values.emplace_back(assignment.property, assignment.value);
        const Class *klass = schema_.find(target.class_name);
        if (klass && klass->type != "singleton" && !schema_.is_for_clients(*klass)) {
            fail(refused, {title_of_change(change, target), ": only the device itself makes one"});
        }
        const Class *family = klass ? schema_.find(klass->superclass) : nullptr;
        if (family && !family->subclass_identifier.empty()) {
            const std::string &identifier = family->subclass_identifier;
            const std::string *given = value_of(values, identifier);
            if (!given) {
                values.insert(values.begin(), {identifier, klass->name});
            } else if (*given != klass->name) {
                fail_in(change, misused,
                        {"a ", klass->name, " has the ", identifier, " \"", klass->name,
                         "\", not \"", *given, "\""});
            }
            target.class_name = family->name;
        }
        if (change.or_set && exists(change, target)) return set_instead(change, target, values);
        insert(change, target, values);
    }

    bool exists(const Change &change, const Target &target)
    {
        const Class *klass = schema_.find(target.class_name);
        if (klass && (klass->type == "anonymous" || klass->type == "group-named")) {
            fail_in(change, misused, {"--or-set needs an instance with a name of its own"});
        }
        reads_ = true;
        return !view_.find(target).empty();
    }

    /* The kind stays what it is: naming the same again is no change. */
    void set_instead(const Change &change, const Target &target, Values values)
    {
        const Class *klass = schema_.find(target.class_name);
        const Instance there = view_.find(target).front();
        std::erase_if(values, [&](const auto &each) {
            return klass && each.first == klass->subclass_identifier &&
                   each.second == there.value(each.first);
        });
        if (values.empty()) return transaction_.look_at(target);
        update(change, target, values);
    }

    void plan_delete(const Change &change, const Target &target)
    {
        expect_there(change, {});
        const bool picks = target.name || !change.where.empty();
        if (!words_.empty()) {
            assignment_of(change, words_[0]);
            fail_in(change, misused, {"delete takes no values; --where picks instances by value"});
        }
        if (picks && change.all)
            fail_in(change, misused, {"--all and a name or a condition contradict each other"});
        if (!picks && !change.all) {
            fail_in(change, misused,
                    {"which ", change.class_name, "? A name, --where or --all says so"});
        }
        remove(change, target);
    }

    /*
     * An empty text is no value for most who ask. Where the plugin takes none the instance is made
     * again without the property.
     */
    void plan_unset(const Change &change, const Target &target)
    {
        if (words_.empty()) fail_in(change, misused, {"nothing to unset: PROPERTY is missing"});
        Values values;
        for (const std::string &word : words_) {
            if (word.find('=') != std::string::npos)
                fail_in(change, misused, {"unset takes no values"});
            values.emplace_back(word, "");
        }
        const Class *klass = schema_.find(target.class_name);
        const bool is_one =
            klass && (target.name ? klass->type == "unique-named" : klass->type == "singleton");
        if (!replaces_ || !is_one) return update(change, target, values);
        Instance instance = look_up(change, target).front();
        for (const std::string &word : words_)
            instance.set(word, "");
        const Target whole = {schema_.family_of(target.class_name), target.name, {}};
        remove(change, whole);
        insert(change, whole, settable_values(schema_, instance, *klass));
    }

    /* The name of an instance with secrets, which is not told them but may hand them on. */
    std::string secrets_of(const Instance &instance) const
    {
        const bool has_secret =
            std::any_of(instance.values.begin(), instance.values.end(), [&](const auto &each) {
                return !each.second.empty() && schema_.is_secret(instance.class_name, each.first);
            });
        return has_secret ? instance.name.value_or("") : "";
    }

    void plan_rename(const Change &change, const Target &target)
    {
        if (!target.name || words_.size() != 1) {
            fail_in(change, misused, {"rename takes a class, a name and the new name"});
        }
        if (words_[0].empty()) fail_in(change, misused, {"a name can't be empty"});
        expect_there(change, {});
        const Class *klass = schema_.find(target.class_name);
        if (!klass) {
            fail_in(change, differs,
                    {"this device has no class \"", target.class_name, "\" that it tells of"});
        }
        const std::string new_name = words_[0];
        const std::vector<Instance> instances = look_up(change, target);
        const std::string family = schema_.family_of(klass->name);
        for (const Instance &each : instances)
            insert(change, {family, new_name, {}},
                   settable_values(schema_, each, *schema_.find(family)), secrets_of(each));
        for (const Class &each : schema_.classes())
            follow(change, each, *target.name, new_name);
        remove(change, {family, target.name, {}});
    }

    /* Every property of the class that refers to the renamed class, or to its family. */
    void follow(const Change &change, const Class &klass, const std::string &old_name,
                const std::string &new_name)
    {
        if (klass.abstract) return;
        for (const Property &property : klass.properties) {
            const bool refers =
                schema_.family_of(property.references) == schema_.family_of(change.class_name);
            if (property.references.empty() || !refers || !property.writable) continue;
            std::vector<std::string> seen;
            for (const Instance &each : view_.find({klass.name, {}, {}})) {
                if (!each.has(property.name)) continue;
                const std::string value = each.value(property.name);
                std::vector<std::string> words = list_of(value);
                if (!contains(words, old_name) || contains(seen, value)) continue;
                seen.push_back(value);
                std::ranges::replace(words, old_name, new_name);
                const Target referrers = {klass.name, {}, equals(property.name, value)};
                transaction_.update(titled(change, referrers, false), referrers,
                                    {{property.name, joined(words, " ")}});
            }
        }
    }

    Device &device_;
    const Schema &schema_;
    View view_;
    Transaction &transaction_;
    bool replaces_;
    bool reads_ = false;
    std::vector<std::string> words_;
    std::vector<Title> titles_;
};

/* Says what had no effect; the daemon finds nothing wrong with that where no name was given. */
int report_unmatched(const Planner &planner, const Transaction &transaction)
{
    int status = done;
    const std::size_t known = std::min(planner.titles().size(), transaction.outcomes().size());
    for (std::size_t i = 0; i < known; i++) {
        const Planner::Title &title = planner.titles()[i];
        if (!title.must_match || transaction.outcomes()[i].counter > 0) continue;
        std::cerr << "vornctl: " << title.text << ": there is no such instance\n";
        status = differs;
    }
    return status;
}

int attempt(Device &device, const Schema &schema, const Options &options,
            const std::vector<Change> &changes, bool replaces)
{
    Transaction transaction(schema, options);
    Planner planner(device, schema, transaction, replaces);
    for (const Change &change : changes)
        planner.plan(change);
    transaction.only_if(planner.commit());
    const int status = transaction.execute(device);
    const int unmatched = report_unmatched(planner, transaction);
    return status != done ? status : unmatched;
}

bool refuses_the_empty_text(const Failure &failure)
{
    return failure.status() == refused &&
           std::string_view(failure.what()).find("Value \"\" is not valid") != std::string::npos;
}

} // namespace

const std::vector<std::string> &change_verbs()
{
    static const std::vector<std::string> verbs = {"set", "unset", "add", "delete", "rename"};
    return verbs;
}

Change change_of(const Invocation &invocation, const std::string &place)
{
    return {invocation.verb->name,
            invocation.word(0),
            invocation.words_from(1),
            invocation.value("--where"),
            invocation.has("--all"),
            invocation.has("--or-set"),
            place};
}

int make_change(const Invocation &invocation)
{
    return make_changes(invocation.options, {change_of(invocation, "")});
}

int make_changes(const Options &options, const std::vector<Change> &changes)
{
    Device device(options.timeout_ms());
    const Schema schema = Schema::of(device);
    const bool unsets =
        std::ranges::any_of(changes, [](const Change &each) { return each.operation == "unset"; });
    bool replaces = false;
    for (int attempts = 1;; attempts++) {
        try {
            return attempt(device, schema, options, changes, replaces);
        } catch (const MovedOn &) {
            if (attempts == most_attempts) throw;
        } catch (const Failure &failure) {
            if (replaces || !unsets || !refuses_the_empty_text(failure)) throw;
            replaces = true;
        }
    }
}

} // namespace vorn::client
