/* SPDX-License-Identifier: MIT */
#include "vorn-plugin/order.h"

#include <string.h>

/* The first that needs the one at that place, or the place itself. */
static size_t find_user(void *const things[], size_t count, size_t place, needs_fn needs,
                        void *data)
{
    size_t user = 0;
    while (user < count && (user == place || !needs(things[user], things[place], data)))
        user++;
    return user < count ? user : place;
}

/* From the first on to what needs it, until nothing does; in a circle after as many steps. */
static size_t find_last_user(void *const things[], size_t count, needs_fn needs, void *data)
{
    size_t place = 0;
    for (size_t steps = 0; steps < count; steps++) {
        const size_t user = find_user(things, count, place, needs, data);
        if (user == place) break;
        place = user;
    }
    return place;
}

void order_for_removal(void *things[], size_t count, needs_fn needs, void *data)
{
    for (; count > 1; things++, count--) {
        const size_t place = find_last_user(things, count, needs, data);
        void *next = things[place];
        memmove(things + 1, things, place * sizeof *things);
        things[0] = next;
    }
}

static void reverse(void *things[], size_t count)
{
    for (size_t i = 0; i < count / 2; i++) {
        void *other = things[count - 1 - i];
        things[count - 1 - i] = things[i];
        things[i] = other;
    }
}

void order_for_making(void *things[], size_t count, needs_fn needs, void *data)
{
    reverse(things, count);
    order_for_removal(things, count, needs, data);
    reverse(things, count);
}
