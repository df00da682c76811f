/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SSH_PUBLIC_KEY_H
#define PLUGINS_SSH_PUBLIC_KEY_H

#include <stddef.h>

/** What a line of a file of keys may have; dropbear reads no longer one. */
enum { longest_key = 4096 };

/**
 * Whether the text is a public key as a line of authorized_keys has it: its type, the key in base64
 * and perhaps a comment. It has no options, and what the key says of itself fits its type.
 */
int public_key_is_valid(const char *text);

/** Room for what public_key_write writes of so many bytes, with the null byte. */
#define BASE64_ROOM(bytes) (((bytes) + 2) / 3 * 4 + 1)

/** Writes bytes in base64. */
void public_key_write(const unsigned char *bytes, size_t count, char *text);

#endif
