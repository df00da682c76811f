/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/short_text.h"

#include <libxml/tree.h>

namespace vorn {

/* Which operations of a request would change something, without values; empty when none would. */
void describe_writes(const xmlNode *root, ShortText &text);

} // namespace vorn
