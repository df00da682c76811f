/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_NETWORK_COUNTERS_H
#define PLUGINS_NETWORK_COUNTERS_H

/**
 * Writes one line "NAME RX-BYTES RX-PACKETS TX-BYTES TX-PACKETS" for each interface of the
 * kernel's table in /proc/net/dev, as many whole lines as fit into the room (with the NUL).
 */
void counters_read(char *lines, int room);

#endif
