/* SPDX-License-Identifier: MIT */
/*
 * From a document to instances. A bad instance, value or class is skipped with a message and
 * never ends the load: a device with one wrong line in its configuration still comes up.
 */
#include "config/config_read.h"

#include "config/classes_walk.h"
#include "config/file_limits.h"
#include "core/base/memory.h"
#include "core/base/text.h"
#include "model/class_record.h"
#include "model/instance_record.h"
#include "vorn/class.h"
#include "vorn/config.h"
#include "vorn/debug.h"
#include "vorn/xml.h"

#include <cerrno>

namespace vorn {

namespace {

constexpr char root_name[] = "config";

/* While one lives: whether memory ran out, in which case a failure says nothing of the document. */
class MemoryWatch {
public:
    MemoryWatch() { errno = 0; }
    bool ran_out() const { return errno == ENOMEM; }
};

/* For one that a save would have to leave out. */
bool is_too_long(const vorn_instance &instance, const char *what, const char *text)
{
    if (file_may_hold(text)) return false;
    vorn_debug_eprintf("Text of %s of an instance of class \"%s\" is too long - skipping.\n", what,
                       instance.klass->name.get());
    return true;
}

bool read_value(vorn_instance &instance, const char *property, const char *value,
                unsigned int &unknown)
{
    const char *class_name = instance.klass->name.get();
    const MemoryWatch memory;

    if (!vorn_class_get_property(instance.klass, property)) {
        unknown++;
        vorn_debug_eprintf("Property \"%s\" is not valid for class \"%s\" - skipping.\n", property,
                           class_name);
    } else if (is_too_long(instance, property, value)) {
        return true;
    } else if (vorn_instance_set_value(&instance, property, value) != 0) {
        const bool whole = !memory.ran_out();
        vorn_debug_eprintf(
            "Value \"%s\" is not valid for property \"%s\" of class \"%s\" - skipping.\n", value,
            property, class_name);
        return whole;
    }
    return true;
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

/* Into the store and the change set, or into neither: providers know of all that is served. */
bool took_over(Owned<vorn_instance> &instance, vorn_instances *instances, vorn_changes *changes)
{
    if (vorn_instances_add(instances, instance.get()) != 0) return false;
    if (vorn_changes_instance_inserted(changes, instance.get()) != 0) {
        vorn_instances_remove(instances, instance.get());
        return false;
    }
    instance.release();
    return true;
}

bool add_instance(Owned<vorn_instance> instance, vorn_instances *instances, vorn_changes *changes)
{
    const MemoryWatch memory;
    if (took_over(instance, instances, changes)) return true;
    const bool whole = !memory.ran_out();
    const char *name = instance->name.get();
    vorn_debug_eprintf("Couldn't add instance \"%s\" of class \"%s\". Skipping instance.\n",
                       shown(name), instance->klass->name.get());
    return whole;
}

bool read_instance(xmlDoc *document, xmlNode *element, vorn_instances *instances,
                   vorn_changes *changes, unsigned int &unknown)
{
    const char *class_name = vorn_config_get_class_name(document, element);
    if (!class_name) {
        unknown++;
        return true;
    }

    const MemoryWatch memory;
    const char *name = vorn_util_xmlGetProp(element, "name");
    Owned<vorn_instance> instance(vorn_instance_new(vorn_classes_get(class_name), name));
    if (!instance) {
        const bool whole = !memory.ran_out();
        vorn_debug_eprintf("Bad instance name \"%s\" of class \"%s\"- skipping.\n", shown(name),
                           class_name);
        return whole;
    }
    if (name && is_too_long(*instance, "the name", name)) return true;
    bool whole = true;
    for (const xmlNode *child = element->children; child; child = child->next) {
        if (!is_element(child)) continue;
        const char *text = text_in(child);
        whole &= read_value(*instance, plain(child->name), text ? text : "", unknown);
    }
    if (!is_valid(*instance)) return whole;
    return add_instance(std::move(instance), instances, changes) && whole;
}

} // namespace

XmlDocument parse_config(const char *path)
{
    if (!path) {
        vorn_debug_eprintf("Config filename is null.\n");
        return {};
    }
    XmlDocument document = parse_xml_file(path);
    if (!document) {
        vorn_debug_eprintf("Config not parsed successfully.\n");
        return {};
    }
    const xmlNode *root = xmlDocGetRootElement(document.get());
    if (!root) {
        vorn_debug_eprintf("Empty document.\n");
        return {};
    }
    if (!xmlStrEqual(root->name, xml(root_name))) {
        vorn_debug_eprintf("Document of the wrong type: root node is not \"%s\".", root_name);
        return {};
    }
    return document;
}

/*
 * The document is freed when all of it has been read, not piece by piece: what is loaded would
 * settle in the holes, and hold all the memory that the document took for as long as it lives.
 */
bool read_instances(xmlDoc *document, vorn_instances *instances, vorn_changes *changes,
                    unsigned int &unknown)
{
    bool whole = true;
    xmlNode *root = xmlDocGetRootElement(document);
    for (xmlNode *node = root->children; node; node = node->next) {
        if (is_element(node)) whole &= read_instance(document, node, instances, changes, unknown);
    }
    while (xmlNode *node = root->children) {
        xmlUnlinkNode(node);
        xmlFreeNode(node);
    }
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
        const MemoryWatch memory;
        Owned<vorn_instance> instance(vorn_instance_new(klass, nullptr));
        const bool made = instance && took_over(instance, instances, changes);
        whole &= made || !memory.ran_out();
    }
    return whole;
}

} // namespace vorn
