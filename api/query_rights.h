/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/query_request.h"
#include "model/class_record.h"
#include "model/instance_record.h"
#include "vorn/class.h"

namespace vorn {

/*
 * What the client of a request knows of. What he may not read is not there, whatever he asks.
 * Without a view each of these is one test of a pointer.
 */

/* The class by that name, if there is one for him. */
inline vorn_class *known_class(const QueryRequest &request, const char *name)
{
    vorn_class *klass = vorn_classes_get(name);
    return !klass || !request.view || request.view->is_there(*klass) ? klass : nullptr;
}

inline bool is_there(const QueryRequest &request, const vorn_instance &instance)
{
    return !request.view || request.view->is_there(instance);
}

/* Null for all rights. */
inline const ClassRights *rights_to(const QueryRequest &request, const vorn_class &klass)
{
    return request.view ? &request.view->of(klass) : nullptr;
}
inline bool may_read(const ClassRights *rights, const char *property)
{
    return !rights || rights->may_read(property);
}

/* Whether he neither reads nor writes a property, so that there is none for him. */
bool is_unheard_of(const AccessView &view, const vorn_class &klass, const char *property);
inline bool is_unheard_of(const QueryRequest &request, const vorn_class &klass,
                          const char *property)
{
    return request.view && is_unheard_of(*request.view, klass, property);
}

/* Calls back for the class, or for each of its subclasses, that is there; ends with a false. */
template <typename Call>
bool for_each_class(const AccessView &view, const vorn_class &klass, Call call)
{
    if (!klass.subclasses) return !view.is_there(klass) || call(klass);
    for (auto [name, subclass] : klass.subclasses) {
        if (!for_each_class(view, *subclass, call)) return false;
    }
    return true;
}

/*
 * A value as it is for him. What the schema says that clients may do is so for him only as far as
 * the rules permit it.
 */
const char *told_right(const AccessView &view, const vorn_instance &instance, const char *property,
                       const char *value);
inline const char *value_for(const AccessView *view, const vorn_instance &instance,
                             const char *property)
{
    const char *value = vorn_instance_get_value(&instance, property);
    if (!view || view->of(*instance.klass).describes == ClassRights::Describes::nothing)
        return value;
    return told_right(*view, instance, property, value);
}

/* A word by which a request has a plugin do something to the whole configuration. */
struct AccessWord {
    const char *klass;
    const char *property;
    bool ends_trial; /* for which there is a right of its own */
};
const AccessWord *find_access_word(const vorn_class &klass, const char *property);

/* What a rule keeps him from setting, of a new instance or, by that word or none, of another. */
const NameSet &denied_names(const ClassRights &rights, const AccessWord *word, bool is_new);

} // namespace vorn
