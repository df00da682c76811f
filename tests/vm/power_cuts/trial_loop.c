/* SPDX-License-Identifier: MIT */
/*
 * Changes the configuration for ever, now for good, now on trial, and says on standard output what
 * it is about to keep and what is kept: "keeping 7", "kept 7". What it never says so of, because it
 * was taken back or still is on trial, must not be there after a reset. It begins with what the
 * daemon has come up with, "booted 7", and says of each step which it is, "step confirm".
 */
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>
#include <vorn-client.h>

enum { patience = 1500, room = 1024 };

#define NUMBER                                                                                     \
    "<update><first><number>%d</number></first></update>"                                          \
    "<update><last><number>%d</number></last></update>"

static vorn_client *client;

/* The reply to a transaction of what the pattern makes, which the caller frees; null when refused.
 */
static char *done(const char *pattern, ...)
{
    char operations[room];
    char request[room + 64];
    char *reply;
    va_list arguments;
    va_start(arguments, pattern);
    vsnprintf(operations, sizeof operations, pattern, arguments);
    va_end(arguments);
    const int length =
        snprintf(request, sizeof request, "<lsql><write-transaction>%s</write-transaction></lsql>",
                 operations);
    if (vorn_client_request(client, request, (size_t)length, &reply, NULL) != VORN_CLIENT_OK) {
        printf("refused: %s\n", vorn_client_error(client));
        return NULL;
    }
    if (strstr(reply, "<error>") == NULL) return reply;
    printf("refused: %s: %s\n", request, reply);
    free(reply);
    return NULL;
}

/* Out of the machine before the step begins: nobody would know of it after a cut. */
static void announce(const char *step, int number)
{
    printf("step %s\n", step);
    if (number != 0) printf("keeping %d\n", number);
    tcdrain(STDOUT_FILENO);
}

static int is_done(char *reply)
{
    const int is = reply != NULL;
    free(reply);
    return is;
}

/* The text of the first element of that name; "" for none. */
static void text_of(const char *reply, const char *element, char *text, size_t size)
{
    char begin[32];
    snprintf(begin, sizeof begin, "<%s>", element);
    const char *found = strstr(reply, begin);
    text[0] = '\0';
    if (found == NULL) return;
    snprintf(text, size, "%.*s", (int)strcspn(found + strlen(begin), "<"), found + strlen(begin));
}

/* What is kept now, and was before; 0 for not known yet. */
static int kept, kept_before;

static int keep(int number, char *reply)
{
    if (!is_done(reply)) return 1;
    printf("kept %d\n", number);
    kept_before = kept;
    kept = number;
    return 0;
}

static int change(int number)
{
    announce("change", number);
    return keep(number, done(NUMBER, number, number));
}

/* The last but one generation, which is what was kept before. */
static int last_generation_but_one(void)
{
    int last = 0, last_but_one = 0;
    char *reply = done("<select><generation><time/></generation></select>");
    for (const char *at = reply; at != NULL && (at = strstr(at, " name=\"")) != NULL; at++) {
        const int number = atoi(at + strlen(" name=\""));
        last_but_one = number > last ? last : last_but_one;
        last = number > last ? number : last;
    }
    free(reply);
    return last_but_one;
}

static int roll_back(void)
{
    const int number = kept_before;
    const int generation = last_generation_but_one();
    announce("rollback", number);
    return keep(number,
                done("<update><history><rollback>%d</rollback></history></update>", generation));
}

static int begin_trial(int number, char id[64])
{
    announce("trial", 0);
    char *reply = done(NUMBER "<update><trial><seconds>600</seconds></trial></update>"
                              "<select><trial><id/></trial></select>",
                       number, number);
    if (reply == NULL) return 1;
    text_of(reply, "id", id, 64);
    free(reply);
    return 0;
}

static int join_trial(int number, const char *id)
{
    announce("join", 0);
    return !is_done(
        done(NUMBER "<update><trial><join>%s</join></trial></update>", number, number, id));
}

static int confirm(int number, const char *id)
{
    announce("confirm", number);
    return keep(number, done("<update><trial><confirm>%s</confirm></trial></update>", id));
}

static int revert(const char *id)
{
    announce("revert", 0);
    return !is_done(done("<update><trial><revert>%s</revert></trial></update>", id));
}

static int try_out(int number)
{
    char id[64];
    if (begin_trial(number, id) != 0) return 1;
    if (rand() % 2 == 0 && join_trial(++number, id) != 0) return 1;
    return rand() % 2 == 0 ? confirm(number, id) : revert(id);
}

/* The daemon listens a little later than it has gone to the background. */
static int await_daemon(void)
{
    static const char nothing[] = "<lsql/>";
    const struct timespec pause = {0, 20000000};
    for (int i = 0; i < patience; i++) {
        char *reply;
        if (vorn_client_request(client, nothing, strlen(nothing), &reply, NULL) == VORN_CLIENT_OK) {
            free(reply);
            return 0;
        }
        nanosleep(&pause, NULL);
    }
    return 1;
}

static int tell_what_booted(void)
{
    char number[16];
    char *reply = done("<select><first><number/></first></select>");
    if (reply == NULL) return 1;
    text_of(reply, "number", number, sizeof number);
    free(reply);
    printf("booted %s\n", number);
    return 0;
}

int main(int count, char **arguments)
{
    int number = count > 1 ? atoi(arguments[1]) : 1;
    int failed;
    client = vorn_client_new();
    setvbuf(stdout, NULL, _IOLBF, 0);
    srand((unsigned int)time(NULL) ^ (unsigned int)number);
    for (failed = client == NULL || await_daemon() || tell_what_booted(); !failed; number += 2) {
        const int choice = rand() % 6;
        failed = choice > 1                        ? try_out(number)
                 : choice == 0 && kept_before != 0 ? roll_back()
                                                   : change(number);
    }
    printf("ended\n");
    return 1;
}
