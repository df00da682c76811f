/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/rehearsed.h"
#include "vorn/changes.h"

namespace vorn {

/*
 * Says what a commit through all providers would do, in their order; none of them is told. False
 * when memory was short, and what was heard is not all there is.
 */
bool rehearse_by_providers(vorn_instances *after, vorn_changes *changes,
                           const RehearsalListener &listener);

} // namespace vorn
