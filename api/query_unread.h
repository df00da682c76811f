/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/query_request.h"
#include "change/check_info_record.h"

namespace vorn {

/*
 * Whether a sentence of a plugin's own has a name or a value in it that the client may not read. It
 * is looked for word by word in all there is, which is done for nobody else.
 */
bool names_unread(const QueryRequest &request, const char *sentence);

/* What the client is told of a refusal. */
const char *told_refusal(const QueryRequest &request, const Refusal &refusal);

/* Why a change has to wait, as far as the client may know it. */
const char *told_hold(const QueryRequest &request);

} // namespace vorn
