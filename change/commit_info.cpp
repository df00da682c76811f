/* SPDX-License-Identifier: MIT */
/* What one call of a commit function is told. The record refers to everything and owns nothing. */
#include "change/commit_info_record.h"
#include "vorn/changes.h"

using namespace vorn;

vorn_commit_info *vorn_commit_info_new(vorn_instances *before, vorn_instances *after,
                                       vorn_changes *changes, vorn_actions *actions, void *data)
{
    Owned<vorn_commit_info> info = make<vorn_commit_info>();
    if (!info) return nullptr;

    info->before = before;
    info->after = after;
    info->changes = changes;
    info->actions = actions;
    info->data = data;
    return info.release();
}

vorn_instances *vorn_commit_info_get_before(const vorn_commit_info *info)
{
    if (!info) return nullptr;
    return info->before_of_changes ? vorn_changes_get_before(info->changes) : info->before;
}

vorn_instances *vorn_commit_info_get_after(const vorn_commit_info *info)
{
    return info ? info->after : nullptr;
}

vorn_changes *vorn_commit_info_get_changes(const vorn_commit_info *info)
{
    return info ? info->changes : nullptr;
}

vorn_actions *vorn_commit_info_get_actions(const vorn_commit_info *info)
{
    return info ? info->actions : nullptr;
}

void *vorn_commit_info_get_data(const vorn_commit_info *info)
{
    return info ? info->data : nullptr;
}

void vorn_commit_info_set_data(vorn_commit_info *info, void *data)
{
    if (info) info->data = data;
}

void vorn_commit_info_delete(vorn_commit_info *info)
{
    delete info;
}
