/* SPDX-License-Identifier: MIT */
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "device.h"
#include "lsql.h"
#include "schema.h"

namespace vorn::client {

/* What the instances of the class are called, each name once. */
std::vector<std::string> names_of(Device &device, const std::string &class_name);

/*
 * The instances as they are after the changes that have been planned so far: what reads before it
 * writes must see the lines of a file above its own.
 */
class View {
public:
    View(Device &device, const Schema &schema) : device_(device), schema_(schema) {}

    /* Which configuration is seen; asked for once. Empty where the device does not tell. */
    const std::string &commit();
    std::vector<Instance> find(const Target &target);

    void update(const Target &target, const Values &values);
    void insert(const Target &target, const Values &values);
    void remove(const Target &target);

private:
    std::vector<Instance> &family(const std::string &class_name);

    Device &device_;
    const Schema &schema_;
    std::map<std::string, std::vector<Instance>> families_;
    std::optional<std::string> commit_;
};

} // namespace vorn::client
