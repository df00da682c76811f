/* SPDX-License-Identifier: MIT */
#include "pending.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/random.h>
#include <time.h>

#include "values.h"

enum { id_length = 16, longest_holder = 96, longest_origin = 32, longest_sentence = 240 };

static int is_pending;
static char id[id_length + 1]; /* empty until somebody wants to know it */
static char holder[longest_holder];
static char *document;
static char *prepared;
static int64_t began; /* seconds of CLOCK_BOOTTIME */
static int64_t end;

static int64_t now(void)
{
    struct timespec time;
    clock_gettime(CLOCK_BOOTTIME, &time);
    return time.tv_sec;
}

int pending_is_there(void)
{
    return is_pending;
}

const char *pending_id(void)
{
    unsigned char bytes[id_length / 2];
    if (id[0] != '\0') return id;
    if (getrandom(bytes, sizeof bytes, 0) != sizeof bytes) return NULL;
    for (size_t i = 0; i < sizeof bytes; i++)
        snprintf(id + 2 * i, 3, "%02x", bytes[i]);
    return id;
}

int pending_is(const char *text)
{
    return is_pending && strcmp(id, text) == 0;
}

int pending_prepare(void)
{
    free(prepared);
    prepared = vorn_config_write_document(vorn_config_get_running());
    return prepared == NULL || pending_id() == NULL;
}

/* The user, what runs for him, and what the request says of itself. */
static void note_holder(void)
{
    const vorn_peer *peer = vorn_query_get_peer();
    int length = 0;
    if (peer != NULL) {
        length = snprintf(holder, sizeof holder, "%s (%s, process %d)", vorn_peer_get_user(peer),
                          vorn_peer_get_program(peer), (int)vorn_peer_get_pid(peer));
    }
    if (peer == NULL) length = snprintf(holder, sizeof holder, "the device itself");
    if (vorn_query_origin == NULL || length < 0 || length >= (int)sizeof holder) return;
    snprintf(holder + length, sizeof holder - (size_t)length, " for \"%.*s\"", longest_origin,
             vorn_query_origin);
}

/* It goes into one line of the log, in which it must not look like another. */
static void make_it_one_line(char *text)
{
    for (; *text != '\0'; text++) {
        if ((unsigned char)*text < ' ' || *text == 0x7f) *text = '?';
    }
}

void pending_begin(int seconds)
{
    free(document);
    document = prepared;
    prepared = NULL;
    is_pending = 1;
    note_holder();
    make_it_one_line(holder);
    began = now();
    pending_prolong(seconds);
}

void pending_prolong(int seconds)
{
    end = now() + seconds;
}

void pending_end(void)
{
    is_pending = 0;
    id[0] = '\0';
    free(document);
    document = NULL;
}

const char *pending_document(void)
{
    return document;
}

int pending_remaining(void)
{
    const int64_t left = is_pending ? end - now() : 0;
    return left > 0 ? (int)left : 0;
}

const char *pending_holder(void)
{
    return is_pending ? holder : "";
}

static const char *clock_at(int64_t moment, char *text)
{
    text[0] = '\0';
    return is_pending ? time_text(time(NULL) + moment - now(), text) : text;
}

const char *pending_since(void)
{
    static char text[TIME_TEXT];
    return clock_at(began, text);
}

const char *pending_until(void)
{
    static char text[TIME_TEXT];
    return clock_at(end, text);
}

const char *pending_sentence(void)
{
    static char text[longest_sentence];
    snprintf(text, sizeof text,
             "A change is on trial: held by %s since %s until %s; confirm or revert it first",
             holder, pending_since(), pending_until());
    return text;
}
