/* SPDX-License-Identifier: MIT */
#pragma once

#include "config/save_state.h"

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

/* The copies that the fallback makes: the code of copy_checked_default; whether there is one. */
int copy_default_or_report();
bool copy_rescue();

/* Once something new is in the startup file's place. */
void announce_change();

} // namespace vorn
