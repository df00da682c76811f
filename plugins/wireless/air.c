/* SPDX-License-Identifier: MIT */
#include "air.h"

#include <net/if.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "vorn-plugin/patience.h"

enum { coming_us = 5000000 };

/* One that can't be asked for counts as up: nothing is known against it. */
static int is_down(const char *link)
{
    struct ifreq request = {.ifr_flags = 0};
    const int sock = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (sock == -1) return 0;
    snprintf(request.ifr_name, sizeof request.ifr_name, "%s", link);
    const int is_known = ioctl(sock, SIOCGIFFLAGS, &request) == 0;
    close(sock);
    return is_known && (request.ifr_flags & IFF_UP) == 0;
}

static void note(const hostapd_carried *carried, void *data)
{
    unsigned int *known = &((air *)data)->links[carried->place];
    if (*known != 0) return;
    const unsigned int number = if_nametoindex(carried->interface);
    if (number != 0 && !is_down(carried->interface)) *known = number;
}

void air_look(air *of, int process, const vorn_instances *configuration, const char *radio)
{
    if (of->process != process) {
        *of = (struct air){.process = process, .since_us = patience_now_us()};
    }
    if (process != 0) hostapd_for_each_network(configuration, radio, note, of);
}

struct search {
    const air *air;
    const vorn_instance *network; /* that is meant; null for any */
    int is_found;
    int is_gone;
    char interface[hostapd_name_room];
};

static void look_for_loss(const hostapd_carried *carried, void *data)
{
    struct search *search = data;
    const unsigned int known = search->air->links[carried->place];
    const unsigned int number = if_nametoindex(carried->interface);
    search->is_found |= known != 0 && (number != known || is_down(carried->interface));
}

int air_has_lost(const air *of, const vorn_instances *configuration, const char *radio)
{
    struct search search = {.air = of};
    if (of->process == 0) return 0;
    hostapd_for_each_network(configuration, radio, look_for_loss, &search);
    return search.is_found;
}

/* The radio's own link is the first one. */
static void look_for_fault(const hostapd_carried *carried, void *data)
{
    struct search *search = data;
    const char *interface = carried->interface;
    const unsigned int known = search->air->links[carried->place];
    const int is_late = patience_now_us() - search->air->since_us >= coming_us;
    if (search->network != NULL ? carried->network != search->network : carried->place != 0) return;
    if (known == 0 && !is_late) return;
    const unsigned int number = if_nametoindex(interface);
    search->is_gone = number == 0 || (known != 0 && number != known);
    search->is_found = search->is_gone || is_down(interface);
    snprintf(search->interface, sizeof search->interface, "%s", interface);
}

const char *air_reason(const air *of, const vorn_instances *configuration, const char *radio,
                       const vorn_instance *network)
{
    static char reason[hostapd_name_room + 32];
    struct search search = {.air = of, .network = network};
    if (of->process == 0) return NULL;
    hostapd_for_each_network(configuration, radio, look_for_fault, &search);
    if (!search.is_found) return NULL;
    if (search.is_gone && strcmp(search.interface, radio) == 0) {
        snprintf(reason, sizeof reason, "waiting for %s", radio);
    } else {
        snprintf(reason, sizeof reason, "failed: %s is %s", search.interface,
                 search.is_gone ? "gone" : "down");
    }
    return reason;
}
