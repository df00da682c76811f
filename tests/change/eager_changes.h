/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/base/result.h"
#include "model/class_record.h"
#include "model/instance_record.h"
#include "model/instances_walk.h"
#include "vorn/changes.h"

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vorn::tests {

/*
 * A change set that does everything at once: it copies every instance when it begins and listens
 * to each of them through the instance's own listener. What the real one shows must be the same.
 */
class EagerChanges {
public:
    explicit EagerChanges(vorn_instances *after) : after_(after)
    {
        alive()[number_] = this;
        for (vorn_instance *instance : Walk(vorn_instances_new_iterator(after))) {
            vorn_instance *copy = vorn_instance_copy(instance);
            vorn_instances_add(before_.get(), copy);
            copies_.emplace_back(copy);
            entries_[instance] = {0, copy, {}};
            vorn_instance_set_listener(instance, instance_changed,
                                       reinterpret_cast<void *>(number_));
        }
        vorn_instances_set_listener(after, instances_changed, this);
    }
    EagerChanges(const EagerChanges &) = delete;
    ~EagerChanges()
    {
        alive().erase(number_);
        vorn_instances_set_listener(after_, nullptr, nullptr);
        for (vorn_instance *instance : Walk(vorn_instances_new_iterator(after_)))
            vorn_instance_set_listener(instance, nullptr, nullptr);
    }

    int updated(vorn_instance *instance)
    {
        const auto found = entries_.find(instance);
        if (found == entries_.end()) return failed;
        if (found->second.state == 1) return ok;
        if (vorn_instances_add(changed_.get(), instance) != ok) return failed;
        found->second.state = 1;
        return ok;
    }
    int inserted(vorn_instance *instance)
    {
        if (entries_.count(instance)) return ok;
        /* The one of a class that was dropped may still be in the way. */
        if (vorn_instances_add(changed_.get(), instance) != ok) return failed;
        Entry &entry = entries_[instance];
        entry.state = 1;
        for (auto [property, value] : instance->values)
            entry.properties.insert(property.name);
        return ok;
    }
    int deleted(vorn_instance *instance)
    {
        const auto found = entries_.find(instance);
        if (found == entries_.end()) return ok;
        vorn_instance *copy = found->second.before;
        entries_.erase(found);
        vorn_instances_remove(changed_.get(), instance);
        if (copy) vorn_instances_add(deleted_.get(), copy);
        return ok;
    }
    int add_property(vorn_instance *instance, const char *property)
    {
        const auto found = entries_.find(instance);
        if (found == entries_.end()) return failed;
        found->second.properties.insert(property);
        return ok;
    }

    vorn_instances *before() const { return before_.get(); }
    vorn_instances *changed() const { return changed_.get(); }
    vorn_instances *gone() const { return deleted_.get(); }
    vorn_instance *before(const vorn_instance *instance) const
    {
        const auto found = entries_.find(instance);
        return found == entries_.end() ? nullptr : found->second.before;
    }
    int contains(const vorn_instance *instance) const
    {
        const auto found = entries_.find(instance);
        return found == entries_.end() ? 0 : found->second.state;
    }
    int contains(const vorn_instance *instance, const char *property) const
    {
        const auto found = entries_.find(instance);
        return found != entries_.end() && found->second.properties.count(property) ? 1 : 0;
    }

private:
    struct Entry {
        int state = 0;
        vorn_instance *before = nullptr;
        std::set<std::string> properties;
    };

    /* An instance that was taken out keeps its listener, even when the change set has ended. */
    static std::map<std::uintptr_t, EagerChanges *> &alive()
    {
        static std::map<std::uintptr_t, EagerChanges *> all;
        return all;
    }
    static std::uintptr_t next_number()
    {
        static std::uintptr_t last = 0;
        return ++last;
    }
    static void instance_changed(vorn_instance *instance, const char *property, void *data)
    {
        const auto found = alive().find(reinterpret_cast<std::uintptr_t>(data));
        if (found == alive().end()) return;
        found->second->updated(instance);
        found->second->add_property(instance, property);
    }
    static void instances_changed(vorn_instance *instance, int action, void *data)
    {
        auto *changes = static_cast<EagerChanges *>(data);
        if (action == VORN_INSTANCES_ADDED)
            changes->inserted(instance);
        else
            changes->deleted(instance);
    }

    const std::uintptr_t number_ = next_number();
    vorn_instances *after_;
    std::vector<Owned<vorn_instance>> copies_;
    StoreShell before_{vorn_instances_new()};
    StoreShell changed_{vorn_instances_new()};
    StoreShell deleted_{vorn_instances_new()};
    std::map<const vorn_instance *, Entry> entries_;
};

} // namespace vorn::tests
