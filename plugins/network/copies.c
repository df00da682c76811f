/* SPDX-License-Identifier: MIT */
#include "copies.h"

#include <stdlib.h>
#include <string.h>

static void *next_of(const void *record)
{
    void *next;
    memcpy(&next, record, sizeof next);
    return next;
}

int copy_list(const void *first, size_t size, void **copy)
{
    void *last = NULL;
    *copy = NULL;
    for (const void *each = first; each != NULL; each = next_of(each)) {
        void *made = malloc(size);
        if (made == NULL) {
            free_list(*copy);
            *copy = NULL;
            return 1;
        }
        memcpy(made, each, size);
        memset(made, 0, sizeof(void *));
        if (last == NULL) {
            *copy = made;
        } else {
            memcpy(last, &made, sizeof made);
        }
        last = made;
    }
    return 0;
}

void free_list(void *first)
{
    while (first != NULL) {
        void *gone = first;
        first = next_of(gone);
        free(gone);
    }
}
