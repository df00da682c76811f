/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_KEYS_FILE_H
#define PLUGINS_COMMON_KEYS_FILE_H

/** Where the keys of the wireless networks are, which a device that changes hands must not keep. */
#define KEYS_FILE "/etc/config/wireless-keys"

#endif
