/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/hash_table/table.h"
#include "vorn/refresh_info.h"

#include <cstdint>

namespace vorn {

/* The properties selected of one instance or of every one; with neither field, the instance only.
 */
struct vorn_refresh_selection : Record {
    std::int32_t all = 0;
    NameSet properties; /* created with the first */
};

struct vorn_refresh_class : Record {
    ~vorn_refresh_class(); /* frees the selections */

    Table<vorn_refresh_selection> named; /* by instance name; created with the first */
    Owned<vorn_refresh_selection> every;
};

} // namespace vorn

struct vorn_refresh_info : vorn::Record {
    ~vorn_refresh_info(); /* frees the classes */

    vorn_instances *instances = nullptr; /* what will be read; outlives the record */
    vorn::Table<vorn::vorn_refresh_class> classes;
    void *data = nullptr; /* of the provider now being called */
    /* What will be read was looked up for it, and may be otherwise the next time. */
    mutable bool is_of_the_moment = false;
    bool is_lasting = false; /* said of the value that a refresher has just asked for */
};

namespace vorn {

/* As the exported ones, for who knows by himself what he makes of it. */
bool selects_class(const vorn_refresh_info *info, const char *class_name);
bool selects_instance(const vorn_refresh_info *info, const vorn_instance *instance);
bool selects_property(const vorn_refresh_info *info, const vorn_instance *instance,
                      const char *property);

} // namespace vorn
