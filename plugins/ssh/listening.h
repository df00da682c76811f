/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SSH_LISTENING_H
#define PLUGINS_SSH_LISTENING_H

/** dropbear listens on no more. */
enum { most_places = 10 };

/** Where it is to listen, as its -p takes them. */
struct places {
    int count;
    char texts[most_places][64];
};

/**
 * The port of every address that the interface has, or of all that the device has and will have
 * when it is the empty text. Left out are IPv6 addresses that hold for one link alone, and those of
 * which the kernel does not know yet whether somebody else has them.
 */
void places_find(struct places *found, const char *interface, const char *port);

#endif
