/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/query_request.h"
#include "core/base/text.h"
#include "model/instances_walk.h"
#include "services/xml/xml.h"

#include <cstddef>

namespace vorn {

/* longest_reply, which only tests lower: as much takes them seconds. */
extern std::size_t reply_bound;

/*
 * Evaluates the operations from the first on. A transaction works on the copy, which takes the
 * place of the running configuration if nothing fails. The answer; empty when memory is gone.
 */
Text evaluate_operations(QueryRequest &request, xmlNode *first, StoreWithInstances copy);

} // namespace vorn
