/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/base/result.h"
#include "core/base/shared_text.h"
#include "model/class_record.h"
#include "model/lazy/home.h"
#include "model/values.h"
#include "vorn/instance.h"

struct vorn_instance : vorn::Record {
    vorn_class *klass = nullptr;
    vorn::SharedText name;
    vorn::Values values;
    vorn_instance_listener_fn listener = nullptr;
    void *listener_data = nullptr;
    std::uint64_t since = 0; /* when the listener above was set, or when the store took it in */
    vorn::OnShelf shelf;     /* in the first store that took it in; others have it as a guest */
};

namespace vorn {

struct InstanceListener {
    vorn_instance_listener_fn call;
    void *data;
};

/* Who is told of a value that is set: whoever was set last, for the instance or for its store. */
InstanceListener listener_of(const vorn_instance &instance);

/*
 * As vorn_instance_new and vorn_instance_set_value, which say less of why they fail. What is
 * expected should be all that is going to be set; what no instance of the class can hold is not.
 */
Outcome make_instance(vorn_class &klass, const char *name, const ExpectedValues &expected,
                      Owned<vorn_instance> &made);
Outcome set_value(vorn_instance &instance, const char *property, const char *value);

/*
 * Gives an instance other values, of its class's properties and judged before, without telling its
 * listener; tell_of_value does that. False, with nothing changed, when a witness finds no memory.
 */
bool exchange_values(vorn_instance &instance, const Values &values);
void tell_of_value(vorn_instance &instance, const char *property);

/* Whether the instance's own listener is older than what was set for its store. */
bool is_listener_outdated(const vorn_instance &instance);

/*
 * Leaves an instance to whoever may hold it: a copy, if there is one, has its place. What it takes
 * is counted.
 */
void leave_behind(vorn_instance &instance, const vorn_instance *copy);

/* Files an instance on another shelf, from wherever it is. */
void put_on_shelf(vorn_instance &instance, const OnShelf &shelf);

/*
 * While one lives, an instance that is deleted can still be read: a commit hands the same instances
 * to one provider after the other, and each of them may delete some. They are freed with the last.
 */
class DeletionsWait {
public:
    DeletionsWait();
    DeletionsWait(const DeletionsWait &) = delete;
    ~DeletionsWait();
};

} // namespace vorn
