/* SPDX-License-Identifier: MIT */
#include "leftovers.h"

#include "vorn/vorn.h"

#include <net/if.h>
#include <stdio.h>

#include "brief.h"
#include "errands.h"
#include "hostapd.h"
#include "links.h"

enum { most_sweeps = 5 };

void leftovers_expect(leftovers *left, int networks)
{
    left->sweeps = 0;
    if (left->most_networks < networks) left->most_networks = networks;
}

/* The place of the next link that is there, from that one on, or the number of networks. */
static int find(const leftovers *left, const char *radio, int place, char link[hostapd_name_room])
{
    if (place == 0) place = 1; /* the radio's own */
    for (; place < left->most_networks; place++) {
        hostapd_name_interface(link, radio, place);
        if (if_nametoindex(link) != 0) break;
    }
    return place;
}

static int is_any(const leftovers *left, const char *radio, int networks)
{
    char link[hostapd_name_room];
    return find(left, radio, networks, link) < left->most_networks;
}

int leftovers_are_there(const leftovers *left, const char *radio, int networks)
{
    return left->sweeps < most_sweeps && is_any(left, radio, networks);
}

const char *leftovers_reason(const leftovers *left, const char *radio, int networks)
{
    static char reason[brief_room + 64];
    char link[hostapd_name_room];
    if (left->sweeps < most_sweeps) return NULL;
    if (find(left, radio, networks, link) == left->most_networks) return NULL;
    const char *words = errands_words(link);
    snprintf(reason, sizeof reason, "failed: %s, of its process from before, can't be removed%s%s",
             link, *words != '\0' ? ": " : "", words);
    return reason;
}

void leftovers_remove(const leftovers *left, const char *radio, int networks)
{
    char link[hostapd_name_room];
    if (vorn_process_no_actions) return;
    for (int place = find(left, radio, networks, link); place < left->most_networks;
         place = find(left, radio, place + 1, link)) {
        const char *const arguments[] = {"iw", "dev", link, "del", NULL};
        errands_start(link, arguments);
    }
}

void leftovers_sweep(leftovers *left, const char *radio, int networks)
{
    if (!is_any(left, radio, networks)) {
        left->most_networks = networks;
    } else if (left->sweeps < most_sweeps) {
        left->sweeps++;
        leftovers_remove(left, radio, networks);
        links_look_later();
    }
}
