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
#include "vorn/class.h"
#include "vorn/debug.h"

#include <libxml/parserInternals.h>

#include <cerrno>
#include <cstring>

namespace vorn {

namespace {

constexpr int indented = 1;

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

bool add_values(xmlNode *element, const vorn_instance &instance)
{
    for (auto [property, value] : instance.values) {
        if (!is_saved(*instance.klass, property)) continue;
        if (!is_xml_name(property) || !can_be_read_back(value)) {
            report_left_out(property, instance);
        } else if (!add_text_element(element, property, value)) {
            return false;
        }
    }
    return true;
}

bool add_instance(xmlNode *root, const vorn_class &klass, const vorn_instance &instance)
{
    const char *name = instance.name.get();
    if (instance.klass->persistence == 0) return true;
    if (!is_xml_name(klass.name.get()) || (name && !can_be_read_back(name))) {
        report_left_out("the name", instance);
        return true;
    }

    xmlNode *element = add_text_element(root, klass.name.get(), nullptr);
    if (!element || (name && !add_attribute(element, "name", name))) return false;
    return add_values(element, instance);
}

/* An abstract class's instances are written under its own name; subclasses are not walked again. */
bool add_class(xmlNode *root, const vorn_class &klass, const vorn_instances *instances)
{
    if (klass.persistence == 0 || klass.superclass_name) return true;

    const Walk walk(vorn_instances_new_class_iterator(instances, klass.name.get()));
    if (!walk) return false;
    for (const vorn_instance *instance : walk) {
        if (!add_instance(root, klass, *instance)) return false;
    }
    return true;
}

XmlDocument document_of(const vorn_instances *instances)
{
    XmlDocument document = new_xml_document("config");
    if (!document) return {};
    xmlNode *root = xmlDocGetRootElement(document.get());

    const ClassesWalk classes;
    if (!classes) return {};
    for (const vorn_class *klass : classes) {
        if (!add_class(root, *klass, instances)) return {};
    }
    return document;
}

} // namespace

bool write_config(const vorn_instances *instances, const char *path, FileKind kind)
{
    if (absent(instances, "instances")) return false;

    const XmlDocument document = document_of(instances);
    if (!document) {
        vorn_debug_eprintf("No memory to write %s.\n", path);
        return false;
    }
    FileReplacement file(path, kind);
    if (!file) {
        vorn_debug_eprintf("Can't open %s.\n", path);
        return false;
    }
    if (xmlDocFormatDump(file.stream(), document.get(), indented) < 0) {
        vorn_debug_eprintf("Can't write %s: %s.\n", path, std::strerror(errno));
        return false;
    }
    return file.commit();
}

} // namespace vorn
