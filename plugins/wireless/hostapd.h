/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_HOSTAPD_H
#define PLUGINS_WIRELESS_HOSTAPD_H

#include "outcomes.h"
#include "places.h"

/*
 * What hostapd is told of a radio and its networks, as text. The frame is the part for which it has
 * to be restarted; the rest it can read again while it runs.
 */

/** The most networks that one radio carries, and the room for the name of an interface. */
enum { hostapd_most_networks = places_most, hostapd_name_room = 16 };

/** What a network has in a file of its own: addresses of stations, keys of theirs, and how the
 * links of VLANs are called. */
enum hostapd_list { hostapd_macs, hostapd_psk, hostapd_vlans, hostapd_lists };

typedef struct hostapd_text {
    char *whole;
    char *frame;
    int networks; /* how many interfaces there are in it, those without a network included */
    int is_quiet; /* the first one is without */
    size_t whole_begins[hostapd_most_networks + 1]; /* where each one's part of a text begins */
    size_t frame_begins[hostapd_most_networks + 1];
    char *lists[hostapd_lists][hostapd_most_networks]; /* of each network; null for none */
} hostapd_text;

/** Why each network is not on the air; known by hostapd_write. */
extern outcomes network_outcomes;

/**
 * Writes the texts, with the places given in that way. Networks that can't be carried are left out
 * and noted. Returns 0, or 1 without memory; the texts are null then.
 */
int hostapd_write(hostapd_text *text, const vorn_instance *radio,
                  const vorn_instances *configuration, enum places_way way);

/** The places of the networks that are to be on the air with that radio. */
void hostapd_find_places(places *found, const vorn_instances *configuration, const char *radio,
                         enum places_way way);

/** A part of the text: what is before the first network, or that of a place. */
enum { hostapd_head = -1 };
const char *hostapd_part(const hostapd_text *text, int place, size_t *length);

/** Whether both have it, and it is the same in both texts of each. */
int hostapd_part_is_same(const hostapd_text *left, const hostapd_text *right, int place);

/** What makes an interface one that nobody is on, as names and values; a null ends them. */
extern const char *const hostapd_quiet[][2];

/** Whether there is a network at that place. */
int hostapd_has_network(const hostapd_text *text, int place);

/** The file of a radio's configuration, which is only root's. */
enum { hostapd_path_room = 64 };
void hostapd_name_file(char path[hostapd_path_room], const char *radio);

/** Calls back for each radio that has such a file, with how many interfaces it may have made. */
typedef void (*hostapd_recall_fn)(const char *radio, int networks);
void hostapd_recall(hostapd_recall_fn call);

/** Frees the texts. */
void hostapd_free(hostapd_text *text);

/** The interface of a radio's network by its place among them, from 0. */
void hostapd_name_interface(char name[hostapd_name_room], const char *radio, int place);

/** Whether that network is to be on the air with that radio. */
int hostapd_carries(const vorn_instance *network, const char *radio);

/** One that a radio carries. */
typedef struct hostapd_carried {
    const vorn_instance *network;
    const char *interface;
    int place;
} hostapd_carried;

/** Calls back for each network that the radio carries, in the order of their places. */
typedef void (*hostapd_network_fn)(const hostapd_carried *carried, void *data);
void hostapd_for_each_network(const vorn_instances *configuration, const char *radio,
                              hostapd_network_fn call, void *data);

#endif
