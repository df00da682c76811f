/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <vector>

#include "configuration.h"
#include "output.h"

namespace vorn::client {

/* What people call an instance. */
std::string title_of(const Instance &instance);

/* One instance on either side, which can be compared value by value. */
bool is_one_to_one(const Difference &difference);

/* What the one has to be set to, to become the other; empty for what goes. */
Values changed_values(const Instance &before, const Instance &after);

/* "-" before what was, "+" before what is, or the same for programs. */
void print(const Output &output, const std::vector<Difference> &differences);

} // namespace vorn::client
