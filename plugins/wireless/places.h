/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_PLACES_H
#define PLUGINS_WIRELESS_PLACES_H

#include "vorn/vorn.h"

/*
 * Which interface of a radio each of its networks has: the radio's own at place 0, then RADIO_1 and
 * so on. They are counted in the order of the networks when hostapd starts. After that one that
 * stays keeps its place, whoever else comes and goes. hostapd can't give up the first interface
 * without all others: once its network has left it, nobody is there any more.
 */

enum { places_most = 8 };

/** How places are given. */
enum places_way {
    places_as_known,      /* who has one keeps it */
    places_without_first, /* the same, but for the network at the first, which gets another one */
    places_afresh         /* all by their order */
};

typedef struct places {
    const vorn_instance *networks[places_most]; /* null where there is none */
    int end;                                    /* after the last that is taken */
} places;

/**
 * Gives places to the networks that the function says are to be on the air, as many as there is
 * room for; afresh where there is less room than a new start would have.
 */
void places_find(places *found, const vorn_instances *configuration, const char *radio,
                 enum places_way way, int (*carries)(const vorn_instance *, const char *));

/** Has the networks keep the places; without memory all are forgotten. */
void places_keep(const places *found, const char *radio);

/** The name of the network that has that place by now, or null. */
const char *places_name(const char *radio, int place);

/** Whether the network has a place by now, and whether it has one of those. */
int places_know(const char *radio, const char *network);
int places_have(const places *found, const char *network);

/** From now on they are given afresh. */
void places_forget(const char *radio);

#endif
