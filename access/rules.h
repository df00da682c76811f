/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/base/result.h"
#include "core/base/text.h"
#include "core/hash_table/table.h"
#include "vorn/instances.h"

namespace vorn {

/* The classes of which the rules are made, whoever declares them. */
constexpr char access_rule_class[] = "access-rule";
constexpr char access_default_class[] = "access-default";

/* Whether a class is one of the two. */
bool is_about_access(const char *class_name);

/* What somebody may do, as bits of one rule. */
enum class Right : unsigned char { read, insert, update, remove, confirm, inform };

constexpr unsigned int bit(Right right)
{
    return 1U << static_cast<unsigned int>(right);
}

/* One line of the list: to whom, of what, what, and whether he may. */
struct AccessRule : Record {
    enum class Whom : unsigned char { anybody, user, group, gate };
    enum class What : unsigned char { any_class, one_class, any_object, one_object };

    bool is_before(const AccessRule &other) const;

    unsigned long order = 0;
    Text name;
    Whom whom = Whom::anybody;
    Text subject; /* a user, a group or who the gate speaks for */
    What what = What::any_class;
    Text target;        /* a class, which covers its subclasses, or an object of the inform door */
    NameSet properties; /* without a table: all of them */
    unsigned int rights = 0;
    bool permits = false;
    AccessRule *next = nullptr;
};

/* The rules of one configuration in their order, and what holds where none of them says anything.
 */
class AccessRules : public Record {
public:
    static constexpr unsigned int longest_user = 32;

    constexpr AccessRules() = default;
    AccessRules(const AccessRules &) = delete;
    ~AccessRules();

    /* Refused for what cannot be understood, which must not be taken for no rule. */
    static Outcome read(const vorn_instances *instances, Owned<AccessRules> &rules);

    const AccessRule *first() const { return first_; }
    bool permits_by_default(Right right) const
    {
        return right == Right::read ? default_read_ : default_write_;
    }
    /* Whether there is anything that somebody may not do. */
    bool restricts() const { return first_ || !default_read_ || !default_write_; }
    const char *gate_user() const { return gate_user_; }
    /* Whether it matters to any rule which groups somebody is in. */
    bool names_groups() const { return names_groups_; }

private:
    Outcome add(const vorn_instance &instance);
    Outcome take_defaults(const vorn_instance &instance);

    AccessRule *first_ = nullptr;
    bool default_read_ = true;
    bool default_write_ = true;
    bool names_groups_ = false;
    char gate_user_[longest_user + 1] = "vorn-gate";
};

} // namespace vorn
