/* SPDX-License-Identifier: MIT */
#include "config/class_of_element.h"

#include "core/base/text.h"
#include "model/class_record.h"
#include "vorn/class.h"
#include "vorn/debug.h"

#include <cstring>

namespace vorn {

namespace {

using FindIdentifier = Identifier (*)(const void *element, const char *property);

/* The concrete class that an element of an abstract one asks for; null after a message. */
const char *subclass_of(const vorn_class &klass, const void *element, FindIdentifier find)
{
    const char *base = klass.name.get();
    const char *identifier =
        klass.subclass_identifier ? klass.subclass_identifier->name.get() : "(none)";

    const auto [is_there, value] = find(element, identifier);
    if (!is_there) {
        vorn_debug_eprintf("Instance of class \"%s\" does not contain a subclass identifier "
                           "property \"%s\".\n",
                           base, identifier);
        return nullptr;
    }
    if (!value) {
        vorn_debug_eprintf("Instance of class \"%s\" subclass identifier property \"%s\" has a "
                           "null value.\n",
                           base, identifier);
        return nullptr;
    }
    const vorn_class *subclass = vorn_classes_get(value);
    if (!subclass) {
        vorn_debug_eprintf("Instance of class \"%s\" subclass identifier property \"%s\" value is "
                           "an unknown class \"%s\".\n",
                           base, identifier, value);
        return nullptr;
    }
    if (!subclass->superclass_name || std::strcmp(subclass->superclass_name.get(), base) != 0) {
        vorn_debug_eprintf("Instance of class \"%s\" subclass identifier property \"%s\" value is "
                           "\"%s\", which is not a subclass of \"%s\".\n",
                           base, identifier, value, base);
        return nullptr;
    }
    return subclass->name.get();
}

} // namespace

const char *class_of_element(const char *name, const void *element, FindIdentifier find)
{
    const vorn_class *klass = vorn_classes_get(name);
    if (!klass) {
        vorn_debug_eprintf("Instance has an unknown class \"%s\".\n", shown(name));
        return nullptr;
    }
    return klass->abstract == 1 ? subclass_of(*klass, element, find) : name;
}

} // namespace vorn
