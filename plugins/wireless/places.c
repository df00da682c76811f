/* SPDX-License-Identifier: MIT */
#include "places.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* Kept for the next radio of that name. */
struct known {
    struct known *next;
    char radio[16];
    char *names[places_most];
};

static struct known *all;

static struct known *find(const char *radio)
{
    struct known *known = all;
    while (known != NULL && strcmp(known->radio, radio) != 0)
        known = known->next;
    return known;
}

static int has_any(const struct known *known)
{
    int has = 0;
    for (int place = 0; known != NULL && place < places_most; place++)
        has |= known->names[place] != NULL;
    return has;
}

/* The place that the network has, from the first one that counts; -1 for none. */
static int place_of(const struct known *known, const vorn_instance *network, int first)
{
    for (int place = first; place < places_most; place++) {
        const char *name = known->names[place];
        if (name != NULL && strcmp(name, vorn_instance_get_name(network)) == 0) return place;
    }
    return -1;
}

struct giving {
    places *found;
    const struct known *known; /* null when nobody has a place */
    int first;                 /* that may be given */
    int has_failed;
};

static void keep_place(struct giving *giving, const vorn_instance *network)
{
    const int place = giving->known != NULL ? place_of(giving->known, network, giving->first) : -1;
    if (place >= 0) giving->found->networks[place] = network;
}

static void give_place(struct giving *giving, const vorn_instance *network)
{
    int place = giving->known != NULL ? 1 : 0;
    if (giving->known != NULL && place_of(giving->known, network, giving->first) >= 0) return;
    while (place < places_most && giving->found->networks[place] != NULL)
        place++;
    if (place < places_most) {
        giving->found->networks[place] = network;
    } else {
        giving->has_failed = 1;
    }
}

static void for_each(const vorn_instances *configuration, const char *radio, struct giving *giving,
                     int (*carries)(const vorn_instance *, const char *),
                     void (*call)(struct giving *, const vorn_instance *))
{
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, "wireless-network");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *network = vorn_instances_iterator_next(walk);
        if (carries(network, radio)) call(giving, network);
    }
    vorn_instances_delete_iterator(walk);
}

void places_find(places *found, const vorn_instances *configuration, const char *radio,
                 enum places_way way, int (*carries)(const vorn_instance *, const char *))
{
    const struct known *known = way == places_afresh ? NULL : find(radio);
    struct giving giving = {found, has_any(known) ? known : NULL, way == places_without_first, 0};
    *found = (places){.end = 0};
    for_each(configuration, radio, &giving, carries, keep_place);
    for_each(configuration, radio, &giving, carries, give_place);
    if (giving.has_failed && giving.known != NULL) {
        places_find(found, configuration, radio, places_afresh, carries);
        return;
    }
    for (int place = 0; place < places_most; place++) {
        if (found->networks[place] != NULL) found->end = place + 1;
    }
}

const char *places_name(const char *radio, int place)
{
    const struct known *known = find(radio);
    return known != NULL ? known->names[place] : NULL;
}

int places_know(const char *radio, const char *network)
{
    for (int place = 0; place < places_most; place++) {
        const char *name = places_name(radio, place);
        if (name != NULL && strcmp(name, network) == 0) return 1;
    }
    return 0;
}

int places_have(const places *found, const char *network)
{
    for (int place = 0; place < places_most; place++) {
        if (found->networks[place] != NULL &&
            strcmp(vorn_instance_get_name(found->networks[place]), network) == 0) {
            return 1;
        }
    }
    return 0;
}

static void clear(struct known *known)
{
    for (int place = 0; place < places_most; place++) {
        free(known->names[place]);
        known->names[place] = NULL;
    }
}

void places_forget(const char *radio)
{
    struct known *known = find(radio);
    if (known != NULL) clear(known);
}

void places_keep(const places *found, const char *radio)
{
    struct known *known = find(radio);
    if (known == NULL) {
        known = calloc(1, sizeof *known);
        if (known == NULL) return;
        snprintf(known->radio, sizeof known->radio, "%s", radio);
        known->next = all;
        all = known;
    }
    clear(known);
    for (int place = 0; place < places_most; place++) {
        if (found->networks[place] == NULL) continue;
        known->names[place] = strdup(vorn_instance_get_name(found->networks[place]));
        if (known->names[place] == NULL) {
            clear(known);
            return;
        }
    }
}
