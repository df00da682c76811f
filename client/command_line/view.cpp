/* SPDX-License-Identifier: MIT */
/* What is there, and what will be. */
#include "view.h"

#include <algorithm>
#include <set>

#include "configuration.h"

namespace vorn::client {

std::vector<std::string> names_of(Device &device, const std::string &class_name)
{
    std::set<std::string> names;
    for (const Instance &each : device.select({class_name, {}, {}}, {"none"})) {
        if (each.name) names.insert(*each.name);
    }
    return {names.begin(), names.end()};
}

const std::string &View::commit()
{
    if (commit_) return *commit_;
    commit_ = present_commit(device_);
    return *commit_;
}

std::vector<Instance> &View::family(const std::string &class_name)
{
    const std::string name = schema_.family_of(class_name);
    const auto known = families_.find(name);
    if (known != families_.end()) return known->second;
    commit();
    return families_[name] = device_.select({name, {}, {}});
}

/* A condition is the daemon's to judge, on what is there now. */
std::vector<Instance> View::find(const Target &target)
{
    std::vector<Instance> found;
    if (!target.where.empty()) {
        commit();
        return device_.select(target);
    }
    const Class *klass = schema_.find(target.class_name);
    const Class *abstract = klass ? schema_.find(klass->superclass) : nullptr;
    for (const Instance &each : family(target.class_name)) {
        const bool is_member =
            !abstract || each.value(abstract->subclass_identifier) == klass->name;
        if (is_member && (!target.name || each.name == target.name)) found.push_back(each);
    }
    return found;
}

void View::update(const Target &target, const Values &values)
{
    for (Instance &each : family(target.class_name)) {
        if (target.name && each.name != target.name) continue;
        for (const auto &[property, value] : values)
            each.set(property, value);
    }
}

void View::insert(const Target &target, const Values &values)
{
    family(target.class_name).push_back({target.class_name, target.name, values});
}

void View::remove(const Target &target)
{
    std::erase_if(family(target.class_name),
                  [&](const Instance &each) { return !target.name || each.name == target.name; });
}

} // namespace vorn::client
