/* SPDX-License-Identifier: MIT */
#include "values.h"

#include <stdio.h>
#include <string.h>
#include <time.h>

const char *value_of(const vorn_instance *instance, const char *property)
{
    const char *value = instance != NULL ? vorn_instance_get_value(instance, property) : NULL;
    return value != NULL ? value : "";
}

int is_changed(const vorn_instance *now, const vorn_instance *before, const char *property)
{
    return strcmp(value_of(now, property), value_of(before, property)) != 0;
}

const char *time_text(int64_t seconds, char *room)
{
    const time_t when = (time_t)seconds;
    struct tm parts;
    if (seconds == 0 || gmtime_r(&when, &parts) == NULL ||
        strftime(room, TIME_TEXT, "%Y-%m-%dT%H:%M:%SZ", &parts) == 0)
        room[0] = '\0';
    return room;
}

int is_on(const vorn_instance *instance, const char *property)
{
    return strcmp(value_of(instance, property), "on") == 0;
}

int for_each_word(const char *text, word_fn call, void *data)
{
    char word[256];
    int result = 0;
    while (result == 0 && *(text += strspn(text, " ")) != '\0') {
        const size_t length = strcspn(text, " ");
        snprintf(word, sizeof word, "%.*s", (int)length, text);
        result = call(word, data);
        text += length;
    }
    return result;
}

static int is_that_word(const char *word, void *data)
{
    return strcmp(word, data) == 0;
}

int has_word(const char *text, const char *word)
{
    return for_each_word(text, is_that_word, (void *)word);
}

int is_plain_number(const char *text, int low, int high)
{
    const size_t length = strlen(text);
    return strspn(text, "0123456789") == length &&
           vorn_input_is_int_in_range(text, (int)length, low, high);
}

int is_plain_address(const char *text)
{
    const size_t length = strlen(text);
    return strspn(text, "0123456789.") == length && vorn_input_is_ip(text, (int)length);
}

int is_plain_address_or_none(const char *text)
{
    return *text == '\0' || is_plain_address(text);
}

int is_plain_host(const char *text)
{
    const size_t length = strlen(text);
    if (strspn(text, "0123456789.") == length) return is_plain_address(text);
    return vorn_input_is_domain_name(text, (int)length);
}

/* The bytes of the character that begins there; 0 for a control character and what is none. */
static int character_length(const unsigned char *text)
{
    if (text[0] < 0x80) return text[0] >= ' ' && text[0] != 0x7f;
    const int length = text[0] >= 0xf0 ? 4 : text[0] >= 0xe0 ? 3 : 2;
    unsigned code = text[0] & (0xffU >> (length + 1));
    for (int i = 1; i < length; i++) {
        if ((text[i] & 0xc0) != 0x80) return 0;
        code = code << 6 | (text[i] & 0x3fU);
    }
    static const unsigned least[] = {0, 0, 0xa0, 0x800, 0x10000}; /* 0x80 to 0x9f are controls */
    const int is_half = code >= 0xd800 && code <= 0xdfff;
    const int is_one = text[0] >= 0xc0 && text[0] < 0xf8 && code <= 0x10ffff;
    return is_one && code >= least[length] && !is_half ? length : 0;
}

int is_text(const char *text)
{
    const unsigned char *at = (const unsigned char *)text;
    int count = 0;
    for (; *at != '\0' && count <= longest_text; count++) {
        const int length = character_length(at);
        if (length == 0) return 0;
        at += length;
    }
    return count <= longest_text;
}

int is_link_name(const char *text)
{
    static const char letters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_";
    const size_t length = strlen(text);
    const size_t first = strspn(text, letters);
    size_t rest = first;
    while (rest < length && (strchr(letters, text[rest]) != NULL || strchr(".-", text[rest]))) {
        rest++;
    }
    return length >= 1 && length <= 15 && first >= 1 && rest == length;
}
