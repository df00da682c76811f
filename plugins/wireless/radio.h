/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_RADIO_H
#define PLUGINS_WIRELESS_RADIO_H

#include <stdint.h>

#include "air.h"
#include "amends.h"
#include "brief.h"
#include "hostapd.h"
#include "leftovers.h"
#include "power.h"
#include "vorn-plugin/supervise.h"

/* One radio, for those who apply radios and those who say what that would do. */

enum { radio_longest_name = 12 };

/* What the system was told of a radio; kept for the next one of that name. */
struct radio {
    struct radio *next;
    char *name;
    char *service; /* "hostapd" and the name */
    supervised *program;
    hostapd_text told;
    unsigned int bridges; /* which ones there were when it was told, and which link of its own */
    unsigned long frames; /* how many of them hostapd was started with */
    amends amends;        /* that its hostapd makes in that, without a restart */
    int is_amended;       /* it has made some since it was started */
    int is_stale;         /* it did not, and has to be started anew */
    int is_spoilt;        /* somebody has changed its files: what hostapd has read is not known */
    int is_to_leave;      /* hostapd is to end, or has, and may not have let go of the link */
    leftovers left;
    air air;
    int64_t outside_since_us; /* of a bridge; 0 while none of its interfaces is */
    struct power power;
    brief leaving; /* takes the link down and out of its bridge */
    int is_stuck;  /* that has failed */
};

/** The first of all that there were since the start; and one by its name, or null. */
struct radio *radio_first(void);
struct radio *radio_find(const char *name);

/** Makes one of which nobody has heard, and keeps it until the process ends. Null without memory.
 */
struct radio *radio_new(const char *name);

/* How hostapd is to run, with so many frames. */
struct radio_running {
    char path[hostapd_path_room];
    char socket[amends_path_room];
    const char *arguments[5];
    supervise_plan plan;
};
void radio_plan_running(struct radio_running *running, const struct radio *radio,
                        unsigned long frames);

/* What there is to do for a text that hostapd is to have. */
struct radio_telling {
    int is_written; /* the file, or a list that it names */
    int starts_anew;
    int reads_again;
    int is_amended; /* in place of both */
    amends_plan amends;
    enum places_way places;
};

/**
 * The text, which has the places as known, is written anew where the plan gives others. Without
 * memory its texts are null then.
 */
struct radio_telling radio_plan_telling(struct radio *radio, hostapd_text *text,
                                        const vorn_instance *now,
                                        const vorn_instances *configuration);

/** Notes what its hostapd has brought up by now. */
void radio_look_at_air(struct radio *radio, const vorn_instances *configuration);

/**
 * Whether somebody has taken away what its hostapd has brought up, or it has had the time to put
 * every interface into its bridge, and one is not.
 */
int radio_is_cut_off(struct radio *radio, const vorn_instances *configuration);

/** Whether the change, or a failure before it, has to do with radios. */
int radios_are_concerned(const vorn_changes *changes);

/** The first radio of which somebody has taken or changed something, or null. */
struct radio *radio_find_lost(const vorn_instances *configuration);

/** Whether somebody has changed the files that its hostapd reads. */
int radio_is_spoilt(const struct radio *radio, const vorn_instances *configuration);

#endif
