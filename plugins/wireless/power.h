/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_POWER_H
#define PLUGINS_WIRELESS_POWER_H

#include "brief.h"

/* The transmit power of one radio, as its driver was told of it. */
struct power {
    char told[8]; /* in dBm; empty for the driver's own choice, "?" for what is not known */
    brief setting;
    void (*failed)(const char *reason, void *data);
    void *data;
};

/** The function is told why a setting has failed. The record is kept until the process ends. */
void power_begin(struct power *power, void (*failed)(const char *reason, void *data), void *data);

/** Has the driver set what it was not told yet; what has failed is tried again by the next call. */
void power_set(struct power *power, const char *radio, const char *dbm);

/** Whether it would have the driver set anything. */
int power_differs(const struct power *power, const char *dbm);

/** Leaves the driver its own choice, and begins anew. */
void power_forget(struct power *power, const char *radio);

/** Somebody else may have set it: the next call sets it in any case. */
void power_is_unknown(struct power *power);

int power_goes_on(const struct power *power);

#endif
