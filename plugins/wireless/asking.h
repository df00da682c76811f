/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_ASKING_H
#define PLUGINS_WIRELESS_ASKING_H

#include "vorn/vorn.h"

/*
 * Classes whose instances iw(8) tells of, one iw for each interface, all of a class at once. Where
 * it does not, an instance says so in place of them, since nobody there is something else than
 * nobody known.
 */

/** What is asked for a class of instances. */
typedef struct asking {
    const char *class_name;
    const char *const *properties; /* a null after the last */
    const char *about;             /* of them, the one that says of whom an instance is */
    const char *object;            /* what iw dumps: "station" */
    const char *head;              /* how a line begins that begins an instance */
    const char *mac;               /* the property for the address after that; null for none */
    void (*read)(vorn_instance *instance, const char *line); /* each further line */
} asking;

/**
 * Reads the first word after a label, of a list that ends with a null label, into the property
 * that stands beside it, where the line begins with one.
 */
void asking_read_value(vorn_instance *instance, const char *const labels[][2], const char *line);

/** Asks iw of one interface, on behalf of the one of that name. */
void asking_ask(const asking *asked, vorn_instances *made, const char *about,
                const char *interface);

/** Has the class's instances asked for if somebody is about to read them. Whether it was so. */
int asking_refresh(const asking *asked, vorn_refresh_info *info,
                   void (*ask)(const vorn_instances *store, const char *radio, void *made));

#endif
