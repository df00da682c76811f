/* SPDX-License-Identifier: MIT */
#include "api/query_rights.h"

#include "core/base/text.h"

#include <cstring>

namespace vorn {

namespace {

constexpr AccessWord words[] = {
    {"trial", "confirm", true},
    {"trial", "revert", true},
    {"history", "rollback", false},
};

} // namespace

const AccessWord *find_access_word(const vorn_class &klass, const char *property)
{
    for (const AccessWord &each : words) {
        if (*each.property != *property) continue; /* as with most, which nothing is compared of */
        if (std::strcmp(each.klass, klass.name.get()) == 0 &&
            std::strcmp(each.property, property) == 0)
            return &each;
    }
    return nullptr;
}

const NameSet &denied_names(const ClassRights &rights, const AccessWord *word, bool is_new)
{
    if (is_new) return rights.not_insertable;
    return word && word->ends_trial ? rights.unconfirmable : rights.not_updatable;
}

namespace {

/* Whether no rule keeps him from setting a property, of a new instance or of one that is there. */
bool may_set(const AccessView &view, const vorn_class &klass, const char *property, bool is_new)
{
    const AccessWord *word = is_new ? nullptr : find_access_word(klass, property);
    return !denied_names(view.of(klass), word, is_new).contains(property);
}

bool may_insert_one(const AccessView &view, const vorn_class &klass, const char *)
{
    return view.of(klass).is_insertable;
}

bool may_delete_one(const AccessView &view, const vorn_class &klass, const char *)
{
    return view.of(klass).is_deletable;
}

bool may_change(const AccessView &view, const vorn_class &klass, const char *property)
{
    return may_set(view, klass, property, false);
}

bool may_bring(const AccessView &view, const vorn_class &klass, const char *property)
{
    return view.of(klass).is_insertable && may_set(view, klass, property, true);
}

/*
 * What the schema says that may be done, and whether somebody may. Who changes a family as such
 * changes each of its members; who inserts chooses one.
 */
struct ToldRight {
    ClassRights::Describes in;
    const char *told_as;
    bool (*is_his)(const AccessView &view, const vorn_class &klass, const char *property);
    bool of_any;
};

constexpr ToldRight told_rights[] = {
    {ClassRights::Describes::classes, "insertable", may_insert_one, true},
    {ClassRights::Describes::classes, "deletable", may_delete_one, false},
    {ClassRights::Describes::properties, "changeable", may_change, false},
    {ClassRights::Describes::properties, "insertable", may_bring, true},
};

bool is_his(const ToldRight &right, const AccessView &view, const vorn_class &klass,
            const char *property)
{
    const auto may = [&](const vorn_class &each) { return right.is_his(view, each, property); };
    if (!right.of_any) return for_each_class(view, klass, may);
    return !for_each_class(view, klass, [&](const vorn_class &each) { return !may(each); });
}

} // namespace

const char *told_right(const AccessView &view, const vorn_instance &instance, const char *property,
                       const char *value)
{
    const ClassRights::Describes in = view.of(*instance.klass).describes;
    for (const ToldRight &each : told_rights) {
        if (each.in != in || std::strcmp(each.told_as, property) != 0) continue;
        const vorn_class *klass = instance.name ? vorn_classes_get(instance.name.get()) : nullptr;
        const char *of = or_empty(vorn_instance_get_value(&instance, "property"));
        return !klass || is_his(each, view, *klass, of) ? value : "no";
    }
    return value;
}

bool is_unheard_of(const AccessView &view, const vorn_class &klass, const char *property)
{
    const ClassRights &rights = view.of(klass);
    if (rights.may_read(property)) return false;
    const AccessWord *word = find_access_word(klass, property);
    const bool may_end_trial = word && word->ends_trial && !rights.unconfirmable.contains(property);
    return rights.not_updatable.contains(property) && rights.not_insertable.contains(property) &&
           !may_end_trial;
}

} // namespace vorn
