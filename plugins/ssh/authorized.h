/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SSH_AUTHORIZED_H
#define PLUGINS_SSH_AUTHORIZED_H

#include <pwd.h>

/*
 * The file .ssh/authorized_keys of a user. His folder is his: what lies there may be a link that
 * leads elsewhere, a FIFO, or something of another user's. None of it is followed or waited for.
 */

/** The first line of each file that is written here. */
extern const char authorized_mark[];

/** Whether the file is another one than with that text, or not the user's alone. */
int authorized_differs(const struct passwd *user, const char *text);

/** Makes the file have that text. Returns null, or why it can't be; good until the next call. */
const char *authorized_write(const struct passwd *user, const char *text);

/** Whether the user has a file that was written here. */
int authorized_is_ours(const struct passwd *user);

/** Removes the file. */
void authorized_remove(const struct passwd *user);

#endif
