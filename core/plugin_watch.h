/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn {

/* From here on, a signal that ends the daemon is noted before it does. */
void watch_for_deaths();

/* For the process that the daemon goes on as in the background. */
void watch_on_in_background();

/*
 * The watchdog has just been told that all is well: if it hears nothing until shortly before its
 * patience ends, what hangs is written down, since a reset of the machine leaves nothing else.
 */
void watch_for_hanging(int patience_seconds);
void watch_for_hanging_no_more();

} // namespace vorn
