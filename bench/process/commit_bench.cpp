/* SPDX-License-Identifier: MIT */
/*
 * What a commit costs beside what its providers do: one that concerns nobody, run once with the
 * usual provider, once with fifty more; and what it takes to report a write on which nobody looks.
 */
#include "change/commit_given.h"
#include "change/commit_report_record.h"
#include "change/provider_record.h"
#include "config/config_state.h"
#include "vorn/changes.h"
#include "vorn/committer.h"
#include "vorn/instances.h"
#include "vorn/provider.h"

#include <benchmark/benchmark.h>

#include "process/board.h"

namespace vorn::bench {

namespace {

void EmptyCommit(benchmark::State &state)
{
    set_up_board(100, 100);
    vorn_changes *changes = vorn_changes_new(running_config);
    for (auto _ : state)
        vorn_providers_commit(running_config, changes, nullptr);
    vorn_changes_delete(changes);
}

BENCHMARK(EmptyCommit);

/* All that is done for it from the beginning of the request on, for the three usual providers. */
void ReportOfACommit(benchmark::State &state)
{
    set_up_board(100, 100);
    vorn_changes *changes = vorn_changes_new(running_config);
    vorn_instance_set_value(vorn_instances_get(running_config, "Item", "item50"), "p3", "new");
    const Owned<vorn_provider> busy(vorn_provider_new("applier"));
    vorn_provider_set_commit_fn(busy.get(), vorn_committer_fn, nullptr);
    const Owned<vorn_provider> idle(vorn_provider_new("refresher"));
    for (auto _ : state) {
        RequestWatch request;
        request.is_done(VORN_COMMIT_PARSE);
        request.is_done(VORN_COMMIT_REFRESH);
        request.goes_into_commit();
        {
            CommitWatch commit(changes);
            given_instances = 1;
            commit.provider_is_done(*busy);
            commit.provider_is_done(*idle);
            commit.provider_is_done(*idle);
        }
        log_last_commit();
    }
    vorn_changes_delete(changes);
}

BENCHMARK(ReportOfACommit);

} // namespace

} // namespace vorn::bench
