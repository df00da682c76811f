/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SSH_HOST_KEY_H
#define PLUGINS_SSH_HOST_KEY_H

/**
 * The public half of the device's own key, "ssh-ed25519 ..." as clients note it; empty while there
 * is none. Good until the next call.
 */
const char *host_key_told(const char *path);

#endif
