/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "vorn/commit_info.h"

struct vorn_commit_info : vorn::Record {
    vorn_instances *before = nullptr;
    vorn_instances *after = nullptr;
    vorn_changes *changes = nullptr;
    vorn_actions *actions = nullptr;
    void *data = nullptr;
    bool before_of_changes = false; /* `before` is the change set's, which makes it when asked */
};

namespace vorn {

/* Whether there is something before, without having it put together. */
inline bool has_before(const vorn_commit_info &info)
{
    return info.before_of_changes ? info.changes != nullptr : info.before != nullptr;
}

} // namespace vorn
