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
};
