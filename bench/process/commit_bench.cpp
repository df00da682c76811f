/* SPDX-License-Identifier: MIT */
/* A commit that concerns nobody: run once with the usual provider, once with fifty more. */
#include "config/config_state.h"
#include "vorn/changes.h"
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

} // namespace

} // namespace vorn::bench
