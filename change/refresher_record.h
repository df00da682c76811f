/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/hash_table/table.h"
#include "vorn/refresher.h"

struct vorn_refresher : vorn::Record {
    const char *class_name = nullptr; /* the caller's, who keeps it alive */
    vorn_refresher_pre_refresh_fn pre_refresh = nullptr;
    vorn_refresher_instance_fn instance_fn = nullptr;
    vorn::Table<void> property_functions; /* property name to vorn_refresher_property_fn */
};

namespace vorn {

/* Told of each one that is made: for vorn-plugin-check. Null in the daemon. */
extern void (*refresher_made)(vorn_refresher *refresher);

} // namespace vorn
