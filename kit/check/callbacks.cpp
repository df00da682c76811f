/* SPDX-License-Identifier: MIT */
/*
 * Callbacks that are never called, for what they are about does not exist: a mistyped name is told
 * by nobody else.
 */
#include "callbacks.h"

#include "change/committer_record.h"
#include "change/refresher_record.h"
#include "model/class_registry_state.h"
#include "vorn/class.h"

namespace vorn::check {

namespace {

Callbacks *noted = nullptr;

bool descends(const vorn_class *klass, const vorn_class *from)
{
    while (klass && klass != from)
        klass = klass->superclass;
    return klass != nullptr;
}

/* A callback of an abstract class may be about a property that only some of its subclasses have. */
bool has_property(const vorn_class *klass, const char *property)
{
    if (vorn_class_get_property(klass, property)) return true;
    for (auto [name, each] : class_registry->classes) {
        if (descends(each, klass) && vorn_class_get_property(each, property)) return true;
    }
    return false;
}

template <typename Functions>
void find_in_class(std::vector<std::string> &strays, const std::string &what, const char *name,
                   const Functions &functions)
{
    const vorn_class *klass = vorn_classes_get(name);
    if (!klass) {
        strays.push_back(what + " for class \"" + name + "\", which nobody brings.");
        return;
    }
    for (auto [property, function] : functions) {
        if (has_property(klass, property)) continue;
        strays.push_back(what + " for property \"" + static_cast<const char *>(property) +
                         "\", which class \"" + name + "\" does not have.");
    }
}

} // namespace

void note_callbacks(Callbacks &callbacks)
{
    noted = &callbacks;
    committer_made = [](vorn_committer *made) { noted->committers.push_back(made); };
    refresher_made = [](vorn_refresher *made) { noted->refreshers.push_back(made); };
}

std::vector<std::string> find_strays(const Callbacks &callbacks)
{
    std::vector<std::string> strays;
    for (const vorn_committer *committer : callbacks.committers) {
        for (auto [name, klass] : committer->classes)
            find_in_class(strays, "Committer", name, klass->property_functions);
    }
    for (const vorn_refresher *refresher : callbacks.refreshers)
        find_in_class(strays, "Refresher", refresher->class_name, refresher->property_functions);
    return strays;
}

} // namespace vorn::check
