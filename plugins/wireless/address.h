/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_ADDRESS_H
#define PLUGINS_WIRELESS_ADDRESS_H

enum { address_bytes = 6 };

/** The link's own address; 1, or 0 where there is no such link. */
int address_read(const char *link, unsigned char address[address_bytes]);

#endif
