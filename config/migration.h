/* SPDX-License-Identifier: MIT */
#pragma once

#include "config/config_document.h"
#include "config/losses.h"
#include "config/migration_plan.h"

namespace vorn {

/*
 * Makes of a document what it would be if the plugins of this device had written it. What was done
 * is in the log. False without memory: the document holds together, but not all steps are taken.
 */
bool migrate(ConfigDocument &document);

/* Takes a plan's steps. What is lost is told if somebody asks. False as above. */
bool carry_out(MigrationPlan &plan, ConfigDocument &document, Losses *losses);

} // namespace vorn
