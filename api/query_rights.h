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

/* A word by which a request has a plugin do something to the whole configuration. */
struct AccessWord {
    const char *klass;
    const char *property;
    bool ends_trial; /* for which there is a right of its own */
};
const AccessWord *find_access_word(const vorn_class &klass, const char *property);

} // namespace vorn
