/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/plain_array.h"
#include "model/class_record.h"
#include "model/instance_record.h"

#include <cstdint>

#include "access/rules.h"
#include "access/subject.h"

namespace vorn {

/* What somebody may do with the instances of one class. Sets hold the names that he may not. */
struct ClassRights : Record {
    enum class Describes : unsigned char { nothing, classes, properties };

    bool may_read(const char *property) const { return !unreadable.contains(property); }

    bool is_there = false; /* else there is no such class */
    bool is_insertable = false;
    bool is_updatable = false;
    bool is_deletable = false;
    Describes describes = Describes::nothing; /* instances that are about the schema */
    NameSet unreadable;
    NameSet not_insertable;
    NameSet not_updatable;
    NameSet unconfirmable;
    ClassRights *next = nullptr;
};

/*
 * What one subject may do by one list of rules. Found out class by class when it is asked for; a
 * class for which memory did not suffice is not there, and that is noted.
 */
class AccessView : public Record {
public:
    AccessView() = default;
    AccessView(const AccessView &) = delete;
    ~AccessView();

    bool begin(const Subject &subject, const AccessRules &rules);
    const Subject &subject() const { return subject_; }

    const ClassRights &of(const vorn_class &klass) const
    {
        return last_class_ == &klass ? *last_rights_ : look_up(klass);
    }
    /* Of an abstract class, whether any of its subclasses is. */
    bool is_there(const vorn_class &klass) const { return of(klass).is_there; }
    bool is_there(const vorn_instance &instance) const;
    /* Whether there is no rule that might keep anything from him, not even what nobody knows. */
    bool reads_everything() const { return reads_everything_; }
    /* Whether there is anything that he may read, perhaps. */
    bool reads_anything() const { return reads_anything_; }
    bool may_inform(const char *object) const;
    bool out_of_memory() const { return out_of_memory_; }

private:
    const ClassRights &look_up(const vorn_class &klass) const;
    bool decide(Right right, const vorn_class &klass, const char *property) const;
    bool find_rights(const vorn_class &klass, ClassRights &rights) const;
    bool add_properties(const vorn_class &klass, const vorn_class &of, ClassRights &rights,
                        bool &any_read, bool &any_insert, bool &any_update) const;
    bool is_described_there(const vorn_instance &instance, ClassRights::Describes what) const;

    Subject subject_;
    const AccessRules *rules_ = nullptr;
    PlainArray<const AccessRule *> his_; /* the rules that are about him, in their order */
    bool reads_everything_ = false;
    bool reads_anything_ = false;
    mutable bool out_of_memory_ = false;
    mutable IdentityTable<vorn_class, ClassRights> classes_;
    mutable ClassRights *first_ = nullptr;
    /* A request asks for the rights to one class again and again. */
    mutable const vorn_class *last_class_ = nullptr;
    mutable const ClassRights *last_rights_ = nullptr;

public:
    /* For whoever keeps views: how many use it, and the next one. */
    unsigned int users = 0;
    std::int64_t made_at = 0;
    AccessView *next = nullptr;
};

} // namespace vorn
