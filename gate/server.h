/* SPDX-License-Identifier: MIT */
#pragma once

#include <atomic>

#include "router.h"

namespace vorn::gate {

/*
 * Serves whoever connects to the listening socket until `stop` is set, which a write to the
 * descriptor `wake` makes known; then the process ends with 0. Returns 1 when the system refuses
 * what it needs.
 */
int serve_clients(House &house, int listener, int wake, const std::atomic<bool> &stop);

} // namespace vorn::gate
