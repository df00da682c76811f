/* SPDX-License-Identifier: MIT */
/*
 * Changes the configuration for ever, from a number on, and says on standard output which changes
 * are accepted and therefore saved: "saved 7"; now and then also "default 8". With the name of a
 * property it changes that of one instance of a class instead, and makes no default.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <vorn-client.h>

enum { saves_for_a_default = 4, patience = 1500 };

enum { room = 256 };

static int write_request(char request[room], int number, const char *property)
{
    if (property != NULL) {
        return snprintf(request, room,
                        "<lsql><write-transaction><update><Wlan name=\"w0\"><%s>%d</%s></Wlan>"
                        "</update></write-transaction></lsql>",
                        property, number, property);
    }
    return snprintf(request, room,
                    "<lsql><write-transaction><update><first><number>%d</number></first></update>"
                    "<update><last><number>%d</number></last></update></write-transaction></lsql>",
                    number, number);
}

static int save(vorn_client *client, int number, const char *property)
{
    char request[room];
    char *reply;
    const int length = write_request(request, number, property);
    if (vorn_client_request(client, request, (size_t)length, &reply, NULL) != VORN_CLIENT_OK) {
        return 1;
    }
    const int refused = strstr(reply, "<rc>0</rc><counter>1</counter>") == NULL;
    free(reply);
    return refused;
}

static int make_default(vorn_client *client)
{
    char *reply;
    if (vorn_client_inform(client, "default", NULL, 0, &reply) != VORN_CLIENT_OK) return 1;
    const int refused = strcmp(reply, "OK\n") != 0;
    free(reply);
    return refused;
}

/* The daemon listens a little later than it has gone to the background. */
static int await_daemon(vorn_client *client)
{
    static const char nothing[] = "<lsql/>";
    const struct timespec pause = {0, 20000000};
    for (int i = 0; i < patience; i++) {
        char *reply;
        const int status = vorn_client_request(client, nothing, strlen(nothing), &reply, NULL);
        if (status == VORN_CLIENT_OK) {
            free(reply);
            return 0;
        }
        nanosleep(&pause, NULL);
    }
    return 1;
}

int main(int count, char **arguments)
{
    vorn_client *client = vorn_client_new();
    setvbuf(stdout, NULL, _IOLBF, 0);
    int number = count > 1 ? atoi(arguments[1]) : 1;
    const char *property = count > 2 ? arguments[2] : NULL;
    for (int failed = client == NULL || await_daemon(client); !failed; number++) {
        if (save(client, number, property) != 0) break;
        printf("saved %d\n", number);
        if (property != NULL || number % saves_for_a_default != 0) continue;
        if (make_default(client) != 0) break;
        printf("default %d\n", number);
    }
    printf("not saved: %s\n", client != NULL ? vorn_client_error(client) : "no memory");
    return 1;
}
