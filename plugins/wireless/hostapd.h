/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_HOSTAPD_H
#define PLUGINS_WIRELESS_HOSTAPD_H

#include "outcomes.h"

/*
 * What hostapd is told of a radio and its networks, as text. The frame is the part for which it has
 * to be restarted; the rest it can read again while it runs.
 */

/** The most networks that one radio carries, and the room for the name of an interface. */
enum { hostapd_most_networks = 8, hostapd_name_room = 16 };

/** What a network has in a file of its own: addresses of stations, keys of theirs, and how the
 * links of VLANs are called. */
enum hostapd_list { hostapd_macs, hostapd_psk, hostapd_vlans, hostapd_lists };

typedef struct hostapd_text {
    char *whole;
    char *frame;
    int networks;                                      /* how many there are in it */
    char *lists[hostapd_lists][hostapd_most_networks]; /* of each network; null for none */
} hostapd_text;

/** Why each network is not on the air; known by hostapd_write. */
extern outcomes network_outcomes;

/**
 * Writes the texts. Networks that can't be carried are left out and noted. Returns 0, or 1 without
 * memory; the texts are null then.
 */
int hostapd_write(hostapd_text *text, const vorn_instance *radio,
                  const vorn_instances *configuration);

/** The file of a radio's configuration, which is only root's. */
enum { hostapd_path_room = 64 };
void hostapd_name_file(char path[hostapd_path_room], const char *radio);

/** Calls back for each radio that has such a file, with how many networks there are in it. */
typedef void (*hostapd_recall_fn)(const char *radio, int networks);
void hostapd_recall(hostapd_recall_fn call);

/** Frees the texts. */
void hostapd_free(hostapd_text *text);

/** The interface of a radio's network by its place among them, from 0. */
void hostapd_name_interface(char name[hostapd_name_room], const char *radio, int place);

/** Whether that network is to be on the air with that radio. */
int hostapd_carries(const vorn_instance *network, const char *radio);

/** Calls back for each network that the radio carries, with its interface, in their order. */
typedef void (*hostapd_network_fn)(const vorn_instance *network, const char *interface, void *data);
void hostapd_for_each_network(const vorn_instances *configuration, const char *radio,
                              hostapd_network_fn call, void *data);

#endif
