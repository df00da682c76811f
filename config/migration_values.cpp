/* SPDX-License-Identifier: MIT */
/*
 * The steps of a migration that change the values of one instance. What can't be done leaves the
 * values as they were: the load keeps what it does not know, and nothing is lost for good.
 */
#include "config/migration_values.h"

#include "config/file_limits.h"
#include "core/plugin_page.h"

#include <cstring>

namespace vorn {

namespace {

bool are_equal(const char *one, const char *other)
{
    return std::strcmp(one, other) == 0;
}

bool are_same(const char *one, const char *other)
{
    return one && other ? are_equal(one, other) : one == other;
}

/* A step on its way through one instance. */
class ValueStep {
public:
    ValueStep(const PlannedStep &planned, InstanceOnItsWay &instance)
        : planned_(planned),
          step_(*planned.step),
          document_(instance.document),
          values_(instance.values),
          instance_(instance)
    {}

    bool take(unsigned int &dropped);

private:
    bool lose(const char *property, const LossReason &reason)
    {
        if (instance_.losses) instance_.losses->add(instance_.title, property, reason);
        return true;
    }
    bool rename();
    bool take_apart(const char *property, vorn_split_fn split, vorn_join_fn way_back);
    bool put_together(const char *property, vorn_join_fn join, vorn_split_fn way_back);
    bool map();
    bool map_back();
    bool give_default();
    bool drop(unsigned int &dropped);

    bool find_parts(PlainArray<const char *> &parts);
    const char *part_of(const char *text, unsigned int part, vorn_split_fn split);
    const char *join(const PlainArray<const char *> &texts, vorn_join_fn function);
    const char *keep(Allocated<char> made);
    template <typename Visit>
    void for_each_map(Visit visit) const;
    bool is_first_map() const;

    const PlannedStep &planned_;
    const vorn_migration &step_;
    ConfigDocument &document_;
    EditedValues &values_;
    InstanceOnItsWay &instance_;
    bool failed_ = false;
};

bool ValueStep::rename()
{
    if (!values_.has(planned_.property)) return true;
    if (values_.has(planned_.to_property))
        return lose(planned_.property, LossReason("\"%s\" is there already", planned_.to_property));
    values_.rename(planned_.property, planned_.to_property);
    return true;
}

/* What a plugin's function made, as a text of the document; null for what no file could hold. */
const char *ValueStep::keep(Allocated<char> made)
{
    if (!made || !file_may_hold(made.get())) return nullptr;
    const char *kept = document_.keep(made.get());
    failed_ = failed_ || !kept;
    return kept;
}

const char *ValueStep::part_of(const char *text, unsigned int part, vorn_split_fn split)
{
    const InPlugin watched(planned_.schema->owner, Callback::migration);
    return keep(Allocated<char>(split(text, part)));
}

const char *ValueStep::join(const PlainArray<const char *> &texts, vorn_join_fn function)
{
    const InPlugin watched(planned_.schema->owner, Callback::migration);
    return keep(Allocated<char>(function(texts.begin(), static_cast<unsigned int>(texts.size()))));
}

/* The parts' names, as the document has them. */
bool ValueStep::find_parts(PlainArray<const char *> &parts)
{
    for (const char *const *each = step_.names; *each; each++) {
        const char *name = document_.keep(*each);
        if (!name || !parts.add(name)) return false;
    }
    return true;
}

bool ValueStep::take_apart(const char *property, vorn_split_fn split, vorn_join_fn way_back)
{
    const char *text = values_.get(property);
    if (!text) return true;
    if (!split)
        return lose(property, LossReason("there is no way back before version %u", step_.version));
    PlainArray<const char *> names;
    PlainArray<const char *> texts;
    if (!find_parts(names)) return false;
    for (const char *name : names) {
        if (name != property && values_.has(name))
            return lose(property, LossReason("\"%s\" is there already", name));
    }
    bool is_any = false;
    for (unsigned int i = 0; i < names.size(); i++) {
        const char *part = part_of(text, i, split);
        if (failed_ || !texts.add(part)) return false;
        is_any |= part != nullptr;
    }
    if (!is_any) return lose(property, LossReason("it can't be split"));
    if (instance_.losses && way_back) {
        if (!are_same(join(texts, way_back), text))
            lose(property,
                 LossReason("the way back before version %u leads to another text", step_.version));
    }
    values_.remove(property);
    for (std::size_t i = 0; i < names.size(); i++) {
        if (texts[i]) values_.add(names[i], texts[i]);
    }
    return !failed_;
}

bool ValueStep::put_together(const char *property, vorn_join_fn join_fn, vorn_split_fn way_back)
{
    PlainArray<const char *> names;
    PlainArray<const char *> texts;
    if (!find_parts(names)) return false;
    bool is_any = false;
    bool is_part = false;
    for (const char *name : names) {
        const char *text = values_.get(name);
        if (!texts.add(text)) return false;
        is_any |= text != nullptr;
        is_part |= name == property;
    }
    if (!is_any) return true;
    const char *joined = nullptr;
    if (join_fn) joined = join(texts, join_fn);
    if (failed_) return false;
    const bool is_taken = !is_part && values_.has(property);
    for (std::size_t i = 0; i < names.size(); i++) {
        if (!texts[i]) continue;
        if (is_taken) {
            lose(names[i], LossReason("\"%s\" is there already", property));
        } else if (!join_fn) {
            lose(names[i], LossReason("there is no way back before version %u", step_.version));
        } else if (!joined) {
            lose(names[i], LossReason("it can't be joined"));
        }
    }
    if (is_taken || !joined) return true;
    for (unsigned int i = 0; instance_.losses && way_back && i < names.size(); i++) {
        if (!are_same(part_of(joined, i, way_back), texts[i]))
            lose(names[i],
                 LossReason("the way back before version %u leads to another text", step_.version));
    }
    for (const char *name : names)
        values_.remove(name);
    values_.add(property, joined);
    return !failed_;
}

/* The maps of this property in this version, which are taken at the first of them. */
template <typename Visit>
void ValueStep::for_each_map(Visit visit) const
{
    for (const vorn_migration &each : planned_.schema->table) {
        if (each.kind == VORN_MIGRATION_MAP_VALUE && each.version == step_.version &&
            are_equal(each.class_name, step_.class_name) &&
            are_equal(each.property, step_.property))
            visit(each);
    }
}

bool ValueStep::is_first_map() const
{
    const vorn_migration *first = nullptr;
    for_each_map([&](const vorn_migration &each) {
        if (!first) first = &each;
    });
    return first == &step_;
}

bool ValueStep::map()
{
    const char *property = planned_.property;
    const char *text = values_.get(property);
    if (!text) return true;
    const char *to = nullptr;
    bool is_goal = false;
    for_each_map([&](const vorn_migration &each) {
        if (!to && are_equal(each.from, text)) to = each.to;
        is_goal |= are_equal(each.to, text);
    });
    if (to) {
        if (!are_equal(to, text)) values_.replace(property, to);
    } else if (is_goal) {
        lose(property,
             LossReason("another value has become \"%s\" in version %u", text, step_.version));
    }
    return true;
}

bool ValueStep::map_back()
{
    const char *property = planned_.property;
    const char *text = values_.get(property);
    if (!text) return true;
    const char *from = nullptr;
    unsigned int count = 0;
    bool was_mapped = false;
    for_each_map([&](const vorn_migration &each) {
        was_mapped |= are_equal(each.from, text);
        if (!are_equal(each.to, text)) return;
        if (!from) from = each.from;
        count += !are_equal(each.from, from) || count == 0;
    });
    if (count > 1)
        lose(property,
             LossReason("several values have become \"%s\" in version %u", text, step_.version));
    if (count == 0 && was_mapped)
        lose(property,
             LossReason("\"%s\" means something else before version %u", text, step_.version));
    if (from && !are_equal(from, text)) values_.replace(property, from);
    return true;
}

bool ValueStep::give_default()
{
    const char *property = planned_.property;
    const char *text = values_.get(property);
    if (!planned_.is_back) {
        if (!text) values_.add(property, step_.to);
        return true;
    }
    if (text && !are_equal(text, step_.to))
        lose(property, LossReason("there is none before version %u", step_.version));
    values_.remove(property);
    return true;
}

bool ValueStep::drop(unsigned int &dropped)
{
    if (planned_.is_back || !values_.has(planned_.property)) return true;
    dropped++;
    values_.remove(planned_.property);
    return lose(planned_.property, LossReason("it is dropped in version %u", step_.version));
}

bool ValueStep::take(unsigned int &dropped)
{
    const bool is_back = planned_.is_back;
    const char *property = planned_.property;
    switch (step_.kind) {
    case VORN_MIGRATION_RENAME_PROPERTY:
        return rename();
    case VORN_MIGRATION_SPLIT_PROPERTY:
        return is_back ? put_together(property, step_.join, step_.split)
                       : take_apart(property, step_.split, step_.join);
    case VORN_MIGRATION_JOIN_PROPERTIES:
        return is_back ? take_apart(property, step_.split, step_.join)
                       : put_together(property, step_.join, step_.split);
    case VORN_MIGRATION_MAP_VALUE:
        return !is_first_map() || (is_back ? map_back() : map());
    case VORN_MIGRATION_DEFAULT_VALUE:
        return give_default();
    default:
        return drop(dropped);
    }
}

} // namespace

bool is_within_instance(const PlannedStep &planned)
{
    const int kind = planned.step->kind;
    return kind != VORN_MIGRATION_RENAME_CLASS && kind != VORN_MIGRATION_MOVE_PROPERTY &&
           kind != VORN_MIGRATION_DROP_CLASS;
}

bool take_step(const PlannedStep &planned, InstanceOnItsWay &instance, unsigned int &dropped)
{
    return ValueStep(planned, instance).take(dropped);
}

} // namespace vorn
