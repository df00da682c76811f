/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_COUNTRY_H
#define PLUGINS_WIRELESS_COUNTRY_H

#define COUNTRY_FILE "/etc/wireless-country"

/**
 * Reads where the device may send, two capitals, from the file that the factory puts there: the
 * owner of a device does not choose its country. Without the file it is "US".
 */
void country_read(void);

/** The country's two letters. */
const char *country_code(void);

/** Whether the country allows the channel in any of the modes "a", "b" and "g". */
int country_allows_channel(const char *channel);

/** The same in that mode. */
int country_allows_channel_in(const char *channel, const char *mode);

enum { country_list_room = 256 };

/** The channels of that mode, or of all where it is null, with that between them. */
const char *country_list_channels(const char *mode, const char *separator,
                                  char text[country_list_room]);

#endif
