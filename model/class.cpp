/* SPDX-License-Identifier: MIT */
/*
 * One kind of configuration object. A plugin describes it with the setters, registers it, and the
 * registry then resolves and validates it once. What the setters protect: a class is abstract or
 * has a superclass, never both, and each of these decisions is taken once.
 */
#include "core/announce.h"
#include "core/base/result.h"
#include "core/guard.h"
#include "model/class_record.h"

namespace vorn {

namespace {

constexpr unsigned int property_buckets = 8;
constexpr unsigned int subclass_buckets = 16;

bool consistent(const vorn_property *property, const vorn_class &klass)
{
    if (vorn_property_is_valid(property)) return true;

    vorn_debug_1printf("Property %s of class %s is not valid.\n", property->name.get(),
                       klass.name.get());
    return false;
}

/* Takes ownership of the property when it answers true. */
bool take_property(vorn_class &klass, vorn_property *property)
{
    if (!consistent(property, klass)) return false;
    about_to_change();
    return klass.properties.insert(property->name.get(), property) == 0;
}

bool clone_properties(vorn_class &target, const vorn_class &source)
{
    if (!target.properties.create(source.properties.size())) return false;

    for (auto [name, property] : source.properties) {
        Owned<vorn_property> clone(vorn_property_clone(property));
        if (!clone || target.properties.insert(name, clone.get()) != 0) return false;
        clone.release();
    }
    return true;
}

bool may_identify_subclasses(const vorn_class &klass, const vorn_property &property)
{
    if (klass.abstract != 1) {
        vorn_debug_1printf("Class is not abstract.\n");
        return false;
    }
    if (klass.subclass_identifier) {
        vorn_debug_1printf("Class already has subclass_identifier.\n");
        return false;
    }
    if (klass.properties.get(property.name.get())) {
        vorn_debug_1printf("A property with the same name as the subclass identifier property "
                           "is in the class.\n");
        return false;
    }
    return true;
}

const char *type_word(std::int32_t type)
{
    constexpr const char *words[] = {"invalid", "singleton", "anonymous", "unique-named",
                                     "group-named"};

    const bool known = type >= VORN_CLASS_INVALID && type <= VORN_CLASS_GROUP_NAMED;
    return known ? words[type] : "unknown";
}

const char *identifier_name(const vorn_class &klass)
{
    return klass.subclass_identifier ? klass.subclass_identifier->name.get() : "(none)";
}

} // namespace

const char *value_without_secret(const vorn_class &klass, const char *property, const char *value)
{
    if (!value) return value;
    const vorn_property *declared = vorn_class_get_property(&klass, property);
    if (declared) return shown_value(*declared, value);
    for (auto [name, subclass] : klass.subclasses) {
        declared = subclass->properties.get(property);
        if (declared && declared->secret) return shown_value(*declared, value);
    }
    return value;
}

} // namespace vorn

using namespace vorn;

vorn_class::~vorn_class()
{
    for (auto [key, property] : properties)
        delete property;
}

vorn_class *vorn_class_new(const char *name)
{
    if (absent(name, "name")) return nullptr;

    Owned<vorn_class> klass = make<vorn_class>();
    if (!klass) return nullptr;

    klass->name = copy_of(name);
    if (!klass->name || !klass->properties.create(property_buckets)) return nullptr;

    return klass.release();
}

vorn_class *vorn_class_clone(const vorn_class *klass, const char *name)
{
    if (absent(klass, "class") || absent(name, "name")) return nullptr;

    Owned<vorn_class> clone = make<vorn_class>();
    if (!clone) return nullptr;

    clone->name = copy_of(name);
    clone->type = klass->type;
    clone->persistence = klass->persistence;
    if (!clone->name || !clone_properties(*clone, *klass)) return nullptr;

    return clone.release();
}

const char *vorn_class_get_name(const vorn_class *klass)
{
    return absent(klass, "class") ? nullptr : klass->name.get();
}

int vorn_class_set_superclass(vorn_class *klass, const char *name)
{
    if (absent(klass, "class") || absent(name, "superclass name")) return failed;
    if (klass->superclass_name) {
        vorn_debug_1printf("Superclass name has already been set.\n");
        return failed;
    }
    if (klass->abstract == 1) {
        vorn_debug_1printf("An abstract class may not have a superclass.\n");
        return failed;
    }

    klass->superclass_name = copy_of(name);
    return klass->superclass_name ? ok : failed;
}

const char *vorn_class_get_superclass(const vorn_class *klass)
{
    return absent(klass, "class") ? nullptr : klass->superclass_name.get();
}

int vorn_class_set_abstract(vorn_class *klass, int abstract)
{
    if (absent(klass, "class")) return failed;
    if (abstract != 0 && abstract != 1) {
        vorn_debug_1printf("Bad abstract value.\n");
        return failed;
    }
    if (klass->superclass_name) {
        vorn_debug_1printf("An class with a superclass may not be abstract.\n");
        return failed;
    }
    if (klass->abstract != abstract_undecided) {
        vorn_debug_1printf("Class is already abstract.\n");
        return failed;
    }

    if (abstract && !klass->subclasses.create(subclass_buckets)) return failed;
    klass->abstract = abstract;
    return ok;
}

int vorn_class_is_abstract(const vorn_class *klass)
{
    return !absent(klass, "class") && klass->abstract == 1;
}

int vorn_class_set_subclass_identifier(vorn_class *klass, vorn_property *property)
{
    if (absent(klass, "class") || absent(property, "property")) return failed;
    if (!may_identify_subclasses(*klass, *property)) return failed;

    const std::int32_t writable = property->writable;
    const std::int32_t required = property->required_on_insert;
    const std::int32_t marked = property->subclass_identifier;
    property->writable = 0;
    property->required_on_insert = 1;
    property->subclass_identifier = 1;

    if (!take_property(*klass, property)) {
        property->writable = writable;
        property->required_on_insert = required;
        property->subclass_identifier = marked;
        return failed;
    }
    klass->subclass_identifier = property;
    return ok;
}

vorn_property *vorn_class_get_subclass_identifier(const vorn_class *klass)
{
    return absent(klass, "class") ? nullptr : klass->subclass_identifier;
}

int vorn_class_set_persistence(vorn_class *klass, int persistence)
{
    if (absent(klass, "class")) return failed;

    about_to_change();
    klass->persistence = persistence;
    return ok;
}

int vorn_class_get_persistence(const vorn_class *klass)
{
    return absent(klass, "class") ? 0 : klass->persistence;
}

int vorn_class_set_type(vorn_class *klass, int type)
{
    if (absent(klass, "class")) return failed;
    if (type < VORN_CLASS_SINGLETON || type > VORN_CLASS_GROUP_NAMED) {
        vorn_debug_1printf("Bad type.\n");
        return failed;
    }

    klass->type = type;
    return ok;
}

int vorn_class_get_type(const vorn_class *klass)
{
    return absent(klass, "class") ? VORN_CLASS_INVALID : klass->type;
}

int vorn_class_add_property(vorn_class *klass, vorn_property *property)
{
    if (absent(klass, "class") || absent(property, "property")) return failed;

    return take_property(*klass, property) ? ok : failed;
}

/*
 * Nothing keeps a faulty plugin from linking classes in a ring, which is only reported. The
 * second pointer, at half the speed, is met again there and ends the walk.
 */
vorn_property *vorn_class_get_property(const vorn_class *klass, const char *name)
{
    if (absent(klass, "class") || absent(name, "name")) return nullptr;

    const vorn_class *slow = klass;
    bool slow_moves = false;
    for (const vorn_class *at = klass; at; slow_moves = !slow_moves) {
        if (vorn_property *property = at->properties.get(name)) return property;

        at = at->superclass;
        if (at == slow) return nullptr;
        if (slow_moves) slow = slow->superclass;
    }
    return nullptr;
}

int vorn_class_get_properties(const vorn_class *klass)
{
    if (absent(klass, "class")) return 0;

    return static_cast<int>(klass->properties.size());
}

int vorn_class_print(const vorn_class *klass, FILE *stream)
{
    if (absent(klass, "class") || absent(stream, "stream")) return failed;

    std::fprintf(stream, "Class: %-20s Type: %-13s Persistence: %d\n", klass->name.get(),
                 type_word(klass->type), klass->persistence);
    if (klass->abstract != 0)
        std::fprintf(stream, "Abstract class - subclass identifier: %s\n", identifier_name(*klass));
    if (klass->superclass_name)
        std::fprintf(stream, "Superclass: %s\n", klass->superclass_name.get());
    for (auto [name, property] : klass->properties) {
        std::fprintf(stream, "  ");
        vorn_property_print(property, stream);
        std::fprintf(stream, "\n");
    }
    return ok;
}
