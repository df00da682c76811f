/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_FLEET_STATUS_H
#define PLUGINS_FLEET_STATUS_H

#define FLEET_FOLDER "/run/vorn-fleet"
#define FLEET_STATUS FLEET_FOLDER "/status"

/**
 * What the agent says of its connection: "connected" (yes or no), "since" (a time, or nothing),
 * "error". Empty where it says nothing. Good until the next call.
 */
const char *status_of_agent(const char *property);

#endif
