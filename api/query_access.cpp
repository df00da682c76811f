/* SPDX-License-Identifier: MIT */
/*
 * Rights, as the operations ask for them. An abstract class stands for its subclasses as far as the
 * client knows of them: what he may do with it he may do with each.
 */
#include "api/query_access.h"

#include "core/base/text.h"
#include "model/instance_record.h"
#include "model/instances_walk.h"
#include "services/xml/xml.h"
#include "vorn/class.h"
#include "vorn/config.h"

#include <cstring>

namespace vorn {

namespace {

constexpr std::size_t message_room = 160;

bool deny(QueryRequest &request, const Line<message_room> &message)
{
    request.is_denied = true;
    request.denial = copy_of(message.get());
    return false;
}

bool deny_class(QueryOperation &operation, const vorn_class &klass)
{
    return deny(operation.request,
                Line<message_room>("Access denied: class \"%s\".", klass.name.get()));
}

bool deny_property(QueryOperation &operation, const vorn_class &klass, const char *property)
{
    return deny(operation.request,
                Line<message_room>("Access denied: property \"%s\" of class \"%s\".", property,
                                   klass.name.get()));
}

bool may_write(QueryOperation &operation, const vorn_class &klass, const char *property,
               bool is_new)
{
    QueryRequest &request = operation.request;
    const ClassRights &rights = request.view->of(klass);
    const AccessWord *word = is_new ? nullptr : find_access_word(klass, property);
    const bool is_denied = denied_names(rights, word, is_new).contains(property);
    const bool is_unread = !rights.may_read(property);
    if (!is_denied && !is_unread && !word) return true; /* as with most */
    if (!vorn_class_get_property(&klass, property)) return true;
    if (is_unheard_of(request, klass, property)) return true;
    if (is_denied) return deny_property(operation, klass, property);
    if (word && word->ends_trial) request.ends_trial = true;
    if (word && !request.transaction) return deny_property(operation, klass, property);
    if (is_unread) request.writes_unread = true;
    return true;
}

bool may_write_all(QueryOperation &operation, const vorn_class &klass, const xmlNode *elements,
                   bool is_new)
{
    for (const xmlNode *each = elements; each; each = each->next) {
        if (each->name && !may_write(operation, klass, plain(each->name), is_new)) return false;
    }
    return true;
}

/* Those that end a trial need another right than to update. */
bool has_words_only(const vorn_class &klass, const xmlNode *elements)
{
    for (const xmlNode *each = elements; each; each = each->next) {
        const AccessWord *word = each->name ? find_access_word(klass, plain(each->name)) : nullptr;
        if (!word || !word->ends_trial) return false;
    }
    return elements != nullptr;
}

bool is_client_s(const vorn_property &property, bool is_new)
{
    return property.writable || (is_new && property.required_on_insert);
}

bool is_same(const char *before, const char *after)
{
    return before && after ? std::strcmp(before, after) == 0 : before == after;
}

/* The name of a property that has changed and may not be; null when there is none. */
const char *denied_value(const vorn_class &klass, const ClassRights &rights,
                         const vorn_instance *before, const vorn_instance &after)
{
    const char *found =
        klass.superclass ? denied_value(*klass.superclass, rights, before, after) : nullptr;
    const NameSet &denied = before ? rights.not_updatable : rights.not_insertable;
    for (auto [name, property] : klass.properties) {
        if (found) break;
        if (!is_client_s(*property, !before)) continue;
        if (rights.is_there && !denied.contains(name)) continue;
        const char *old = before ? vorn_instance_get_value(before, name) : nullptr;
        if (!is_same(old, vorn_instance_get_value(&after, name))) found = name;
    }
    return found;
}

/* What is denied is named only to who knows of it. */
Line<message_room> denial(const ClassRights &rights, const vorn_class &klass, const char *property)
{
    const char *class_name = klass.name.get();
    if (!rights.is_there) return Line<message_room>("Access denied.");
    if (!property) return Line<message_room>("Access denied: class \"%s\".", class_name);
    if (!rights.may_read(property)) return Line<message_room>("Access denied.");
    return Line<message_room>("Access denied: property \"%s\" of class \"%s\".", property,
                              class_name);
}

} // namespace

bool may_update(QueryOperation &operation, const vorn_class &klass)
{
    const AccessView *view = operation.request.view;
    operation.request.writes++;
    return for_each_class(*view, klass, [&](const vorn_class &each) {
        if (!view->of(each).is_updatable && !has_words_only(each, operation.property_elements))
            return deny_class(operation, each);
        return may_write_all(operation, each, operation.property_elements, false);
    });
}

bool may_delete(QueryOperation &operation, const vorn_class &klass)
{
    const AccessView *view = operation.request.view;
    operation.request.writes++;
    return for_each_class(*view, klass, [&](const vorn_class &each) {
        return view->of(each).is_deletable || deny_class(operation, each);
    });
}

/* An element of no class that there is ends the second pass. */
bool may_insert(QueryOperation &operation)
{
    const AccessView *view = operation.request.view;
    operation.request.writes++;
    for (xmlNode *element = operation.first_class; element; element = element->next) {
        const char *name = is_element(element) && element->name
                               ? vorn_config_get_class_name(element->doc, element)
                               : nullptr;
        const vorn_class *klass = name ? known_class(operation.request, name) : nullptr;
        if (!klass) continue;
        if (!view->of(*klass).is_insertable) return deny_class(operation, *klass);
        if (!may_write_all(operation, *klass, element->children, true)) return false;
    }
    return true;
}

namespace {

/* The walks and what they ask for may end early when memory is gone. */
bool denies_change(QueryRequest &request)
{
    const AccessView &view = *request.view;
    const Walk deleted(vorn_changes_new_deleted_class_instances_iterator(request.changes, nullptr));
    for (const vorn_instance *each : deleted) {
        const ClassRights &rights = view.of(*each->klass);
        if (!rights.is_there || !rights.is_deletable)
            return !deny(request, denial(rights, *each->klass, nullptr));
    }
    const Walk changed(vorn_changes_new_class_instances_iterator(request.changes, nullptr));
    for (const vorn_instance *each : changed) {
        const vorn_instance *before = vorn_changes_get_instance_before(request.changes, each);
        const ClassRights &rights = view.of(*each->klass);
        const char *property = denied_value(*each->klass, rights, before, *each);
        const bool is_new_and_denied = !before && (!rights.is_there || !rights.is_insertable);
        if (property || is_new_and_denied)
            return !deny(request, denial(rights, *each->klass, property));
    }
    return false;
}

} // namespace

bool denies_amendment(QueryRequest &request, const vorn_amend_info &info)
{
    const bool only_ends_trial = request.ends_trial && request.writes == 1;
    if (!request.view || !info.has_become || only_ends_trial) return false;
    const MemoryWatch memory;
    const bool denies = denies_change(request);
    if (!memory.ran_out() && !request.view->out_of_memory()) return denies;
    request.out_of_memory = true;
    request.is_denied = true;
    return true;
}

bool refuses_rules(QueryRequest &request, RulesToCome &rules)
{
    if (!changes_rules(request)) return false;
    const Outcome outcome = rules.read(request.instances);
    if (outcome == Outcome::done) return false;
    if (outcome == Outcome::out_of_memory) {
        request.out_of_memory = true;
    } else {
        deny(request, Line<message_room>("The access rules can't be understood."));
    }
    return true;
}

} // namespace vorn
