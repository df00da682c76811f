/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_HOST_KEY_FILE_H
#define PLUGINS_COMMON_HOST_KEY_FILE_H

/** The device's own key for SSH, which one that changes hands must not keep. */
#define HOST_KEY_FOLDER "/etc/config/ssh"
#define HOST_KEY_FILE HOST_KEY_FOLDER "/host_key"

#endif
