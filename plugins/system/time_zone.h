/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SYSTEM_TIME_ZONE_H
#define PLUGINS_SYSTEM_TIME_ZONE_H

/** The most characters of a zone or a rule. */
enum { longest_zone = 63 };

/** A zone's name ("Europe/Berlin") or a rule ("CET-1CEST,M3.5.0,M10.5.0/3"); "" for UTC. */
int time_zone_is_valid(const char *zone);

/** Makes it this device's. 0, or 1 when a file can't be written; the old zone then stays. */
int time_zone_apply(const char *zone);

/** Whether the files are as they are made for it. */
int time_zone_is_left(const char *zone);

/**
 * Whether it is a rule, or a zone that the device has. Where it has no zones at all, nobody can
 * tell, and every name counts.
 */
int time_zone_exists(const char *zone);

#endif
