/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/query_operation.h"

namespace vorn {

/* In the first pass: at most how much the second will have to look at for this operation. */
void note_comparisons(QueryOperation &operation);
void note_insertions(QueryOperation &operation);

/* To be asked after the first pass. */
bool is_too_much(const QueryRequest &request);

} // namespace vorn
