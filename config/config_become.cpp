/* SPDX-License-Identifier: MIT */
/*
 * Makes a store hold what a document says, touching only what differs: whoever is told of the
 * changes has to do no more than he must. The document is first read into a store of its own, so
 * that it means what it would mean at a boot; then the two are compared class by class. A class
 * whose order counts is compared place by place, since what is added can only come last.
 */
#include "change/amend_info_record.h"
#include "change/changes_record.h"
#include "config/config_read.h"
#include "config/config_write.h"
#include "core/base/memory.h"
#include "core/base/plain_array.h"
#include "core/base/result.h"
#include "core/guard.h"
#include "model/class_record.h"
#include "model/classes_walk.h"
#include "model/instance_record.h"
#include "model/instances_order.h"
#include "model/instances_walk.h"
#include "model/lazy/working_copy.h"
#include "services/xml/xml.h"
#include "vorn/class.h"

#include <algorithm>
#include <cstring>

namespace vorn {

namespace {

/* The instances of one class in their order, for who has to look at them twice. */
using Sequence = PlainArray<const vorn_instance *>;

/* Walks the saved values of an instance, or of none, one by one. */
class SavedValues {
public:
    explicit SavedValues(const vorn_instance *instance)
        : instance_(instance),
          at_(instance ? instance->values.begin() : nothing),
          end_(instance ? instance->values.end() : nothing)
    {
        pass_unsaved();
    }

    bool is_over() const { return !(at_ != end_); }
    NamedText operator*() const { return *at_; }
    void next()
    {
        ++at_;
        pass_unsaved();
    }

private:
    void pass_unsaved()
    {
        while (at_ != end_ && !is_saved(*instance_->klass, (*at_).property.name))
            ++at_;
    }

    static constexpr Values::Cursor nothing{nullptr, 0};

    const vorn_instance *instance_;
    Values::Cursor at_;
    Values::Cursor end_;
};

/* In the same order too: it is that of the saved file. */
bool are_same(const vorn_instance &one, const vorn_instance *other)
{
    SavedValues left(&one);
    SavedValues right(other);
    for (; !left.is_over() && !right.is_over(); left.next(), right.next()) {
        if (std::strcmp((*left).property.name, (*right).property.name) != 0) return false;
        if (std::strcmp((*left).text, (*right).text) != 0) return false;
    }
    return left.is_over() && right.is_over();
}

bool has_name_of(const vorn_instance &one, const vorn_instance &other)
{
    return std::strcmp(or_empty(one.name.get()), or_empty(other.name.get())) == 0;
}

bool is_ordered(const vorn_class &klass)
{
    return klass.type == VORN_CLASS_ANONYMOUS || klass.type == VORN_CLASS_GROUP_NAMED;
}

/* One store on its way to what another one holds. Once it has failed the way is not gone on. */
class Becoming {
public:
    Becoming(vorn_instances &store, vorn_changes &changes, vorn_instances &wanted)
        : store_(store), changes_(changes), wanted_(wanted)
    {}

    bool run();

private:
    bool change_class(const vorn_class &klass);
    bool find_goals(const vorn_class &klass, Sequence &present, Sequence &goals);
    bool find_ordered_goals(const vorn_class &klass, Sequence &present, std::size_t first,
                            std::size_t end, Sequence &goals);
    bool take_out(vorn_instance *instance);
    bool give_values(vorn_instance *instance, const vorn_instance *goal);
    bool forget(const vorn_instance *goal);
    bool insert_rest();
    bool note_order();
    bool is_in_order(std::size_t first, std::size_t end);
    bool put_in_order(std::size_t first, std::size_t end);
    bool put_all_in_order();

    vorn_instances &store_;
    vorn_changes &changes_;
    vorn_instances &wanted_; /* less and less: what is left in the end is new */
    Sequence order_;         /* of what was wanted, as far as names are unique */
};

/* What members of a class, or of one of its groups, become: each what stands in its place. */
bool Becoming::find_ordered_goals(const vorn_class &klass, Sequence &present, std::size_t first,
                                  std::size_t end, Sequence &goals)
{
    Sequence wanted;
    const Walk walk(
        vorn_instances_new_group_iterator(&wanted_, klass.name.get(), present[first]->name.get()));
    for (const vorn_instance *each : walk)
        wanted.add(each);
    if (!walk || wanted.failed()) return false;

    const std::size_t count = end - first;
    const std::size_t both = std::min(count, wanted.size());
    std::size_t head = 0;
    while (head < both && are_same(*present[first + head], wanted[head]))
        head++;
    /* What comes after members that go stays; after members that are missing nothing can. */
    std::size_t tail = 0;
    while (count >= wanted.size() && head + tail < both &&
           are_same(*present[end - 1 - tail], wanted[wanted.size() - 1 - tail]))
        tail++;
    for (std::size_t i = 0; i < count; i++) {
        const bool is_in_tail = i >= count - tail;
        const std::size_t place = is_in_tail ? i + wanted.size() - count : i;
        const bool stays = is_in_tail || i + tail < wanted.size();
        goals.add(stays ? wanted[place] : nullptr);
    }
    return !goals.failed();
}

/* For each instance that is there the one that it has to equal, or null when it has to go. */
bool Becoming::find_goals(const vorn_class &klass, Sequence &present, Sequence &goals)
{
    const char *name = klass.name.get();
    for (std::size_t i = 0; i < present.size();) {
        std::size_t end = i + 1;
        if (is_ordered(klass)) {
            while (end < present.size() && has_name_of(*present[i], *present[end]))
                end++;
            if (!find_ordered_goals(klass, present, i, end, goals)) return false;
        } else if (klass.type == VORN_CLASS_SINGLETON) {
            const Walk walk(vorn_instances_new_class_iterator(&wanted_, name));
            if (!walk) return false;
            goals.add(*walk.begin());
        } else {
            goals.add(vorn_instances_get(&wanted_, name, present[i]->name.get()));
        }
        i = end;
    }
    return !goals.failed();
}

bool Becoming::take_out(vorn_instance *instance)
{
    if (!instance || vorn_instances_remove(&store_, instance) != ok) return false;
    const bool recorded = vorn_changes_instance_deleted(&changes_, instance) == ok;
    vorn_instance_delete(instance);
    return recorded;
}

/* Those of the goal in its order, or none; what is not saved stays. Each that differs is told. */
bool Becoming::give_values(vorn_instance *instance, const vorn_instance *goal)
{
    if (!instance) return false;
    const Values before = instance->values;
    Values values;
    if (goal) values = goal->values;
    for (auto [property, text] : before) {
        if (is_saved(*instance->klass, property.name)) continue;
        const vorn_property *declared = vorn_class_get_property(instance->klass, property.name);
        if (declared && !values.set(*declared, text, 0)) return false;
    }
    if (!exchange_values(*instance, values)) return false;
    for (auto [property, text] : before) {
        if (!values.get(property.name)) tell_of_value(*instance, property.name);
    }
    for (auto [property, text] : values) {
        const char *old = before.get(property.name);
        if (!old || std::strcmp(old, text) != 0) tell_of_value(*instance, property.name);
    }
    return true;
}

bool Becoming::forget(const vorn_instance *goal)
{
    auto *done = const_cast<vorn_instance *>(goal);
    if (vorn_instances_remove(&wanted_, done) != ok) return false;
    vorn_instance_delete(done);
    return true;
}

/* What is as it should be is only looked at. */
bool Becoming::change_class(const vorn_class &klass)
{
    Sequence present;
    Sequence goals;
    const Walk first(new_reading_iterator(&store_, klass.name.get(), nullptr));
    for (const vorn_instance *each : first)
        present.add(each);
    if (!first || present.failed() || !find_goals(klass, present, goals)) return false;

    const bool may_go = klass.type != VORN_CLASS_SINGLETON;
    const Walk walk(new_reading_iterator(&store_, klass.name.get(), nullptr));
    if (!walk) return false;
    std::size_t at = 0;
    for (const vorn_instance *each : walk) {
        const vorn_instance *goal = goals[at++];
        const bool goes = !goal && may_go;
        if (goes || !are_same(*each, goal)) {
            vorn_instance *instance = fetch_last(store_, *walk.iterator());
            if (!(goes ? take_out(instance) : give_values(instance, goal))) return false;
        }
        if (goal && !forget(goal)) return false;
    }
    return true;
}

/* Copies: the instances of a store that ends with them are not those of another one. */
bool Becoming::insert_rest()
{
    const Walk walk(vorn_instances_new_iterator(&wanted_));
    if (!walk) return false;
    for (const vorn_instance *each : walk) {
        if (!is_saved(*each->klass)) continue;
        Owned<vorn_instance> copy(vorn_instance_copy(each));
        if (!copy || vorn_instances_add(&store_, copy.get()) != ok) return false;
        if (vorn_changes_instance_inserted(&changes_, copy.release()) != ok) return false;
    }
    return true;
}

bool Becoming::note_order()
{
    const Walk walk(vorn_instances_new_iterator(&wanted_));
    for (const vorn_instance *each : walk) {
        if (each->klass->type == VORN_CLASS_UNIQUE_NAMED && is_saved(*each->klass))
            order_.add(each);
    }
    return walk && !order_.failed();
}

/* Without memory for the walk nothing is. */
bool Becoming::is_in_order(std::size_t first, std::size_t end)
{
    const Walk walk(new_reading_iterator(&store_, order_[first]->klass->name.get(), nullptr));
    for (const vorn_instance *each : walk) {
        if (first == end || !has_name_of(*each, *order_[first])) return false;
        first++;
    }
    return walk && first == end;
}

/* The change set is asked first: it tells the order of before by that of now. */
bool Becoming::put_in_order(std::size_t first, std::size_t end)
{
    vorn_class_instances *entry = store_.classes.get(order_[first]->klass->name.get());
    if (!entry || !vorn_changes_get_before(&changes_) || !fetch_whole(store_, *entry)) return false;
    for (std::size_t i = first; i < end; i++)
        make_last(*entry, order_[i]->name.get());
    return true;
}

bool Becoming::put_all_in_order()
{
    for (std::size_t first = 0; first < order_.size();) {
        std::size_t end = first + 1;
        while (end < order_.size() && order_[end]->klass == order_[first]->klass)
            end++;
        if (!is_in_order(first, end) && !put_in_order(first, end)) return false;
        first = end;
    }
    return true;
}

/* Names are free again before they are taken. */
bool Becoming::run()
{
    const DeletionsWait until_the_order_is_right;
    const ClassesWalk classes;
    if (!classes || !note_order()) return false;
    for (const vorn_class *klass : classes) {
        if (klass->abstract == 0 && is_saved(*klass) && !change_class(*klass)) return false;
    }
    return insert_rest() && put_all_in_order();
}

Outcome become(vorn_instances &store, vorn_changes &changes, const char *text, std::size_t size)
{
    ConfigDocument document = parse_config_text(text, size);
    if (!document) {
        return libxml2_was_short_of_memory() ? Outcome::out_of_memory : Outcome::refused;
    }
    const StoreWithInstances wanted(vorn_instances_new());
    Owned<vorn_changes> read(wanted ? vorn_changes_new(wanted.get()) : nullptr);
    Owned<KeptPieces> kept = make<KeptPieces>();
    unsigned int unknown = 0;
    if (!read || !kept || !read_instances(document, wanted.get(), read.get(), unknown, kept.get()))
        return Outcome::out_of_memory;
    read.reset();
    if (!Becoming(store, changes, *wanted).run()) return Outcome::out_of_memory;
    KeptOfGoal::set(std::move(kept));
    return Outcome::done;
}

} // namespace

} // namespace vorn

using namespace vorn;

int vorn_amend_info_become(vorn_amend_info *info, const char *document, size_t size)
{
    if (absent(info, "info") || absent(document, "document")) return failed;

    info->has_become = true;
    const Outcome outcome = become(*info->instances, *info->changes, document, size);
    if (outcome == Outcome::out_of_memory) info->out_of_memory = true;
    return flattened(outcome);
}
