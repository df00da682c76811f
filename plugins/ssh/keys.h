/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SSH_KEYS_H
#define PLUGINS_SSH_KEYS_H

/** Who may log in with which key: the class "ssh-key", with a provider of its own. 0 or 1. */
int keys_declare(void);

#endif
