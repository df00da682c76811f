/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/rehearsed.h"
#include "core/base/memory.h"
#include "core/hash_table/table.h"
#include "vorn/committer.h"

#include <cstdint>

namespace vorn {

/* What was asked for about one class; null where nobody asked. */
struct vorn_committer_class : Record {
    vorn_committer_instance_create_fn instance_create = nullptr;
    vorn_committer_instance_delete_fn instance_delete = nullptr;
    std::int32_t change_on_delete = 0;
    vorn_committer_group_change_fn group_change = nullptr;
    vorn_committer_instance_change_fn instance_change = nullptr;
    Table<void> property_functions; /* property name to vorn_committer_property_change_fn */
};

} // namespace vorn

struct vorn_committer : vorn::Record {
    ~vorn_committer(); /* frees the classes */

    vorn_committer_pre_commit_fn pre_commit = nullptr;
    vorn::Table<vorn::vorn_committer_class> classes; /* in the order of their first callback */
};

namespace vorn {

/* Says for which instances the provider's committer would call somebody; nobody is called. */
void rehearse_committer(vorn_commit_info &info, const vorn_committer &committer,
                        const vorn_provider &provider, const RehearsalListener &listener);

/* Told of each one that is made: for vorn-plugin-check. Null in the daemon. */
extern void (*committer_made)(vorn_committer *committer);

} // namespace vorn
