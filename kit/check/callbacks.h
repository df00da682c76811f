/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/committer.h"
#include "vorn/refresher.h"

#include <string>
#include <vector>

namespace vorn::check {

/* The committers and refreshers that a plugin has made. */
struct Callbacks {
    std::vector<vorn_committer *> committers;
    std::vector<vorn_refresher *> refreshers;
};

/* Those that are made from now on are noted there. */
void note_callbacks(Callbacks &callbacks);

/* What they ask for and no class has, a line each. Only for classes that are closed. */
std::vector<std::string> find_strays(const Callbacks &callbacks);

} // namespace vorn::check
