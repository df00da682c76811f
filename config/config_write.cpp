/* SPDX-License-Identifier: MIT */
/*
 * A store as a document. Only what is persistent is written. Running out of memory half way ends
 * in no document at all: a configuration is saved whole or not.
 */
#include "config/config_write.h"

#include "config/file_replace.h"
#include "model/class_record.h"
#include "model/instance_record.h"
#include "model/instances_walk.h"
#include "services/xml.h"
#include "vorn/class.h"
#include "vorn/debug.h"

#include <cerrno>
#include <cstring>

namespace vorn {

namespace {

constexpr int indented = 1;

struct DeleteClasses {
    void operator()(vorn_classes_iterator *iterator) const noexcept
    {
        vorn_classes_delete_iterator(iterator);
    }
};

bool is_saved(const vorn_class &klass, const char *property)
{
    const vorn_property *declared = vorn_class_get_property(&klass, property);
    return declared && declared->persistence != 0;
}

/* A value that no document can hold is left out, so that the rest can still be read back. */
bool can_be_written(const char *text, const vorn_instance &instance, const char *what)
{
    if (is_xml_text(text)) return true;
    vorn_debug_eprintf("Can't save %s of instance \"%s\" of class \"%s\": it is no XML text.\n",
                       what, instance.name ? instance.name.get() : "", instance.klass->name.get());
    return false;
}

bool add_values(xmlNode *element, const vorn_instance &instance)
{
    for (auto [property, value] : instance.values) {
        if (!is_saved(*instance.klass, property)) continue;
        if (!can_be_written(value, instance, property)) continue;
        if (!add_text_element(element, property, value)) return false;
    }
    return true;
}

bool add_instance(xmlNode *root, const vorn_class &klass, const vorn_instance &instance)
{
    const char *name = instance.name.get();
    if (instance.klass->persistence == 0) return true;
    if (name && !can_be_written(name, instance, "the name")) return true;

    xmlNode *element = add_text_element(root, klass.name.get(), nullptr);
    if (!element || (name && !xmlNewProp(element, xml("name"), xml(name)))) return false;
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

    const std::unique_ptr<vorn_classes_iterator, DeleteClasses> classes(
        vorn_classes_new_iterator());
    if (!classes) return {};
    while (vorn_classes_iterator_has_next(classes.get())) {
        const vorn_class *klass = vorn_classes_iterator_next(classes.get());
        if (!add_class(root, *klass, instances)) return {};
    }
    return document;
}

} // namespace

bool write_config(const vorn_instances *instances, const char *path)
{
    const XmlDocument document = document_of(instances);
    if (!document) {
        vorn_debug_eprintf("No memory to write %s.\n", path);
        return false;
    }
    FileReplacement file(path);
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
