/* SPDX-License-Identifier: MIT */
/*
 * All classes of the process. Plugins register theirs while they are loaded, in any order; then
 * the registry is closed: every class is linked to its superclass and the whole set is checked.
 * What it protects: families are two levels deep, an abstract class above named concrete ones.
 */
#include "core/base/result.h"
#include "core/guard.h"
#include "core/process.h"
#include "model/class_registry_state.h"

namespace vorn {

constinit ClassRegistry *class_registry = nullptr;

} // namespace vorn

using namespace vorn;

namespace {

constexpr unsigned int registry_buckets = 64;

/* The registry, made when it is first asked for; null when memory is gone. */
ClassRegistry *opened_registry()
{
    if (class_registry) return class_registry;

    Owned<ClassRegistry> registry = make<ClassRegistry>();
    if (!registry || !registry->classes.create(registry_buckets)) return nullptr;

    class_registry = registry.release();
    return class_registry;
}

const char *shown_value_of(const char *class_name, const char *property, const char *value)
{
    const vorn_class *klass = class_registry ? class_registry->classes.get(class_name) : nullptr;
    return klass ? shown_value(*klass, property, value) : value;
}

/* A concrete superclass has nowhere to record subclasses; validation reports the class. */
bool record_subclass(vorn_class &superclass, vorn_class &klass)
{
    if (!superclass.subclasses) return true;
    return superclass.subclasses.insert(klass.name.get(), &klass) != TableOwner::no_memory;
}

bool link_superclass(vorn_class &klass)
{
    if (!klass.superclass_name) return true;

    vorn_class *superclass = vorn_classes_get(klass.superclass_name.get());
    if (!superclass) {
        vorn_debug_1printf("Class \"%s\" has a non-existent superclass \"%s\".\n", klass.name.get(),
                           klass.superclass_name.get());
        return false;
    }
    if (!record_subclass(*superclass, klass)) return false;

    klass.superclass = superclass;
    return true;
}

/* The properties after an offending one keep what they had. */
bool settle_persistence(vorn_class &klass)
{
    for (auto [name, property] : klass.properties) {
        if (property->persistence == persistence_unset) property->persistence = klass.persistence;
        if (klass.persistence == 0 && property->persistence == 1) {
            vorn_debug_1printf("Non-persistent class \"%s\" has a persistent property \"%s\".\n",
                               klass.name.get(), property->name.get());
            return false;
        }
    }
    return true;
}

bool valid_as_abstract(const vorn_class &klass)
{
    const char *name = klass.name.get();

    if (!klass.subclass_identifier) {
        vorn_debug_1printf("Class \"%s\" is abstract but does not have a subclass identifier.\n",
                           name);
        return false;
    }
    if (klass.type != VORN_CLASS_UNIQUE_NAMED) {
        vorn_debug_1printf("Class \"%s\" is abstract but is not unique-named.\n", name);
        return false;
    }
    if (klass.subclasses.size() == 0) {
        vorn_debug_1printf("Class \"%s\" is abstract but does not have any subclasses.\n", name);
        return false;
    }
    if (klass.superclass_name) {
        vorn_debug_1printf("Class \"%s\" is abstract,but it has a superclass.\n", name);
        return false;
    }
    return true;
}

/* Without a resolved superclass there is no message: resolving has given it already. */
bool valid_as_subclass(const vorn_class &klass)
{
    if (klass.type != VORN_CLASS_UNIQUE_NAMED) {
        vorn_debug_1printf("Class \"%s\" is a subclassbut is not unique-named.\n",
                           klass.name.get());
        return false;
    }
    if (!klass.superclass) return false;
    if (klass.superclass->abstract == 1) return true;

    vorn_debug_1printf("Class \"%s\" has a non-abstract superclass \"%s\".\n", klass.name.get(),
                       klass.superclass_name.get());
    return false;
}

bool report_unless(bool good, const vorn_class &klass)
{
    if (!good) vorn_debug_1printf("Class \"%s\" is invalid.\n", klass.name.get());
    return good;
}

} // namespace

int vorn_class_resolve(vorn_class *klass)
{
    if (absent(klass, "class")) return failed;

    if (klass->abstract == abstract_undecided) klass->abstract = 0;
    return link_superclass(*klass) && settle_persistence(*klass) ? ok : failed;
}

int vorn_class_validate(const vorn_class *klass)
{
    if (absent(klass, "class")) return failed;
    if (klass->type == VORN_CLASS_INVALID) {
        vorn_debug_1printf("Class \"%s\" has no type set.\n", klass->name.get());
        return failed;
    }

    if (klass->abstract == 1 && !valid_as_abstract(*klass)) return failed;
    if (klass->superclass_name && !valid_as_subclass(*klass)) return failed;
    return ok;
}

int vorn_classes_add(vorn_class *klass)
{
    if (absent(klass, "class")) return failed;

    ClassRegistry *registry = opened_registry();
    if (!registry) return failed;

    value_for_others = shown_value_of;
    const int inserted = registry->classes.insert(klass->name.get(), klass);
    if (inserted == -1) {
        vorn_debug_1printf("Class with name \"%s\" already in classes.\n", klass->name.get());
    }
    return inserted == 0 ? ok : failed;
}

vorn_class *vorn_classes_get(const char *name)
{
    return name && class_registry ? class_registry->classes.get(name) : nullptr;
}

int vorn_classes_print(FILE *stream)
{
    if (absent(stream, "stream")) return failed;
    if (!class_registry) return ok;

    for (auto [name, klass] : class_registry->classes) {
        vorn_class_print(klass, stream);
        std::fprintf(stream, "\n");
    }
    return ok;
}

int vorn_classes_done_adding(void)
{
    if (!class_registry) return ok;

    bool good = true;
    for (auto [name, klass] : class_registry->classes)
        good = report_unless(vorn_class_resolve(klass) == ok, *klass) && good;
    for (auto [name, klass] : class_registry->classes)
        good = report_unless(vorn_class_validate(klass) == ok, *klass) && good;
    return good ? ok : failed;
}
