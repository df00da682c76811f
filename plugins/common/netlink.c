/* SPDX-License-Identifier: MIT */
/* What the kernel tells of the network, asked for on a socket of its own each time. */
#include "netlink.h"

#include <linux/rtnetlink.h>
#include <stddef.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

enum { answer_room = 65536, answer_limit_s = 1 };

/* Whether the dump goes on: 1, or 0 at its end, or -1 when it failed. */
static int take_messages(const char *answer, ssize_t size, netlink_fn take, void *data)
{
    unsigned int left = (unsigned int)size;
    for (const struct nlmsghdr *each = (const void *)answer; NLMSG_OK(each, left);
         each = NLMSG_NEXT(each, left)) {
        if (each->nlmsg_type == NLMSG_DONE) return 0;
        if (each->nlmsg_type == NLMSG_ERROR || take(each, data) != 0) return -1;
    }
    return 1;
}

/* What is told besides is not asked for where that is nothing. */
struct request {
    struct nlmsghdr header;
    struct ifinfomsg info;
    struct rtattr besides;
    uint32_t which;
};

int netlink_dump(int kind, int family, netlink_fn take, void *data)
{
    return netlink_dump_with(kind, family, 0, take, data);
}

int netlink_dump_with(int kind, int family, uint32_t besides, netlink_fn take, void *data)
{
    const size_t asked = besides != 0 ? sizeof(struct request) : offsetof(struct request, besides);
    const struct request request = {
        .header = {.nlmsg_len = (uint32_t)asked,
                   .nlmsg_type = (unsigned short)kind,
                   .nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP},
        .info = {.ifi_family = (unsigned char)family},
        .besides = {.rta_type = IFLA_EXT_MASK, .rta_len = RTA_LENGTH(sizeof besides)},
        .which = besides};
    const struct timeval limit = {answer_limit_s, 0};
    char *answer = malloc(answer_room);
    const int door = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    int more = answer != NULL && door >= 0 &&
                       setsockopt(door, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) == 0 &&
                       send(door, &request, asked, 0) == (ssize_t)asked
                   ? 1
                   : -1;
    while (more > 0) {
        const ssize_t size = recv(door, answer, answer_room, 0);
        more = size > 0 ? take_messages(answer, size, take, data) : -1;
    }
    if (door >= 0) close(door);
    free(answer);
    return more;
}
