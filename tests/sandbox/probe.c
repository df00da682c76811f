/* SPDX-License-Identifier: MIT */
/* What a shell can't do by itself: leak memory, and talk over sockets. */
#include <netinet/in.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

static void *volatile kept;

static int leak(void)
{
    kept = malloc(77);
    kept = NULL;
    return 0;
}

/* One byte goes from one end of a TCP connection over 127.0.0.1 to the other. */
static int loopback(void)
{
    struct sockaddr_in address = {.sin_family = AF_INET, .sin_addr.s_addr = htonl(INADDR_LOOPBACK)};
    socklen_t length = sizeof address;
    int server = socket(AF_INET, SOCK_STREAM, 0);
    int client = socket(AF_INET, SOCK_STREAM, 0);
    char byte = 0;

    if (bind(server, (struct sockaddr *)&address, length) != 0 || listen(server, 1) != 0 ||
        getsockname(server, (struct sockaddr *)&address, &length) != 0 ||
        connect(client, (struct sockaddr *)&address, length) != 0 || write(client, "v", 1) != 1 ||
        read(accept(server, NULL, NULL), &byte, 1) != 1) {
        perror("loopback");
        return 1;
    }
    return byte == 'v' ? 0 : 1;
}

/* Listens on (for a minute at most), or connects to, the abstract socket of the given name. */
static int abstract(const char *name, int listening)
{
    struct sockaddr_un address = {.sun_family = AF_UNIX};
    socklen_t length = offsetof(struct sockaddr_un, sun_path) + 1 + strlen(name);
    int end = socket(AF_UNIX, SOCK_STREAM, 0);

    memcpy(address.sun_path + 1, name, strlen(name));
    if (!listening) return connect(end, (struct sockaddr *)&address, length) == 0 ? 0 : 1;
    if (bind(end, (struct sockaddr *)&address, length) != 0 || listen(end, 5) != 0) return 1;
    puts("listening");
    fflush(stdout);
    alarm(60);
    pause();
    return 0;
}

int main(int count, char **arguments)
{
    if (count == 2 && strcmp(arguments[1], "leak") == 0) return leak();
    if (count == 2 && strcmp(arguments[1], "loopback") == 0) return loopback();
    if (count == 3 && strcmp(arguments[1], "listen") == 0) return abstract(arguments[2], 1);
    if (count == 3 && strcmp(arguments[1], "connect") == 0) return abstract(arguments[2], 0);
    return 2;
}
