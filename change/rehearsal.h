/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/rehearsed.h"
#include "vorn/commit_info.h"

namespace vorn {

/* One provider's part of a commit of which it is not told. The record's data becomes its own. */
void rehearse_provider(const vorn_provider &provider, vorn_commit_info &info,
                       const RehearsalListener &listener);

} // namespace vorn
