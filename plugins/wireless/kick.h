/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_KICK_H
#define PLUGINS_WIRELESS_KICK_H

/** Sends a station away, from whichever network it has joined. Whether there was such a one. */
int kick_station(const char *station);

#endif
