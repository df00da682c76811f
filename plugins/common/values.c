/* SPDX-License-Identifier: MIT */
#include "values.h"

#include <stdio.h>
#include <string.h>
#include <time.h>

#include "vorn-plugin/changed.h"

const char *value_of(const vorn_instance *instance, const char *property)
{
    const char *value = instance != NULL ? vorn_instance_get_value(instance, property) : NULL;
    return value != NULL ? value : "";
}

int is_changed(const vorn_instance *now, const vorn_instance *before, const char *property)
{
    return changed_property(now, before, property);
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
    return vorn_input_is_plain_int_in_range(text, (int)strlen(text), low, high);
}

int is_plain_address(const char *text)
{
    return vorn_input_is_plain_ip(text, (int)strlen(text));
}

int is_text(const char *text)
{
    return vorn_input_is_text(text, (int)strlen(text), 0, longest_text);
}

int is_link_name(const char *text)
{
    return vorn_input_is_link_name(text, (int)strlen(text));
}

int is_link_name_or_none(const char *text)
{
    return *text == '\0' || is_link_name(text);
}
