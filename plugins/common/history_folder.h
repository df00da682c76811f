/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_HISTORY_FOLDER_H
#define PLUGINS_COMMON_HISTORY_FOLDER_H

/** Where the configurations of before are, which a device that changes hands must not keep. */
#define HISTORY_FOLDER "/etc/config/history"

/** Where the one is that did not stay up, when another has taken its place. */
#define UNPROVEN_FILE "/etc/config/config.xml.unproven"

#endif
