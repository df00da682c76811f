/* SPDX-License-Identifier: MIT */
/*
 * A store as a document. Only what is persistent is written. Running out of memory half way ends
 * in no document at all: a configuration is saved whole or not.
 */
#include "config/config_write.h"

#include "config/file_limits.h"
#include "config/kept_pieces.h"
#include "config/schema.h"
#include "config/schema_declaration.h"
#include "core/guard.h"
#include "model/class_record.h"
#include "model/classes_walk.h"
#include "model/instance_record.h"
#include "model/instances_walk.h"
#include "services/xml/xml_writer.h"
#include "vorn/class.h"
#include "vorn/debug.h"

#include <cstring>

namespace vorn {

bool is_saved(const vorn_class &klass)
{
    const vorn_class *superclass = klass.superclass;
    return klass.persistence != 0 && (!superclass || superclass->persistence != 0);
}

bool is_saved(const vorn_class &klass, const char *property)
{
    const vorn_property *declared = vorn_class_get_property(&klass, property);
    return declared && declared->persistence != 0;
}

namespace {

constexpr char root_name[] = "config";

/* What no document can hold is left out, so that the rest can still be read back. */
void report_left_out(const char *what, const vorn_instance &instance, SaveReason &left_out)
{
    left_out.set("%s of an instance of class \"%s\" can't be held by a file", what,
                 instance.klass->name.get());
    vorn_debug_eprintf("Can't save %s of instance \"%s\" of class \"%s\": XML can't hold it.\n",
                       what, instance.name ? instance.name.get() : "", instance.klass->name.get());
}

void add_values(XmlWriter &document, const vorn_instance &instance, SaveReason &left_out)
{
    for (auto [property, value] : instance.values) {
        if (!is_saved(*instance.klass, property)) continue;
        if (!file_may_name(property) || !file_may_hold(value)) {
            report_left_out(property, instance, left_out);
        } else {
            document.add_text(property, value);
        }
    }
}

void add_instance(XmlWriter &document, const vorn_class &klass, const vorn_instance &instance,
                  SaveReason &left_out)
{
    const char *name = instance.name.get();
    if (instance.klass->persistence == 0) return;
    if (!file_may_name(klass.name.get()) || (name && !file_may_hold(name))) {
        report_left_out("the name", instance, left_out);
        return;
    }
    document.open(klass.name.get(), name);
    add_values(document, instance, left_out);
    if (kept_pieces) kept_pieces->write_values_of(instance, document);
    document.close(klass.name.get());
}

/* An abstract class's instances are written under its own name; subclasses are not walked again. */
bool add_class(XmlWriter &document, const vorn_class &klass, const vorn_instances *instances,
               SaveReason &left_out)
{
    if (klass.persistence == 0 || klass.superclass_name) return true;

    const Walk walk(vorn_instances_new_class_iterator(instances, klass.name.get()));
    if (!walk) return false;
    for (const vorn_instance *instance : walk)
        add_instance(document, klass, *instance, left_out);
    return true;
}

/* Of which versions it is; nothing where nobody declares any. */
void add_versions(XmlWriter &document)
{
    const char *others = kept_pieces ? kept_pieces->versions() : nullptr;
    if (!first_schema && !others) return;
    const Text versions = said_versions(others);
    if (!versions) document.fail();
    if (versions && *versions.get()) document.add_instruction(schema_instruction, versions.get());
}

} // namespace

Text config_document(const vorn_instances *instances, SaveReason &left_out)
{
    XmlWriter document(XmlWriter::Layout::indented);
    add_versions(document);
    document.open(root_name);
    if (kept_pieces) kept_pieces->begin_document();
    const ClassesWalk classes;
    if (!classes) return {};
    for (const vorn_class *klass : classes) {
        if (!add_class(document, *klass, instances, left_out)) return {};
    }
    if (kept_pieces) kept_pieces->write_elements(document);
    document.close(root_name);
    return document.take();
}

bool write_config(const vorn_instances *instances, const char *path, FileKind kind,
                  SaveReason &reason, Text &document)
{
    if (absent(instances, "instances")) {
        reason.set("there is no configuration");
        return false;
    }
    document = config_document(instances, reason);
    if (!document) {
        reason.set("memory ran out");
        vorn_debug_eprintf("No memory to write %s.\n", path);
        return false;
    }
    FileReplacement file(path, kind);
    if (!file) {
        reason.set("%s", std::strerror(file.error()));
        vorn_debug_eprintf("Can't open %s.\n", path);
        return false;
    }
    std::fputs(document.get(), file.stream());
    if (file.commit()) {
        if (kept_pieces && kind == FileKind::kept) kept_pieces->forget_unwritten();
        return true;
    }
    reason.set("%s", std::strerror(file.error()));
    return false;
}

} // namespace vorn
