/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_AMENDS_H
#define PLUGINS_WIRELESS_AMENDS_H

#include "hostapd.h"

/*
 * Takes networks off a radio, and brings others on the air with it, while its hostapd runs, so that
 * the stations of those that stay notice nothing. hostapd is asked over its control sockets, one
 * thing after the other. Nobody waits for its answers.
 */

/** Which places differ, a bit for each. */
typedef struct amends_plan {
    unsigned int removed;
    unsigned int added;
    int quiets_first; /* the first one's network goes, its interface stays */
} amends_plan;

/**
 * Whether that way leads from the one text to the other, and somebody is there who is spared by it:
 * a network that stays as it is.
 */
int amends_compare(amends_plan *plan, const hostapd_text *before, const hostapd_text *now);

/** Whether there is a hostapd that has a socket for it. */
int amends_are_possible(const char *radio);

enum { amends_most = 48 };

/** What is asked of one hostapd. Begins as AMENDS; kept until the process ends. */
typedef struct amends {
    /* Told when all is done, or why not: what has been done by then stays. */
    void (*ended)(const char *reason, void *data);
    void *data;
    const char *radio;
    int goes_on;
    int sock;
    int count;
    int next; /* the one that is asked */
    unsigned char orders[amends_most];
    char phy[32];
} amends;

#define AMENDS(function, pointer, name)                                                            \
    {                                                                                              \
        .ended = (function), .data = (pointer), .radio = (name)                                    \
    }

/** Begins, or goes on with that after what is under way. 0, or 1: nothing more is done then. */
int amends_start(amends *of, const amends_plan *plan, const hostapd_text *text);

/** Whether answers are awaited. */
int amends_go_on(const amends *of);

/** Nothing more is asked, and nobody is told. */
void amends_stop(amends *of);

/** Where hostapd listens, of each radio. */
enum { amends_path_room = 64 };
void amends_name_socket(char path[amends_path_room], const char *radio);

#endif
