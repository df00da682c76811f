/* SPDX-License-Identifier: MIT */
/*
 * From a document of an earlier version to one of today, and back. Only the instances of classes
 * that a step tells of are looked at; all others stay the records that they were, where they were.
 * Steps that concern one instance alone are taken one after the other while it is taken apart.
 */
#include "config/migration.h"

#include "config/instances_by_name.h"
#include "config/migration_values.h"
#include "config/schema_declaration.h"
#include "vorn/class.h"
#include "vorn/debug.h"

#include <cstring>
#include <utility>

namespace vorn {

namespace {

constexpr std::size_t none = InstancesByName::none;

/* An instance that a step may tell of, and what follows it in the document. */
struct Slot {
    WrittenInstance *record; /* null once it is dropped */
    const char *source;      /* the name of its class at first */
    WrittenInstance *run;    /* those that no step tells of */
    WrittenInstance *run_end;
    std::size_t made; /* the place of one that a step has made after it, before that run */
};

/* The records of a document while steps are taken; all are in it again at the end. */
class MovingInstances {
public:
    MovingInstances(ConfigDocument &document, Losses *losses) : document_(document), losses_(losses)
    {}
    MovingInstances(const MovingInstances &) = delete;
    ~MovingInstances();

    bool open(const MigrationPlan &plan);
    /* Each takes one step, or a row of those that are within instances. */
    bool take_row(PlannedStep *first, PlannedStep *end);
    bool take_across(PlannedStep &planned);

private:
    bool rename(const PlannedStep &planned);
    bool move(const PlannedStep &planned);
    bool move_value(const PlannedStep &planned, std::size_t source, InstancesByName &goals,
                    const InstancesByName &sources);
    void drop(PlannedStep &planned);

    bool is_of(std::size_t place, const char *class_name) const
    {
        return slots_[place].record && slots_[place].record->element == class_name;
    }
    const char *name_at(std::size_t place) const
    {
        return slots_[place].record->text_at(slots_[place].record->instance_name);
    }
    InstanceTitle title_of(std::size_t place) const
    {
        return {slots_[place].source, name_at(place)};
    }
    void lose(std::size_t place, const char *property, const LossReason &reason)
    {
        if (losses_) losses_->add(title_of(place), property, reason);
    }
    bool find_all(const char *class_name, InstancesByName &found) const;
    bool make_goal(const PlannedStep &planned, std::size_t source, int type, InstancesByName &goals,
                   std::size_t &made);
    bool write_back(std::size_t place, const EditedValues &values);
    void remove(std::size_t place);
    bool settle();

    ConfigDocument &document_;
    Losses *losses_;
    PlainArray<Slot> slots_;
    WrittenInstance *run_ = nullptr; /* before the first of them */
    WrittenInstance *run_end_ = nullptr;
    std::size_t settled_ = 0; /* the others were made since */
    bool is_open_ = false;
    EditedValues values_;
    EditedValues goal_;
};

bool MovingInstances::open(const MigrationPlan &plan)
{
    const char *last = nullptr;
    bool is_concerned = false;
    for (WrittenInstance *each = document_.first(); each; each = each->next) {
        if (each->element != last) is_concerned = plan.concerns(each->element);
        last = each->element;
        if (is_concerned && !slots_.add({each, each->element, nullptr, nullptr, none}))
            return false;
    }
    WrittenInstance **run = &run_;
    WrittenInstance **run_end = &run_end_;
    std::size_t next = 0;
    for (WrittenInstance *each = document_.first(); each; each = each->next) {
        if (next < slots_.size() && slots_[next].record == each) {
            run = &slots_[next].run;
            run_end = &slots_[next].run_end;
            next++;
            continue;
        }
        if (!*run) *run = each;
        *run_end = each;
    }
    settled_ = slots_.size();
    is_open_ = true;
    return true;
}

MovingInstances::~MovingInstances()
{
    if (!is_open_) return;
    WrittenInstance **end = &document_.first();
    const auto append = [&](WrittenInstance *first, WrittenInstance *last) {
        if (!first) return;
        *end = first;
        end = &last->next;
    };
    append(run_, run_end_);
    for (std::size_t place = 0; place < settled_; place++) {
        const Slot &slot = slots_[place];
        append(slot.record, slot.record);
        if (slot.made != none) append(slots_[slot.made].record, slots_[slot.made].record);
        append(slot.run, slot.run_end);
    }
    *end = nullptr;
}

/* What was made gets its place in the order of the document. */
bool MovingInstances::settle()
{
    if (settled_ == slots_.size()) return true;
    PlainArray<Slot> all;
    for (std::size_t place = 0; place < settled_; place++) {
        Slot slot = slots_[place];
        Slot made = {};
        if (slot.made != none) {
            made = slots_[slot.made];
            std::swap(slot.run, made.run);
            std::swap(slot.run_end, made.run_end);
        }
        slot.made = none;
        if (!all.add(slot) || (made.record && !all.add(made))) return false;
    }
    slots_ = std::move(all);
    settled_ = slots_.size();
    return true;
}

bool MovingInstances::write_back(std::size_t place, const EditedValues &values)
{
    Allocated<WrittenInstance> record(slots_[place].record);
    const bool written = values.write(record);
    slots_[place].record = record.release();
    return written;
}

void MovingInstances::remove(std::size_t place)
{
    std::free(std::exchange(slots_[place].record, nullptr));
}

bool MovingInstances::take_row(PlannedStep *first, PlannedStep *end)
{
    for (std::size_t place = 0; place < slots_.size(); place++) {
        bool is_read = false;
        for (PlannedStep *each = first; each < end; each++) {
            if (!is_of(place, each->class_name)) continue;
            if (!is_read) values_.read(*slots_[place].record);
            is_read = true;
            InstanceOnItsWay instance = {document_, values_, title_of(place), losses_};
            if (!take_step(*each, instance, each->dropped)) return false;
        }
        if (is_read && !write_back(place, values_)) return false;
    }
    return true;
}

bool MovingInstances::find_all(const char *class_name, InstancesByName &found) const
{
    for (std::size_t place = 0; place < slots_.size(); place++) {
        if (is_of(place, class_name) && !found.add(name_at(place), place)) return false;
    }
    return true;
}

/* Whether a class with these instances can't take in one more of the name. */
bool is_taken(const InstancesByName &present, int type, const char *name)
{
    if (type == VORN_CLASS_SINGLETON) return present.count() > 0;
    return name && type != VORN_CLASS_GROUP_NAMED && present.named(name) != none;
}

bool MovingInstances::rename(const PlannedStep &planned)
{
    const char *to = planned.to_class;
    const int type = type_after(planned, planned.step->to_class);
    InstancesByName present;
    if (!find_all(to, present)) return false;
    bool is_any = false;
    for (std::size_t place = 0; place < slots_.size(); place++) {
        if (!is_of(place, planned.class_name)) continue;
        is_any = true;
        if (is_taken(present, type, name_at(place))) {
            lose(place, nullptr, LossReason("there is a \"%s\" of that name already", to));
        } else {
            slots_[place].record->element = to;
        }
    }
    const bool is_mixed = losses_ && is_any && present.count() > 0;
    for (std::size_t place = 0; is_mixed && place < slots_.size(); place++) {
        if (is_of(place, to) && slots_[place].source == to)
            lose(place, nullptr,
                 LossReason("nothing tells it from what was \"%s\"", planned.class_name));
    }
    return true;
}

/* Where a value of that instance goes that is of another class; none when there is none yet. */
std::size_t goal_of(const char *name, const InstancesByName &goals, int type, bool &is_possible)
{
    const bool is_named_type = type == VORN_CLASS_UNIQUE_NAMED || type == VORN_CLASS_GROUP_NAMED;
    is_possible = type != VORN_CLASS_ANONYMOUS;
    if (type == VORN_CLASS_SINGLETON) return goals.first();
    if (name) return goals.named(name);
    if (goals.unnamed() != none) return goals.unnamed();
    if (goals.count() == 1) return goals.first();
    is_possible = is_possible && goals.count() == 0 && !is_named_type;
    return none;
}

bool MovingInstances::make_goal(const PlannedStep &planned, std::size_t source, int type,
                                InstancesByName &goals, std::size_t &made)
{
    const char *to = planned.to_class;
    const char *name = type == VORN_CLASS_SINGLETON ? nullptr : name_at(source);
    Allocated<WrittenInstance> record = new_written_instance(to, name);
    made = slots_.size();
    if (!record || !goals.add(name, made) ||
        !slots_.add({record.get(), to, nullptr, nullptr, none}))
        return false;
    record.release();
    slots_[source].made = made;
    if (planned.is_back) lose(source, planned.property, LossReason("\"%s\" is made for it", to));
    return true;
}

bool MovingInstances::move_value(const PlannedStep &planned, std::size_t source,
                                 InstancesByName &goals, const InstancesByName &sources)
{
    values_.read(*slots_[source].record);
    const char *text = values_.get(planned.property);
    if (!text) return true;
    const vorn_migration &step = *planned.step;
    const int type = type_after(planned, planned.is_back ? step.class_name : step.to_class);
    bool is_possible = false;
    std::size_t goal = goal_of(name_at(source), goals, type, is_possible);
    if (!is_possible) {
        lose(source, planned.property,
             LossReason("no instance of \"%s\" belongs to it", planned.to_class));
        return true;
    }
    const bool is_new = goal == none;
    if (is_new && !make_goal(planned, source, type, goals, goal)) return false;
    goal_.read(*slots_[goal].record);
    if (goal_.has(planned.to_property)) {
        lose(
            source, planned.property,
            LossReason("\"%s\" of \"%s\" is there already", planned.to_property, planned.to_class));
        return true;
    }
    if (!is_new && !planned.is_back && goal_.size() == 0 && name_at(goal))
        lose(goal, nullptr, LossReason("nothing tells it from one that was made"));
    if (name_at(source) && sources.are_several(name_at(source)))
        lose(source, planned.property, LossReason("it is one of several of that name"));
    goal_.add(planned.to_property, text);
    if (!write_back(goal, goal_)) return false;
    values_.remove(planned.property);
    if (!write_back(source, values_)) return false;
    if (planned.is_back && values_.size() == 0 && name_at(source)) remove(source);
    return true;
}

bool MovingInstances::move(const PlannedStep &planned)
{
    InstancesByName goals;
    InstancesByName sources; /* for what is told of losses */
    if (!find_all(planned.to_class, goals)) return false;
    if (losses_ && !find_all(planned.class_name, sources)) return false;
    for (std::size_t place = 0; place < slots_.size(); place++) {
        if (is_of(place, planned.class_name) && !move_value(planned, place, goals, sources))
            return false;
    }
    return settle();
}

void MovingInstances::drop(PlannedStep &planned)
{
    for (std::size_t place = 0; place < slots_.size() && !planned.is_back; place++) {
        if (!is_of(place, planned.class_name)) continue;
        lose(place, nullptr, LossReason("it is dropped in version %u", planned.step->version));
        remove(place);
        planned.dropped++;
    }
}

bool MovingInstances::take_across(PlannedStep &planned)
{
    switch (planned.step->kind) {
    case VORN_MIGRATION_RENAME_CLASS:
        return rename(planned);
    case VORN_MIGRATION_MOVE_PROPERTY:
        return move(planned);
    default:
        drop(planned);
        return true;
    }
}

void log_way(const MigrationPlan &plan, const PlannedWay &way)
{
    const char *name = way.schema->name.get();
    for (std::size_t i = way.first; i < way.end; i++) {
        const PlannedStep &each = plan.steps()[i];
        if (each.dropped == 0) continue;
        vorn_debug_printf("Schema \"%s\", version %u: dropped %u of \"%s\"%s%s.\n", name,
                          each.step->version, each.dropped, each.class_name,
                          each.property ? ": " : "", or_empty(each.property));
    }
    vorn_debug_printf("Schema \"%s\": migrated from version %u to %u.\n", name, way.from, way.to);
}

void log_later_version(const DeclaredVersion &said, unsigned int version)
{
    vorn_debug_printf("Schema \"%.*s\": the document is of version %u, later than %u, and is read "
                      "as it is.\n",
                      static_cast<int>(said.length), said.name, said.version, version);
}

void log_versions_of_silent_plugins(const char *versions)
{
    DeclaredVersion said = {};
    for (const char *at = versions; at && read_version(at, said);) {
        if (said.version > 0 && is_of_silent_plugin(said)) log_later_version(said, 0);
    }
}

} // namespace

bool carry_out(MigrationPlan &plan, ConfigDocument &document, Losses *losses)
{
    if (plan.steps().size() == 0) return true;
    MovingInstances instances(document, losses);
    if (!instances.open(plan)) return false;
    for (const PlannedWay &way : plan.ways()) {
        PlannedStep *step = plan.steps().begin() + way.first;
        PlannedStep *end = plan.steps().begin() + way.end;
        while (step < end) {
            PlannedStep *row_end = step;
            while (row_end < end && is_within_instance(*row_end))
                row_end++;
            const bool is_row = row_end > step;
            if (!(is_row ? instances.take_row(step, row_end) : instances.take_across(*step)))
                return false;
            step = is_row ? row_end : step + 1;
        }
    }
    return !losses || !losses->failed();
}

bool migrate(ConfigDocument &document)
{
    if (!document.first()) return true;
    log_versions_of_silent_plugins(document.versions());
    MigrationPlan plan;
    for (const PluginSchema *each = first_schema; each; each = each->next) {
        const unsigned int version = version_in(document.versions(), each->name.get());
        if (version > each->version) {
            log_later_version({each->name.get(), std::strlen(each->name.get()), version},
                              each->version);
        } else if (!plan.add(document, *each, version, each->version)) {
            return false;
        }
    }
    if (!carry_out(plan, document, nullptr)) return false;
    for (const PlannedWay &way : plan.ways())
        log_way(plan, way);
    return true;
}

} // namespace vorn
