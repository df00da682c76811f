/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn {

/*
 * The plugins that took part when the startup file was written last are remembered, so that a boot
 * can tell whether what it can't read in there belongs to one that is missing only now. To be
 * called before it is written; false when they could not be remembered.
 */
bool remember_plugins();

/* Copies the name of one that takes part no longer, as much as there is room for. */
bool find_missing_plugin(char *name, int room);

} // namespace vorn
