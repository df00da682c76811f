/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "model/class_record.h"
#include "model/instance_record.h"
#include "support/log.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace vorn::tests {

/*
 * Small builders for what nearly every test needs first: properties, classes, instances. They may
 * be used inside a FailEachAllocation body: what they allocate neither counts nor fails.
 *
 *     vorn_class *radio = ClassBuilder("radio").persistent().with("channel", numeric).add();
 *     const Owned<vorn_instance> first = new_instance(radio, "radio0", {{"channel", "6"}});
 */

/* Validity functions. */
int accepts_anything(const char *value);
int accepts_nothing(const char *value);
int accepts_digits(const char *value); /* one decimal digit or more, nothing else */

/* What a property becomes; as it stands one that clients may read and write as they like. */
struct PropertyPlan {
    vorn_is_valid_fn is_valid = accepts_anything;
    int readable = 1;
    int writable = 1;
    int required_on_insert = 0;
    int persistence = persistence_unset;
};

constexpr PropertyPlan plain = {};
constexpr PropertyPlan numeric = {.is_valid = accepts_digits};
constexpr PropertyPlan read_only = {.is_valid = nullptr, .writable = 0};
constexpr PropertyPlan required = {.required_on_insert = 1};
constexpr PropertyPlan unsaved = {.persistence = 0};

/* A property of its own; vorn_class_add_property hands it to a class, else the owner frees it. */
Owned<vorn_property> new_property(const char *name, const PropertyPlan &plan = plain);

/* One class, described step by step; build() or add() ends the description. */
class ClassBuilder {
public:
    explicit ClassBuilder(const char *name, int type = VORN_CLASS_UNIQUE_NAMED);

    ClassBuilder &persistent(int persistence = 1);
    ClassBuilder &with(const char *property, const PropertyPlan &plan = plain);
    ClassBuilder &below(const char *superclass);
    ClassBuilder &abstract(const char *subclass_identifier);

    /* A class outside the registry, freed with its properties by its owner. */
    Owned<vorn_class> build();
    /* A class in the registry, not resolved yet; RegistryReset frees it. */
    vorn_class *add();
    /* The same, resolved and so ready for instances; a superclass must be there already. */
    vorn_class *add_resolved();

private:
    Owned<vorn_class> klass_;
};

/*
 * Registers a unique-named abstract class and its subclasses, which have no property of their
 * own, and resolves them all. Returns the abstract class; vorn_classes_get finds the others.
 */
vorn_class *add_family(const char *abstract_class, const char *subclass_identifier,
                       std::initializer_list<const char *> subclasses);

/* Resolves and validates every registered class; the test fails if one is not valid. */
void resolve_classes();

/* A text for one property. */
struct Value {
    const char *property;
    const char *text;
};

/* An instance of a resolved class; release() where something else takes it over. */
Owned<vorn_instance> new_instance(vorn_class *klass, const char *name = nullptr,
                                  std::initializer_list<Value> values = {});

/* Properties and texts, in the order of the values. */
using Values = std::vector<std::pair<std::string, std::string>>;
Values values_of(const vorn_instance &instance);

/* Takes every class out of the registry and frees it; the registry is as it was at start-up. */
void forget_classes();

/* While alive, the registry starts empty; at the end its classes are freed. */
struct RegistryReset {
    RegistryReset() { forget_classes(); }
    RegistryReset(const RegistryReset &) = delete;
    ~RegistryReset() { forget_classes(); }
};

/* The fixture for whatever deals with classes: the registry of its own and the captured log. */
class ModelTest : public testing::Test {
protected:
    RegistryReset registry;
    CapturedLog log;
};

} // namespace vorn::tests
