/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_AIR_H
#define PLUGINS_WIRELESS_AIR_H

#include <stdint.h>

#include "hostapd.h"

/*
 * The links of a radio while its hostapd runs. When somebody deletes one or takes it down, hostapd
 * runs on and never brings it back: it has to be restarted for that. What it has not brought up
 * yet it is left the time for.
 */

/** What one hostapd has; begins as zeros. */
typedef struct air {
    int process; /* of which this is known; 0 for none */
    int64_t since_us;
    unsigned int links[hostapd_most_networks]; /* the kernel's numbers of those that were up */
} air;

/** Notes which links are up by now. The process is hostapd's; 0 while it does not run. */
void air_look(air *of, int process, const vorn_instances *configuration, const char *radio);

/** Whether a link that was up, as far as was noted, has gone, or is another one or down. */
int air_has_lost(const air *of, const vorn_instances *configuration, const char *radio);

/**
 * Why the network has no link, or the radio where it is null: null when it has one, or is still
 * expected to get it. The text is good until the next call.
 */
const char *air_reason(const air *of, const vorn_instances *configuration, const char *radio,
                       const vorn_instance *network);

#endif
