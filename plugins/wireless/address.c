/* SPDX-License-Identifier: MIT */
#include "address.h"

#include <net/if.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

int address_read(const char *link, unsigned char address[address_bytes])
{
    struct ifreq request = {.ifr_flags = 0};
    const int sock = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (sock == -1) return 0;
    snprintf(request.ifr_name, sizeof request.ifr_name, "%s", link);
    const int is_known = ioctl(sock, SIOCGIFHWADDR, &request) == 0;
    close(sock);
    memcpy(address, request.ifr_hwaddr.sa_data, address_bytes);
    return is_known;
}
