/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_LEFTOVERS_H
#define PLUGINS_WIRELESS_LEFTOVERS_H

/*
 * hostapd makes a link for each network of a radio but the first, and takes it away when it ends;
 * one that is killed leaves them. Here they are removed, those alone that it may have made.
 */

/** What may be left of one radio's; begins as zeros. */
typedef struct leftovers {
    int most_networks; /* that a hostapd was told of since there was nothing left */
    int sweeps;        /* tries to remove what is left */
} leftovers;

/** A hostapd is started for so many networks. */
void leftovers_expect(leftovers *left, int networks);

/** Whether there are links beyond those of so many networks, of which some try may still rid us. */
int leftovers_are_there(const leftovers *left, const char *radio, int networks);

/** Why what is beyond so many networks is still there after all tries; null when nothing is. */
const char *leftovers_reason(const leftovers *left, const char *radio, int networks);

/** Removes what is beyond so many networks. Nobody waits for what runs here. */
void leftovers_remove(const leftovers *left, const char *radio, int networks);

/** The same if it is there, and another look later, a few times. */
void leftovers_sweep(leftovers *left, const char *radio, int networks);

#endif
