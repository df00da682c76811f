/* SPDX-License-Identifier: MIT */
/*
 * From a document to instances. A bad instance, value or class is skipped with a message and
 * never ends the load: a device with one wrong line in its configuration still comes up.
 */
#include "config/config_read.h"

#include "config/class_of_element.h"
#include "config/commit_id.h"
#include "config/file_limits.h"
#include "config/migration.h"
#include "config/schema_declaration.h"
#include "core/base/memory.h"
#include "core/base/text.h"
#include "model/class_record.h"
#include "model/classes_walk.h"
#include "model/instance_record.h"
#include "model/instances_record.h"
#include "model/property_reason.h"
#include "vorn/class.h"
#include "vorn/config.h"
#include "vorn/debug.h"

#include <cstring>
#include <utility>

namespace vorn {

namespace {

/* Whether memory sufficed: only then does what was not done say something of the document. */
bool is_final(Outcome outcome)
{
    return outcome != Outcome::out_of_memory;
}

/* For one that a save would have to leave out. */
bool is_too_long(const vorn_instance &instance, const char *what, const char *text)
{
    if (file_may_hold(text)) return false;
    vorn_debug_eprintf("Text of %s of an instance of class \"%s\" is too long - skipping.\n", what,
                       instance.klass->name.get());
    return true;
}

/* What a load has no use for, and where it goes. */
struct Unread {
    unsigned int &unknown;
    KeptPieces *kept;
    PieceTexts values; /* of the instance that is being read */

    void add(const char *property, const char *text)
    {
        if (!kept) return;
        values.add(property);
        values.add(text);
    }
    /* Whether memory sufficed for keeping it. */
    bool keep_whole(const WrittenInstance &written) const
    {
        return !kept || is_final(kept->add_element(written));
    }
    bool keep_values_of(const vorn_instance &instance)
    {
        return values.is_empty() || is_final(kept->add_values(instance, values));
    }
};

bool read_value(vorn_instance &instance, const char *property, const char *value, Unread &unread)
{
    const char *class_name = instance.klass->name.get();

    const vorn_property *declared = vorn_class_get_property(instance.klass, property);
    if (!declared) {
        unread.unknown++;
        unread.add(property, value);
        vorn_debug_eprintf("Property \"%s\" is not valid for class \"%s\" - skipping.\n", property,
                           class_name);
        return true;
    }
    if (is_too_long(instance, property, value)) return true;

    const Outcome outcome = set_value(instance, property, value);
    if (outcome == Outcome::done) return true;
    if (declared->persistence != 0) unread.add(property, value);
    vorn_debug_eprintf(
        "Value \"%s\" is not valid for property \"%s\" of class \"%s\" - skipping.%s%s\n",
        shown_value(*instance.klass, property, value), property, class_name, before_reason(),
        reason_given());
    return is_final(outcome);
}

bool is_valid(const vorn_instance &instance)
{
    char *reason = nullptr;
    const bool valid = vorn_instance_is_valid(&instance, &reason) != 0;
    const Text owned(reason);
    if (!valid) {
        vorn_debug_eprintf("Instance is invalid: %s Skipping instance.", shown(reason));
    }
    return valid;
}

ExpectedValues values_in(const WrittenInstance &written)
{
    ExpectedValues expected;
    for (const WrittenValue &each : written)
        expected.add(or_empty(written.text_at(each.text)));
    return expected;
}

/* Into the store and the change set, or into neither: providers know of all that is served. */
Outcome take_over(Owned<vorn_instance> &instance, vorn_instances *instances, vorn_changes *changes)
{
    const Outcome added = add_instance(*instances, *instance);
    if (added != Outcome::done) return added;
    if (vorn_changes_instance_inserted(changes, instance.get()) != 0) {
        vorn_instances_remove(instances, instance.get());
        return Outcome::out_of_memory;
    }
    instance.release();
    return Outcome::done;
}

/* What has taken the place that an instance would have had. */
const vorn_instance *rival_of(const vorn_instance &instance, const vorn_instances *instances)
{
    const char *class_name = instance.klass->name.get();
    return instance.klass->type == VORN_CLASS_SINGLETON
               ? vorn_instances_get_singleton(instances, class_name)
               : vorn_instances_get(instances, class_name, instance.name.get());
}

/* A second one of the same name, with other values: it may be what is kept of another firmware. */
bool keep_rival(const vorn_instance &read, const vorn_instances *instances,
                const WrittenInstance &written, const Unread &unread)
{
    const vorn_instance *rival = rival_of(read, instances);
    if (!unread.kept || !rival || read.klass->persistence == 0) return true;
    if (unread.values.is_empty() && digest_of_instance(read) == digest_of_instance(*rival))
        return true;
    return is_final(unread.kept->add_rival(*rival, written));
}

bool take_over_or_tell(Owned<vorn_instance> instance, vorn_instances *instances,
                       vorn_changes *changes, const WrittenInstance &written, Unread &unread)
{
    const vorn_instance &read = *instance;
    const Outcome outcome = take_over(instance, instances, changes);
    if (outcome == Outcome::done) return unread.keep_values_of(read);
    const char *name = read.name.get();
    vorn_debug_eprintf("Couldn't add instance \"%s\" of class \"%s\". Skipping instance.\n",
                       shown(name), read.klass->name.get());
    return is_final(outcome) && keep_rival(read, instances, written, unread);
}

/* What is never saved is not kept either. */
bool keep_refused(const WrittenInstance &written, const vorn_class &klass, const Unread &unread)
{
    return klass.persistence == 0 || unread.keep_whole(written);
}

Identifier find_identifier(const void *record, const char *property)
{
    const auto &written = *static_cast<const WrittenInstance *>(record);
    for (const WrittenValue &each : written) {
        if (std::strcmp(each.property, property) == 0) return {true, written.text_at(each.text)};
    }
    return {false, nullptr};
}

} // namespace

bool read_instance(const WrittenInstance &written, vorn_instances *instances, vorn_changes *changes,
                   unsigned int &unknown, KeptPieces *kept)
{
    Unread unread = {unknown, kept, {}};
    const char *class_name = class_of_element(written.element, &written, find_identifier);
    if (!class_name) {
        unknown++;
        return unread.keep_whole(written);
    }

    vorn_class &klass = *vorn_classes_get(class_name);
    const char *name = written.text_at(written.instance_name);
    Owned<vorn_instance> instance;
    const Outcome outcome = make_instance(klass, name, values_in(written), instance);
    if (outcome != Outcome::done) {
        vorn_debug_eprintf("Bad instance name \"%s\" of class \"%s\"- skipping.\n", shown(name),
                           class_name);
        return is_final(outcome) && keep_refused(written, klass, unread);
    }
    if (name && is_too_long(*instance, "the name", name)) return true;
    bool whole = true;
    for (const WrittenValue &each : written)
        whole &= read_value(*instance, each.property, or_empty(written.text_at(each.text)), unread);
    if (!is_valid(*instance)) return keep_refused(written, klass, unread) && whole;
    return take_over_or_tell(std::move(instance), instances, changes, written, unread) && whole;
}

namespace {

bool keep_versions(const ConfigDocument &document, KeptPieces *kept)
{
    if (!kept || !document.versions()) return true;
    Text versions = copy_of(document.versions());
    const bool kept_all = static_cast<bool>(versions);
    kept->keep_versions(std::move(versions));
    return kept_all;
}

} // namespace

bool read_instances(ConfigDocument &document, vorn_instances *instances, vorn_changes *changes,
                    unsigned int &unknown, KeptPieces *kept)
{
    bool whole = migrate(document) && keep_versions(document, kept);
    while (const Allocated<WrittenInstance> written = document.take_next())
        whole &= read_instance(*written, instances, changes, unknown, kept);
    return whole;
}

bool add_missing_singletons(vorn_instances *instances, vorn_changes *changes)
{
    const ClassesWalk classes;
    bool whole = static_cast<bool>(classes);
    for (vorn_class *klass : classes) {
        if (klass->type != VORN_CLASS_SINGLETON) continue;
        if (klass->persistence != 0 && vorn_instances_get_singleton(instances, klass->name.get())) {
            continue;
        }
        Owned<vorn_instance> instance;
        Outcome outcome = make_instance(*klass, nullptr, {}, instance);
        if (outcome == Outcome::done) outcome = take_over(instance, instances, changes);
        whole &= is_final(outcome);
    }
    return whole;
}

} // namespace vorn
