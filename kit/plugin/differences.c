/* SPDX-License-Identifier: MIT */
#include "vorn-plugin/differences.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { text_room = 256 };

struct difference {
    struct difference *next;
    char *name;
    char text[text_room];
};

void differences_forget(differences *of)
{
    while (of->first != NULL) {
        struct difference *first = of->first;
        of->first = first->next;
        free(first->name);
        free(first);
    }
}

static struct difference *add(differences *of, const char *name)
{
    struct difference **end = &of->first;
    struct difference *added = calloc(1, sizeof *added);
    if (added == NULL) return NULL;
    added->name = strdup(name);
    if (added->name == NULL) {
        free(added);
        return NULL;
    }
    while (*end != NULL)
        end = &(*end)->next;
    *end = added;
    return added;
}

void differences_note(differences *of, const char *name, const char *format, ...)
{
    va_list values;
    struct difference *added = add(of, name);
    if (added == NULL) return;
    va_start(values, format);
    vsnprintf(added->text, sizeof added->text, format, values);
    va_end(values);
}

const char *differences_state(const differences *of, const char *name)
{
    static char state[text_room];
    int length = 0;
    for (const struct difference *each = of->first; each != NULL; each = each->next) {
        if (strcmp(each->name, name) != 0 || length >= text_room) continue;
        length += snprintf(state + length, (size_t)(text_room - length), "%s%s",
                           length == 0 ? "differs: " : "; ", each->text);
    }
    return length != 0 ? state : NULL;
}
