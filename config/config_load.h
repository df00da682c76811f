/* SPDX-License-Identifier: MIT */
#pragma once

#include "config/save_state.h"
#include "vorn/instances.h"

namespace vorn {

/* Where the configuration that is served came from. */
enum class Source { startup, fallback, rescue, nothing };

extern Source running_from;

/* Whether the startup file was made, just before the boot load, of one of the others. */
void note_startup_made_from(Source source);

/* vorn_config_copy_startup_to_running. */
int load_startup();

/* False, with the reason in the log too, while a save would lose what is in the startup file. */
bool may_be_saved(SaveReason &reason);

/*
 * Whether rules about access may be missing from what runs, because they are kept unread or memory
 * did not suffice for them, is told to who holds clients to them.
 */
void look_for_missing_rules(const vorn_instances *instances);

/* The copies that the fallback makes: the code of copy_checked_default; whether there is one. */
int copy_default_or_report();
bool copy_rescue();

/* Once something new is in the startup file's place. */
void announce_change();

} // namespace vorn
