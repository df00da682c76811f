/* SPDX-License-Identifier: MIT */
/*
 * From the instances of two classes to a list of rules. What it protects: a rule that is not
 * understood, or that memory did not suffice for, makes the whole list one that cannot be used.
 */
#include "access/rules.h"

#include "core/base/file.h"
#include "model/instance_record.h"
#include "model/instances_walk.h"
#include "vorn/class.h"

#include <cstring>
#include <utility>

namespace vorn {

namespace {

constexpr char inform_prefix[] = "inform:";
constexpr char everything[] = "*";
constexpr char blank[] = " ";

/* Whether a text begins so; goes past it. */
bool takes(const char *&text, const char *prefix)
{
    const std::size_t length = std::strlen(prefix);
    if (std::strncmp(text, prefix, length) != 0) return false;
    text += length;
    return true;
}

bool is(const char *text, const char *word)
{
    return std::strcmp(text, word) == 0;
}

const char *value_in(const vorn_instance &instance, const char *property)
{
    return or_empty(vorn_instance_get_value(&instance, property));
}

/* A text that is there is kept; an empty one means that something is missing. */
Outcome keep(Text &place, const char *text)
{
    if (*text == '\0') return Outcome::refused;
    place = copy_of(text);
    return place ? Outcome::done : Outcome::out_of_memory;
}

Outcome read_subject(AccessRule &rule, const char *text)
{
    using Whom = AccessRule::Whom;
    constexpr std::pair<const char *, Whom> kinds[] = {
        {"user:", Whom::user}, {"group:", Whom::group}, {"gate:", Whom::gate}};
    if (is(text, "any")) return Outcome::done;
    for (auto [prefix, whom] : kinds) {
        if (!takes(text, prefix)) continue;
        rule.whom = whom;
        return keep(rule.subject, text);
    }
    return Outcome::refused;
}

Outcome read_target(AccessRule &rule, const char *text)
{
    using What = AccessRule::What;
    const bool is_object = takes(text, inform_prefix);
    if (is(text, everything)) {
        rule.what = is_object ? What::any_object : What::any_class;
        return Outcome::done;
    }
    rule.what = is_object ? What::one_object : What::one_class;
    return keep(rule.target, text);
}

/* Calls back for each word between blanks, until one is not done. */
template <typename Call>
Outcome for_each_word(const char *text, Call call)
{
    const Text copy = copy_of(text);
    if (!copy) return Outcome::out_of_memory;
    char *rest = const_cast<char *>(copy.get());
    while (const char *word = strsep(&rest, blank)) {
        if (*word == '\0') continue;
        const Outcome outcome = call(word);
        if (outcome != Outcome::done) return outcome;
    }
    return Outcome::done;
}

Outcome read_properties(AccessRule &rule, const char *text)
{
    constexpr unsigned int buckets = 8;
    if (*text == '\0' || is(text, everything)) return Outcome::done;
    if (!rule.properties.create(buckets)) return Outcome::out_of_memory;
    return for_each_word(text, [&](const char *word) {
        return rule.properties.add(word) ? Outcome::done : Outcome::out_of_memory;
    });
}

Outcome read_rights(AccessRule &rule, const char *text)
{
    constexpr std::pair<const char *, unsigned int> words[] = {{"read", bit(Right::read)},
                                                               {"insert", bit(Right::insert)},
                                                               {"update", bit(Right::update)},
                                                               {"delete", bit(Right::remove)},
                                                               {"confirm", bit(Right::confirm)},
                                                               {"inform", bit(Right::inform)},
                                                               {everything, ~0U}};
    const Outcome outcome = for_each_word(text, [&](const char *word) {
        for (auto [name, bits] : words) {
            if (!is(word, name)) continue;
            rule.rights |= bits;
            return Outcome::done;
        }
        return Outcome::refused;
    });
    return outcome == Outcome::done && rule.rights == 0 ? Outcome::refused : outcome;
}

Outcome read_effect(bool &permits, const char *text)
{
    permits = is(text, "permit");
    return permits || is(text, "deny") ? Outcome::done : Outcome::refused;
}

Outcome read_order(AccessRule &rule, const char *text)
{
    if (*text == '\0') return Outcome::refused;
    for (; *text; text++) {
        if (*text < '0' || *text > '9' || rule.order > 1'000'000) return Outcome::refused;
        rule.order = 10 * rule.order + static_cast<unsigned long>(*text - '0');
    }
    return Outcome::done;
}

using ReadPart = Outcome (*)(AccessRule &rule, const char *text);

constexpr std::pair<const char *, ReadPart> parts[] = {
    {"order", read_order},
    {"subject", read_subject},
    {"class", read_target},
    {"properties", read_properties},
    {"operations", read_rights},
    {"effect", [](AccessRule &rule, const char *text) { return read_effect(rule.permits, text); }},
};

} // namespace

bool is_about_access(const char *class_name)
{
    return is(class_name, access_rule_class) || is(class_name, access_default_class);
}

bool AccessRule::is_before(const AccessRule &other) const
{
    if (order != other.order) return order < other.order;
    return std::strcmp(name.get(), other.name.get()) < 0;
}

AccessRules::~AccessRules()
{
    while (first_)
        delete std::exchange(first_, first_->next);
}

Outcome AccessRules::add(const vorn_instance &instance)
{
    Owned<AccessRule> rule = make<AccessRule>();
    if (!rule) return Outcome::out_of_memory;
    rule->name = copy_of(or_empty(vorn_instance_get_name(&instance)));
    if (!rule->name) return Outcome::out_of_memory;
    for (auto [property, read_part] : parts) {
        const Outcome outcome = read_part(*rule, value_in(instance, property));
        if (outcome != Outcome::done) return outcome;
    }
    names_groups_ |= rule->whom == AccessRule::Whom::group;
    AccessRule **place = &first_;
    while (*place && (*place)->is_before(*rule))
        place = &(*place)->next;
    rule->next = *place;
    *place = rule.release();
    return Outcome::done;
}

Outcome AccessRules::take_defaults(const vorn_instance &instance)
{
    for (auto [property, permits] :
         {std::pair{"read", &default_read_}, std::pair{"write", &default_write_}}) {
        const char *text = value_in(instance, property);
        if (*text && read_effect(*permits, text) != Outcome::done) return Outcome::refused;
    }
    const char *user = value_in(instance, "gate-user");
    if (std::strlen(user) > longest_user) return Outcome::refused;
    if (*user) std::strcpy(gate_user_, user);
    return Outcome::done;
}

Outcome AccessRules::read(const vorn_instances *instances, Owned<AccessRules> &rules)
{
    rules.reset(new AccessRules);
    if (!rules) return Outcome::out_of_memory;
    for (const char *name : {access_rule_class, access_default_class}) {
        if (!vorn_classes_get(name)) continue;
        const Walk walk(new_reading_iterator(instances, name, nullptr));
        if (!walk) return Outcome::out_of_memory;
        for (const vorn_instance *each : walk) {
            const Outcome outcome =
                name == access_rule_class ? rules->add(*each) : rules->take_defaults(*each);
            if (outcome != Outcome::done) return outcome;
        }
    }
    return Outcome::done;
}

} // namespace vorn
