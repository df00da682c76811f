/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <vector>

#include "device.h"
#include "lsql.h"
#include "schema.h"

namespace vorn::client {

/* A whole configuration in the order of its file; members of a family under the abstract class. */
using Configuration = std::vector<Instance>;

/* The startup file as it is. */
std::string saved_document(Device &device);
Configuration parse_configuration(const std::string &text, const char *source);
/* What a save would write: the persistent properties of the persistent classes. */
Configuration running_configuration(Device &device, const Schema &schema);

/* The id of the running configuration; empty where the device tells none. */
std::string present_commit(Device &device);

/* What runs, and which configuration that is; the id is empty where the device tells none. */
struct Snapshot {
    Configuration configuration;
    std::string commit;
};
Snapshot snapshot(Device &device, const Schema &schema);

/* The file carries the id, unless that is empty: who imports it can see that the device moved on.
 */
std::string configuration_document(const Configuration &configuration,
                                   const std::string &commit = {});
std::string commit_of_file(const std::string &text);

/*
 * One step from a configuration to another. Instances that cannot be told apart by name are
 * compared, and replaced, all together.
 */
struct Difference {
    enum class Kind { removed, added, changed };
    Kind kind;
    std::vector<Instance> before; /* one, except for classes and groups that are replaced whole */
    std::vector<Instance> after;
};

/* In the order of their first instance in either configuration, what goes before what comes. */
std::vector<Difference> compare(const Configuration &before, const Configuration &after,
                                const Schema &schema);

} // namespace vorn::client
