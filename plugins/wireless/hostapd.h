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

typedef struct hostapd_text {
    char *whole;
    char *frame;
    int networks;                           /* how many there are in it */
    char *addresses[hostapd_most_networks]; /* of each network's file; null for none */
} hostapd_text;

/** Why each network is not on the air; known by hostapd_write. */
extern outcomes network_outcomes;

/**
 * Writes the texts. Networks that can't be carried are left out and noted. Returns 0, or 1 without
 * memory; the texts are null then.
 */
int hostapd_write(hostapd_text *text, const vorn_instance *radio,
                  const vorn_instances *configuration);

/**
 * Replaces the files of station addresses that the texts name, and removes the others. Returns 1
 * when one was replaced, 0 when all were so already, -1 when that fails.
 */
int hostapd_write_addresses(const hostapd_text *text, const char *radio);

/** Whether it would replace any. */
int hostapd_has_new_addresses(const hostapd_text *text, const char *radio);

/** Removes the files of station addresses of the radio's networks. */
void hostapd_forget_addresses(const char *radio);

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
