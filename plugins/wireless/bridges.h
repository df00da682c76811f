/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_BRIDGES_H
#define PLUGINS_WIRELESS_BRIDGES_H

#include "vorn/vorn.h"

/*
 * hostapd puts its interfaces into their bridges when it starts, and never again: it has to be
 * restarted for a bridge that was made again, and when somebody has taken an interface out.
 */

/**
 * While actions are given, which the plugin network has filled for an explanation, bridges are
 * there or not as it would leave them. Null ends that.
 */
void bridges_foresee(const vorn_actions *actions);

/** The bridge that the network is to be in and that is not there; null when there is none. */
const char *bridges_missing(const vorn_instance *network);

/** A number that is another one for another bridge of that name; 0 for no name. */
unsigned int bridges_number(const char *name);

/** A number that is another one when the radio's link or a bridge of its networks is. */
unsigned int bridges_sum(const vorn_instances *configuration, const char *radio);

/** Whether somebody has taken an interface of the radio out of its bridge. */
int bridges_lack(const vorn_instances *configuration, const char *radio);

/** Puts the interfaces of the radio that are outside of their bridges back into them. How many. */
int bridges_join(const vorn_instances *configuration, const char *radio);

/**
 * Why a network that hostapd has on the air is cut off, or null when it is not: it fails, unless it
 * is being put right and there is time for that. The text is good until the next call.
 */
const char *bridges_reason(const vorn_instances *configuration, const vorn_instance *network,
                           int has_time);

#endif
