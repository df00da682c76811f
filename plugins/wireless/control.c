/* SPDX-License-Identifier: MIT */
/* hostapd's control sockets, one for each interface: a datagram asks, another one answers. */
#include "control.h"

#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <strings.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

int64_t control_now_ms(void)
{
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (int64_t)time.tv_sec * 1000 + time.tv_nsec / 1000000;
}

/* The answer comes to a name that the kernel chooses, which leaves nothing behind. */
int control_open(const char *path)
{
    const struct sockaddr_un own = {.sun_family = AF_UNIX};
    struct sockaddr_un theirs = {.sun_family = AF_UNIX};
    snprintf(theirs.sun_path, sizeof theirs.sun_path, "%s", path);
    const int sock = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (sock == -1) return -1;
    if (bind(sock, (const struct sockaddr *)&own, sizeof own.sun_family) == 0 &&
        connect(sock, (const struct sockaddr *)&theirs, sizeof theirs) == 0) {
        return sock;
    }
    close(sock);
    return -1;
}

/* Whether an answer has come that begins with that. */
static int asks(int sock, const char *question, const char *wanted, int64_t deadline_ms)
{
    char answer[4096];
    struct pollfd waiting = {.fd = sock, .events = POLLIN};
    const int64_t left = deadline_ms - control_now_ms();
    if (send(sock, question, strlen(question), MSG_DONTWAIT) == -1) return 0;
    if (poll(&waiting, 1, left > 0 ? (int)left : 0) != 1) return 0;
    const ssize_t count = recv(sock, answer, sizeof answer - 1, MSG_DONTWAIT);
    answer[count > 0 ? count : 0] = '\0';
    return strncasecmp(answer, wanted, strlen(wanted)) == 0;
}

int control_kick(const char *interface, const char *station, int64_t deadline_ms)
{
    char path[64];
    char question[64];
    char order[64];
    snprintf(path, sizeof path, CONTROL_FOLDER "/%s", interface);
    const int sock = control_open(path);
    if (sock == -1) return 0;
    snprintf(question, sizeof question, "STA %s", station);
    snprintf(order, sizeof order, "DEAUTHENTICATE %s", station);
    const int was_there =
        asks(sock, question, station, deadline_ms) && asks(sock, order, "OK", deadline_ms);
    close(sock);
    return was_there;
}
