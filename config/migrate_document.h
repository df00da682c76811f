/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/result.h"
#include "core/base/text.h"

namespace vorn {

/* As vorn_config_migrate. Refused, with a message, is what is no document or no version. */
Outcome migrate_document(const char *document, const char *versions, Text &migrated, Text &losses);

/* One version before that of each plugin, as vorn_config_migrate takes them; empty without memory.
 */
Text versions_before();

} // namespace vorn
