/* SPDX-License-Identifier: MIT */
/* Properties, classes and instances for tests, made through the public interface. */
#include "support/builders.h"

#include "model/class_registry_state.h"
#include "support/allocation.h"

#include <cstring>
#include <utility>

namespace vorn::tests {

int accepts_anything(const char *)
{
    return 1;
}

int accepts_nothing(const char *)
{
    return 0;
}

int accepts_digits(const char *value)
{
    return *value != '\0' && value[std::strspn(value, "0123456789")] == '\0';
}

Owned<vorn_property> new_property(const char *name, const PropertyPlan &plan)
{
    const AllocationsAllowed allowed;
    Owned<vorn_property> property(vorn_property_new(name));

    if (plan.is_valid) vorn_property_set_is_valid_fn(property.get(), plan.is_valid);
    vorn_property_set_readable(property.get(), plan.readable);
    vorn_property_set_writable(property.get(), plan.writable);
    vorn_property_set_required_on_insert(property.get(), plan.required_on_insert);
    vorn_property_set_persistence(property.get(), plan.persistence);
    return property;
}

ClassBuilder::ClassBuilder(const char *name, int type)
{
    const AllocationsAllowed allowed;
    klass_.reset(vorn_class_new(name));
    vorn_class_set_type(klass_.get(), type);
}

ClassBuilder &ClassBuilder::persistent(int persistence)
{
    vorn_class_set_persistence(klass_.get(), persistence);
    return *this;
}

ClassBuilder &ClassBuilder::with(const char *property, const PropertyPlan &plan)
{
    const AllocationsAllowed allowed;
    Owned<vorn_property> made = new_property(property, plan);
    EXPECT_EQ(vorn_class_add_property(klass_.get(), made.get()), 0) << property;
    made.release();
    return *this;
}

ClassBuilder &ClassBuilder::below(const char *superclass)
{
    const AllocationsAllowed allowed;
    EXPECT_EQ(vorn_class_set_superclass(klass_.get(), superclass), 0);
    return *this;
}

ClassBuilder &ClassBuilder::abstract(const char *subclass_identifier)
{
    const AllocationsAllowed allowed;
    Owned<vorn_property> identifier = new_property(subclass_identifier);
    EXPECT_EQ(vorn_class_set_abstract(klass_.get(), 1), 0);
    EXPECT_EQ(vorn_class_set_subclass_identifier(klass_.get(), identifier.get()), 0);
    identifier.release();
    return *this;
}

Owned<vorn_class> ClassBuilder::build()
{
    return std::move(klass_);
}

vorn_class *ClassBuilder::add()
{
    const AllocationsAllowed allowed;
    EXPECT_EQ(vorn_classes_add(klass_.get()), 0);
    return klass_.release();
}

vorn_class *ClassBuilder::add_resolved()
{
    const AllocationsAllowed allowed;
    vorn_class *klass = add();
    EXPECT_EQ(vorn_class_resolve(klass), 0);
    return klass;
}

vorn_class *add_family(const char *abstract_class, const char *subclass_identifier,
                       std::initializer_list<const char *> subclasses)
{
    const AllocationsAllowed allowed;
    vorn_class *parent = ClassBuilder(abstract_class).abstract(subclass_identifier).add();
    EXPECT_EQ(vorn_class_resolve(parent), 0);
    for (const char *name : subclasses)
        ClassBuilder(name).below(abstract_class).add_resolved();
    return parent;
}

void resolve_classes()
{
    const AllocationsAllowed allowed;
    ASSERT_EQ(vorn_classes_done_adding(), 0);
}

Owned<vorn_instance> new_instance(vorn_class *klass, const char *name,
                                  std::initializer_list<Value> values)
{
    const AllocationsAllowed allowed;
    Owned<vorn_instance> instance(vorn_instance_new(klass, name));
    for (const Value &value : values)
        EXPECT_EQ(vorn_instance_set_value(instance.get(), value.property, value.text), 0)
            << value.property;
    return instance;
}

Values values_of(const vorn_instance &instance)
{
    Values values;
    for (auto [property, text] : instance.values)
        values.emplace_back(property.name, text);
    return values;
}

void forget_classes()
{
    Owned<ClassRegistry> forgotten(std::exchange(class_registry, nullptr));
    if (!forgotten) return;
    for (auto [name, klass] : forgotten->classes)
        delete klass;
}

} // namespace vorn::tests
