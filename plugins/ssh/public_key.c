/* SPDX-License-Identifier: MIT */
/*
 * A key in base64 is a row of fields, each with its length before it; the first is the type once
 * more. What is no such row would let nobody in, and be found out when it is needed.
 */
#include "public_key.h"

#include "vorn/vorn.h"

#include <string.h>

enum { most_fields = 4, shortest_rsa_bytes = 2048 / 8, ed25519_bytes = 32 };

static const char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

struct field {
    const unsigned char *bytes;
    size_t length;
};

static const struct kind {
    const char *type;
    int fields;
    const char *curve; /* that the second field names; null for none */
} kinds[] = {
    {"ssh-ed25519", 2, NULL},
    {"ssh-rsa", 3, NULL},
    {"ecdsa-sha2-nistp256", 3, "nistp256"},
    {"ecdsa-sha2-nistp384", 3, "nistp384"},
    {"ecdsa-sha2-nistp521", 3, "nistp521"},
    {"sk-ssh-ed25519@openssh.com", 3, NULL},
    {"sk-ecdsa-sha2-nistp256@openssh.com", 4, "nistp256"},
};

/* Answers how many bytes there are, or 0 for what is no base64 of whole bytes. */
static size_t read_base64(const char *text, size_t length, unsigned char *bytes)
{
    size_t count = 0;
    unsigned int bits = 0;
    if (length % 4 != 0) return 0;
    while (length > 0 && text[length - 1] == '=' && length % 4 != 2)
        length--;
    for (size_t i = 0; i < length; i++) {
        const char *digit = text[i] != '\0' ? strchr(digits, text[i]) : NULL;
        if (digit == NULL) return 0;
        bits = bits << 6 | (unsigned int)(digit - digits);
        if (i % 4 != 0) bytes[count++] = (unsigned char)(bits >> (6 - 2 * (i % 4)));
    }
    return count;
}

void public_key_write(const unsigned char *bytes, size_t count, char *text)
{
    for (size_t i = 0; i < count; i += 3) {
        const size_t left = count - i;
        const unsigned int bits = (unsigned int)bytes[i] << 16 |
                                  (left > 1 ? (unsigned int)bytes[i + 1] << 8 : 0) |
                                  (left > 2 ? bytes[i + 2] : 0);
        *text++ = digits[bits >> 18];
        *text++ = digits[bits >> 12 & 63];
        *text++ = (char)(left > 1 ? digits[bits >> 6 & 63] : '=');
        *text++ = (char)(left > 2 ? digits[bits & 63] : '=');
    }
    *text = '\0';
}

/* Answers how many fields all of the bytes are, or 0 when they are no such row. */
static int read_fields(const unsigned char *bytes, size_t count, struct field fields[most_fields])
{
    int found = 0;
    for (int i = 0; i < most_fields; i++)
        fields[i] = (struct field){bytes, 0};
    while (count > 0 && found < most_fields) {
        if (count < 4) return 0;
        const size_t length =
            (size_t)bytes[0] << 24 | (size_t)bytes[1] << 16 | (size_t)bytes[2] << 8 | bytes[3];
        if (length > count - 4) return 0;
        fields[found++] = (struct field){bytes + 4, length};
        bytes += 4 + length;
        count -= 4 + length;
    }
    return count == 0 ? found : 0;
}

static int is_text_of(const struct field *field, const char *text)
{
    return field->length == strlen(text) && memcmp(field->bytes, text, field->length) == 0;
}

static const struct kind *kind_of(const char *type, size_t length)
{
    for (size_t i = 0; i < sizeof kinds / sizeof *kinds; i++) {
        if (strlen(kinds[i].type) == length && memcmp(kinds[i].type, type, length) == 0)
            return &kinds[i];
    }
    return NULL;
}

static int is_key(const struct kind *kind, const struct field fields[most_fields])
{
    if (!is_text_of(&fields[0], kind->type)) return 0;
    if (kind->curve != NULL) return is_text_of(&fields[1], kind->curve) && fields[2].length > 0;
    if (strcmp(kind->type, "ssh-rsa") != 0) return fields[1].length == ed25519_bytes;
    return fields[2].length >= shortest_rsa_bytes;
}

/* Printable characters alone: the text becomes a line of a file. */
static int is_plain(const char *text)
{
    for (; *text != '\0'; text++)
        if (*text < ' ' || *text > '~') return 0;
    return 1;
}

int public_key_is_valid(const char *text)
{
    unsigned char bytes[longest_key];
    struct field fields[most_fields];
    const size_t type_length = strcspn(text, " ");
    if (strlen(text) > longest_key || !is_plain(text)) return 0;
    if (strstr(text, "PRIVATE KEY") != NULL)
        return vorn_property_refuse_value("That is a private key, which nobody else may have.");
    const struct kind *kind = kind_of(text, type_length);
    if (kind == NULL || text[type_length] != ' ') return 0;
    const char *key = text + type_length + 1;
    const size_t count = read_base64(key, strcspn(key, " "), bytes);
    return read_fields(bytes, count, fields) == kind->fields && is_key(kind, fields);
}
