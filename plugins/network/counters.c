/* SPDX-License-Identifier: MIT */
#include "counters.h"

#include <stdio.h>
#include <string.h>

/* "  eth0: rx-bytes rx-packets ... (8 receive columns) tx-bytes tx-packets ..." */
static int format_counters(const char *line, char *text, size_t size)
{
    char name[32];
    char received[2][24];
    char sent[2][24];

    const int found = sscanf(line, " %31[^:]: %23s %23s %*s %*s %*s %*s %*s %*s %23s %23s", name,
                             received[0], received[1], sent[0], sent[1]);
    if (found != 5) return 0;
    return snprintf(text, size, "%s %s %s %s %s\n", name, received[0], received[1], sent[0],
                    sent[1]);
}

void counters_read(char *lines, int room)
{
    char line[512];
    char text[160];
    int used = 0;

    lines[0] = '\0';
    FILE *table = fopen("/proc/net/dev", "re");
    if (table == NULL) return;
    while (fgets(line, sizeof line, table) != NULL) {
        const int length = format_counters(line, text, sizeof text);
        if (length == 0) continue;
        if (used + length >= room) break;
        memcpy(lines + used, text, (size_t)length + 1);
        used += length;
    }
    fclose(table);
}
