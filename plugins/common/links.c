/* SPDX-License-Identifier: MIT */
#include "links.h"

#include "vorn/vorn.h"

#include <errno.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

enum { soon_us = 100000, later_us = 700000, most_delays = 10 };

static void (*tell)(void);
static void (*tell_at_once)(void);
static int is_due;
static int delays; /* how often more has come since the first */

static void look(void *eloop_data, void *data)
{
    (void)eloop_data;
    (void)data;
    is_due = 0;
    delays = 0;
    tell();
}

static void look_after(unsigned int us)
{
    eloop_cancel_timeout(look, NULL, NULL);
    is_due = eloop_register_timeout(0, us, look, NULL, NULL) == 0;
}

int links_will_be_looked_at(void)
{
    return is_due;
}

void links_look_later(void)
{
    look_after(later_us);
}

/* As soon as nothing more comes, and in time where it never ends. */
static void look_soon(void)
{
    if (is_due && delays++ >= most_delays) return;
    look_after(soon_us);
}

/*
 * What is in the messages does not matter, and so not what the kernel had no room for: everything
 * is looked at as it is by then.
 */
static void hear(int sock, void *eloop_data, void *data)
{
    char message[4096];
    (void)eloop_data;
    (void)data;
    ssize_t count;
    do {
        count = recv(sock, message, sizeof message, MSG_DONTWAIT);
    } while (count > 0 || (count == -1 && (errno == ENOBUFS || errno == EINTR)));
    look_soon();
    if (tell_at_once != NULL) tell_at_once();
}

void links_hear(void (*heard)(void))
{
    tell_at_once = heard;
}

int links_watch(void (*changed)(void), unsigned int other_groups)
{
    tell = changed;
    const int sock = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    const struct sockaddr_nl links = {.nl_family = AF_NETLINK,
                                      .nl_groups = RTMGRP_LINK | other_groups};
    if (sock == -1) return 1;
    if (bind(sock, (const struct sockaddr *)&links, sizeof links) == 0 &&
        eloop_register_read_sock(sock, hear, NULL, NULL) == 0) {
        return 0;
    }
    close(sock);
    return 1;
}
