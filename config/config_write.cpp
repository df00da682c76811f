/* SPDX-License-Identifier: MIT */
/*
 * A store as a document. Only what is persistent is written. Running out of memory half way ends
 * in no document at all: a configuration is saved whole or not.
 */
#include "config/config_write.h"

#include "config/classes_walk.h"
#include "core/base/guard.h"
#include "model/class_record.h"
#include "model/instance_record.h"
#include "model/instances_walk.h"
#include "services/xml.h"
#include "services/xml_writer.h"
#include "vorn/class.h"
#include "vorn/debug.h"

#include <libxml/parserInternals.h>

#include <cstring>

namespace vorn {

namespace {

constexpr char root_name[] = "config";

bool is_saved(const vorn_class &klass, const char *property)
{
    const vorn_property *declared = vorn_class_get_property(&klass, property);
    return declared && declared->persistence != 0;
}

bool can_be_read_back(const char *text)
{
    return is_xml_text(text) && std::strlen(text) <= XML_MAX_TEXT_LENGTH;
}

/* What no document can hold is left out, so that the rest can still be read back. */
void report_left_out(const char *what, const vorn_instance &instance)
{
    vorn_debug_eprintf("Can't save %s of instance \"%s\" of class \"%s\": XML can't hold it.\n",
                       what, instance.name ? instance.name.get() : "", instance.klass->name.get());
}

void add_values(XmlWriter &document, const vorn_instance &instance)
{
    for (auto [property, value] : instance.values) {
        if (!is_saved(*instance.klass, property)) continue;
        if (!is_xml_name(property) || !can_be_read_back(value)) {
            report_left_out(property, instance);
        } else {
            document.add_text(property, value);
        }
    }
}

void add_instance(XmlWriter &document, const vorn_class &klass, const vorn_instance &instance)
{
    const char *name = instance.name.get();
    if (instance.klass->persistence == 0) return;
    if (!is_xml_name(klass.name.get()) || (name && !can_be_read_back(name))) {
        report_left_out("the name", instance);
        return;
    }
    document.open(klass.name.get(), name);
    add_values(document, instance);
    document.close(klass.name.get());
}

/* An abstract class's instances are written under its own name; subclasses are not walked again. */
bool add_class(XmlWriter &document, const vorn_class &klass, const vorn_instances *instances)
{
    if (klass.persistence == 0 || klass.superclass_name) return true;

    const Walk walk(vorn_instances_new_class_iterator(instances, klass.name.get()));
    if (!walk) return false;
    for (const vorn_instance *instance : walk)
        add_instance(document, klass, *instance);
    return true;
}

} // namespace

Text config_document(const vorn_instances *instances)
{
    XmlWriter document(XmlWriter::Layout::indented);
    document.open(root_name);
    const ClassesWalk classes;
    if (!classes) return {};
    for (const vorn_class *klass : classes) {
        if (!add_class(document, *klass, instances)) return {};
    }
    document.close(root_name);
    return document.take();
}

bool write_config(const vorn_instances *instances, const char *path, FileKind kind)
{
    if (absent(instances, "instances")) return false;

    const Text document = config_document(instances);
    if (!document) {
        vorn_debug_eprintf("No memory to write %s.\n", path);
        return false;
    }
    FileReplacement file(path, kind);
    if (!file) {
        vorn_debug_eprintf("Can't open %s.\n", path);
        return false;
    }
    std::fputs(document.get(), file.stream());
    return file.commit();
}

} // namespace vorn
