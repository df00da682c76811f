/* SPDX-License-Identifier: MIT */
#include "pauses.h"

#include <arpa/inet.h>
#include <stdio.h>
#include <string.h>

enum { free_failures = 2, longest_pause = 60, memory = 900 };

static struct paused *find(struct pauses *pauses, const char *address)
{
    for (int i = 0; i < addresses_kept; i++) {
        struct paused *each = &pauses->addresses[i];
        if (each->failures > 0 && strcmp(each->address, address) == 0) return each;
    }
    return NULL;
}

/* A place that is free, or that of who failed longest ago. */
static struct paused *place_in(struct pauses *pauses)
{
    struct paused *oldest = &pauses->addresses[0];
    for (int i = 0; i < addresses_kept; i++) {
        struct paused *each = &pauses->addresses[i];
        if (each->failures == 0) return each;
        if (each->last < oldest->last) oldest = each;
    }
    return oldest;
}

int pauses_left(const struct pauses *pauses, const char *address, int64_t now)
{
    const struct paused *found = find((struct pauses *)pauses, address);
    if (found == NULL || found->until <= now) return 0;
    return (int)(found->until - now);
}

void pauses_note_failure(struct pauses *pauses, const char *address, int64_t now)
{
    struct paused *found = find(pauses, address);
    if (found == NULL) {
        found = place_in(pauses);
        *found = (struct paused){.failures = 0};
        snprintf(found->address, sizeof found->address, "%s", address);
    } else if (found->last + memory < now) {
        found->failures = 0;
    }
    found->failures++;
    found->last = now;
    const int steps = found->failures - free_failures - 1;
    const int pause = steps < 0 ? 0 : steps > 5 ? longest_pause : 1 << steps;
    found->until = now + pause;
}

void pauses_forget(struct pauses *pauses, const char *address)
{
    struct paused *found = find(pauses, address);
    if (found != NULL) found->failures = 0;
}

void pauses_name_address(char name[longest_address], const char *address)
{
    unsigned char bytes[sizeof(struct in6_addr)];
    strcpy(name, "?");
    if (inet_pton(AF_INET, address, bytes) == 1) {
        inet_ntop(AF_INET, bytes, name, longest_address);
    } else if (inet_pton(AF_INET6, address, bytes) == 1) {
        memset(bytes + sizeof bytes / 2, 0, sizeof bytes / 2);
        inet_ntop(AF_INET6, bytes, name, longest_address);
    }
}
