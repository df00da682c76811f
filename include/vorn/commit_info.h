/* SPDX-License-Identifier: MIT */
#ifndef VORN_COMMIT_INFO_H
#define VORN_COMMIT_INFO_H

#include "vorn/actions.h"
#include "vorn/api.h"
#include "vorn/changes.h"
#include "vorn/instances.h"

/**
 * The record is made around one call of one provider's commit function, and gone when that
 * returns. A provider reads it and keeps nothing of it.
 *
 *     static void commit_radio(vorn_commit_info *info)
 *     {
 *         struct radio_state *state = vorn_commit_info_get_data(info);
 *         vorn_changes *changes = vorn_commit_info_get_changes(info);
 *         if (!vorn_changes_contains_class(changes, "radio")) return;
 *         ...
 *     }
 *
 * A null record is never a mistake here: getters answer null, the others do nothing, and there is
 * no message.
 */

VORN_BEGIN

/** What a provider's commit function is told about one commit. It owns nothing it refers to. */
typedef struct vorn_commit_info vorn_commit_info;

/** Makes a record that refers to all of these; any may be null. Returns null without memory. */
VORN_API vorn_commit_info *vorn_commit_info_new(vorn_instances *before, vorn_instances *after,
                                                vorn_changes *changes, vorn_actions *actions,
                                                void *data);

/** The copies of what the configuration held before the change: vorn_changes_get_before. */
VORN_API vorn_instances *vorn_commit_info_get_before(const vorn_commit_info *info);

/** The configuration as committed. */
VORN_API vorn_instances *vorn_commit_info_get_after(const vorn_commit_info *info);

/** What changed between the two. */
VORN_API vorn_changes *vorn_commit_info_get_changes(const vorn_commit_info *info);

/** The requests that travel with this commit; the same set for all providers. */
VORN_API vorn_actions *vorn_commit_info_get_actions(const vorn_commit_info *info);

/** The data given to vorn_provider_set_commit_fn, or to vorn_commit_info_set_data since. */
VORN_API void *vorn_commit_info_get_data(const vorn_commit_info *info);

/** Puts other data into the record, for a commit function that hands the call on to another. */
VORN_API void vorn_commit_info_set_data(vorn_commit_info *info, void *data);

/** Frees the record alone. */
VORN_API void vorn_commit_info_delete(vorn_commit_info *info);

VORN_END

#endif
