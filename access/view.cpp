/* SPDX-License-Identifier: MIT */
/*
 * From rules to rights: the first rule that is about a class, a property and what is to be done
 * with it decides. It is looked up once for each class, and never for an instance.
 */
#include "access/view.h"

#include "vorn/class.h"

#include <cstring>
#include <utility>

namespace vorn {

namespace {

constexpr unsigned int buckets = 8;

bool covers(const AccessRule &rule, const vorn_class &klass)
{
    using What = AccessRule::What;
    if (rule.what == What::any_class) return true;
    if (rule.what != What::one_class) return false;
    for (const vorn_class *each = &klass; each; each = each->superclass) {
        if (std::strcmp(each->name.get(), rule.target.get()) == 0) return true;
    }
    return false;
}

/* Without a property a rule is meant that is about all of them. */
bool is_about(const AccessRule &rule, const char *property)
{
    return !rule.properties || (property && rule.properties.contains(property));
}

bool is_about_object(const AccessRule &rule, const char *object)
{
    using What = AccessRule::What;
    if (rule.what == What::any_object) return true;
    return rule.what == What::one_object && std::strcmp(rule.target.get(), object) == 0;
}

/* What comes after it is never asked. */
bool is_about_all(const AccessRule &rule)
{
    return rule.what == AccessRule::What::any_class && !rule.properties;
}

bool add_to(NameSet &names, const char *name)
{
    return names.create(buckets) && names.add(name);
}

ClassRights::Describes described_by(const char *class_name)
{
    if (std::strcmp(class_name, "schema-class") == 0) return ClassRights::Describes::classes;
    if (std::strcmp(class_name, "schema-property") == 0) return ClassRights::Describes::properties;
    return ClassRights::Describes::nothing;
}

} // namespace

AccessView::~AccessView()
{
    while (first_)
        delete std::exchange(first_, first_->next);
}

bool AccessView::begin(const Subject &subject, const AccessRules &rules)
{
    subject_ = subject;
    rules_ = &rules;
    SubjectNames names;
    if (!names.read(subject_, rules) || !classes_.create(buckets)) return false;

    const bool by_default = rules.permits_by_default(Right::read);
    bool is_decided = false;
    bool is_last = false;
    reads_everything_ = by_default;
    for (const AccessRule *each = rules.first(); each; each = each->next) {
        if (!names.is_meant(*each)) continue;
        if (!his_.add(each)) return false;
        const bool is_of_door = each->what == AccessRule::What::any_object ||
                                each->what == AccessRule::What::one_object;
        if (is_of_door || is_last || !(each->rights & bit(Right::read))) continue;
        reads_anything_ |= each->permits;
        is_last = is_about_all(*each);
        if (is_decided) continue;
        is_decided = !each->permits || is_last;
        if (is_decided) reads_everything_ = each->permits;
    }
    reads_anything_ |= by_default && !is_last;
    return true;
}

bool AccessView::decide(Right right, const vorn_class &klass, const char *property) const
{
    for (const AccessRule *each : his_) {
        if ((each->rights & bit(right)) && is_about(*each, property) && covers(*each, klass))
            return each->permits;
    }
    return rules_->permits_by_default(right);
}

bool AccessView::may_inform(const char *object) const
{
    for (const AccessRule *each : his_) {
        if ((each->rights & bit(Right::inform)) && is_about_object(*each, object))
            return each->permits;
    }
    return rules_->permits_by_default(Right::inform);
}

/* Those of the superclasses too: a rule may mean them for one subclass alone. */
bool AccessView::add_properties(const vorn_class &klass, const vorn_class &of, ClassRights &rights,
                                bool &any_read, bool &any_insert, bool &any_update) const
{
    if (of.superclass &&
        !add_properties(klass, *of.superclass, rights, any_read, any_insert, any_update))
        return false;
    for (auto [name, property] : of.properties) {
        const bool may_be_read =
            decide(Right::read, klass, name) && (!property->about_others || reads_everything_);
        const bool may_be_inserted =
            property->subclass_identifier || decide(Right::insert, klass, name);
        const bool may_be_updated = decide(Right::update, klass, name);
        if (!may_be_read && !add_to(rights.unreadable, name)) return false;
        if (!may_be_inserted && !add_to(rights.not_insertable, name)) return false;
        if (!may_be_updated && !add_to(rights.not_updatable, name)) return false;
        if (!decide(Right::confirm, klass, name) && !add_to(rights.unconfirmable, name))
            return false;
        any_read |= may_be_read;
        any_insert |= may_be_inserted && !property->subclass_identifier;
        any_update |= may_be_updated;
        if (property->required_on_insert && !may_be_inserted) rights.is_insertable = false;
    }
    return true;
}

/* False when memory is gone. */
bool AccessView::find_rights(const vorn_class &klass, ClassRights &rights) const
{
    bool any_read = false;
    bool any_insert = false;
    bool any_update = false;
    rights.describes = described_by(klass.name.get());
    rights.is_insertable = true;
    if (!add_properties(klass, klass, rights, any_read, any_insert, any_update)) return false;

    rights.is_there = any_read || decide(Right::read, klass, nullptr);
    rights.is_insertable &= any_insert || decide(Right::insert, klass, nullptr);
    rights.is_updatable = any_update || decide(Right::update, klass, nullptr);
    rights.is_deletable = decide(Right::remove, klass, nullptr);
    if (!klass.subclasses) return true;
    rights.is_there = false;
    for (auto [name, subclass] : klass.subclasses)
        rights.is_there |= of(*subclass).is_there;
    return !out_of_memory_;
}

const ClassRights &AccessView::look_up(const vorn_class &klass) const
{
    static const ClassRights none;
    if (const ClassRights *known = classes_.get(&klass)) {
        last_class_ = &klass;
        return *(last_rights_ = known);
    }
    Owned<ClassRights> rights = make<ClassRights>();
    if (!rights || !find_rights(klass, *rights) || classes_.insert(&klass, rights.get()) != 0) {
        out_of_memory_ = true;
        return none;
    }
    rights->next = first_;
    return *(first_ = rights.release());
}

bool AccessView::is_described_there(const vorn_instance &instance,
                                    ClassRights::Describes what) const
{
    const vorn_class *klass = instance.name ? vorn_classes_get(instance.name.get()) : nullptr;
    if (!klass || !is_there(*klass)) return false;
    if (what == ClassRights::Describes::classes) return true;
    const char *name = or_empty(vorn_instance_get_value(&instance, "property"));
    const ClassRights &rights = of(*klass);
    return rights.may_read(name) || !rights.not_updatable.contains(name) ||
           !rights.not_insertable.contains(name);
}

bool AccessView::is_there(const vorn_instance &instance) const
{
    const ClassRights &rights = of(*instance.klass);
    if (!rights.is_there || rights.describes == ClassRights::Describes::nothing)
        return rights.is_there;
    return is_described_there(instance, rights.describes);
}

} // namespace vorn
