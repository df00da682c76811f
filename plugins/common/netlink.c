/* SPDX-License-Identifier: MIT */
/* What the kernel tells of the network, asked for on a socket of its own each time. */
#include "netlink.h"

#include <linux/rtnetlink.h>
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

int netlink_dump(int kind, int family, netlink_fn take, void *data)
{
    struct {
        struct nlmsghdr header;
        struct ifinfomsg info;
    } request = {.header = {.nlmsg_len = sizeof request,
                            .nlmsg_type = (unsigned short)kind,
                            .nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP},
                 .info = {.ifi_family = (unsigned char)family}};
    const struct timeval limit = {answer_limit_s, 0};
    char *answer = malloc(answer_room);
    const int door = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    int more = answer != NULL && door >= 0 &&
                       setsockopt(door, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) == 0 &&
                       send(door, &request, sizeof request, 0) == sizeof request
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
