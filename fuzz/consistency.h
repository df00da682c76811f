/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/instances.h"

namespace vorn::fuzz {

/* Stops the process if the store breaks a rule of its own, whatever it has been through. */
void require_consistent(const vorn_instances *store);

/* Whether each instance of a family says of itself what it is; else a reload makes it another. */
bool has_honest_subclasses(const vorn_instances *store);

} // namespace vorn::fuzz
