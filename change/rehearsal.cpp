/* SPDX-License-Identifier: MIT */
/*
 * What a commit would do, found out without one. A committer takes its own walk for it; a commit
 * function of somebody's own sees the whole change set.
 */
#include "change/rehearsal.h"

#include "change/commit_info_record.h"
#include "change/committer_record.h"
#include "change/provider_record.h"
#include "model/instances_walk.h"

namespace vorn {

namespace {

void hear_all(const vorn_provider &provider, const vorn_changes *changes,
              const RehearsalListener &listener)
{
    for (const vorn_instance *each :
         Walk(vorn_changes_new_deleted_class_instances_iterator(changes, nullptr)))
        listener.hear_instance(provider, InstanceAction::deleted, *each, listener.data);
    for (const vorn_instance *each :
         Walk(vorn_changes_new_class_instances_iterator(changes, nullptr))) {
        const bool is_new = !vorn_changes_get_instance_before(changes, each);
        listener.hear_instance(provider,
                               is_new ? InstanceAction::inserted : InstanceAction::updated, *each,
                               listener.data);
    }
}

void hear_effects(const vorn_provider &provider, vorn_commit_info &info,
                  const RehearsalListener &listener)
{
    if (!provider.explain_fn) return;
    vorn_explanation explanation;
    info.data = provider.explain_data;
    const InPlugin watched(provider.owner, Callback::explain);
    provider.explain_fn(&info, &explanation);
    for (const Effect *each = explanation.first; each; each = each->next)
        listener.hear_effect(provider, *each, listener.data);
}

} // namespace

void rehearse_provider(const vorn_provider &provider, vorn_commit_info &info,
                       const RehearsalListener &listener)
{
    const auto *committer = static_cast<const vorn_committer *>(provider.commit_data);
    if (provider.commit_fn == vorn_committer_fn && committer) {
        rehearse_committer(info, *committer, provider, listener);
    } else if (provider.commit_fn && provider.commit_fn != vorn_committer_fn) {
        hear_all(provider, info.changes, listener);
    }
    hear_effects(provider, info, listener);
}

} // namespace vorn
