/* SPDX-License-Identifier: MIT */
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "device.h"
#include "lsql.h"
#include "schema.h"

namespace vorn::client {

/*
 * What a change has come to: whether the running system is what the configuration says, and
 * whether it is saved. Made before the change, asked after it.
 */
class Effects {
public:
    Effects(Device &device, const Schema &schema);

    /*
     * Waits for what is still in progress and says on standard error what is not applied or not
     * saved, and why. A state counts that belongs to one of the targets or that the change has
     * made worse.
     */
    int report(const std::vector<Target> &touched, bool waits) const;

private:
    using Key = std::pair<std::string, std::string>; /* class and name */
    using States = std::map<Key, std::string>;

    States ask() const;
    States of_interest(const std::vector<Target> &touched) const;

    Device &device_;
    const Schema &schema_;
    std::vector<std::pair<std::string, std::string>> watched_; /* class and property */
    States before_;
};

/* Class, or family, and property of everything that tells how it is doing. */
std::vector<std::pair<std::string, std::string>> states_in(const Schema &schema);

/* Whether such a state says that what was asked for is not so. */
bool is_not_applied(std::string_view state);

/* "radio", or with a name, as it is shown to people. */
std::string title_of(std::string_view class_name, std::string_view name);

/* The class "save" of the device; nothing where there is none. */
std::optional<Instance> saves_of(Device &device);

} // namespace vorn::client
