/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_ALL_PLUGINS_H
#define PLUGINS_COMMON_ALL_PLUGINS_H

/** The file name of a plugin of this device that does not run, at this start; null for none. */
const char *plugin_that_does_not_run(void);

#endif
