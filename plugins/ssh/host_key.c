/* SPDX-License-Identifier: MIT */
/*
 * dropbear's file of an ed25519 key: the type, and 64 bytes, of which the first half is the secret
 * and the second is public; each with its length before it.
 */
#include "host_key.h"

#include <stdio.h>
#include <string.h>

#include "public_key.h"
#include "vorn-plugin/whole_file.h"

#define TYPE "ssh-ed25519"

enum { type_length = sizeof TYPE - 1, half = 32 };
enum { public_at = 4 + type_length + 4 + half, file_size = public_at + half };
enum { told_size = 4 + type_length + 4 + half };

static int read_file(const char *path, unsigned char bytes[file_size])
{
    static const unsigned char begin[] = "\0\0\0\13" TYPE "\0\0\0\100";
    FILE *file = whole_file_read(path);
    if (file == NULL) return 1;
    const size_t count = fread(bytes, 1, file_size, file);
    fclose(file);
    return count != file_size || memcmp(bytes, begin, sizeof begin - 1) != 0;
}

const char *host_key_told(const char *path)
{
    static char text[sizeof TYPE " " + BASE64_ROOM(told_size)];
    unsigned char bytes[file_size];
    unsigned char told[told_size] = "\0\0\0\13" TYPE "\0\0\0\40";
    text[0] = '\0';
    if (read_file(path, bytes) == 0) {
        memcpy(told + told_size - half, bytes + public_at, half);
        memcpy(text, TYPE " ", sizeof TYPE);
        public_key_write(told, sizeof told, text + sizeof TYPE);
    }
    explicit_bzero(bytes, sizeof bytes);
    return text;
}
