/* SPDX-License-Identifier: MIT */
#include "nft.h"

#include "vorn/vorn.h"

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "kept.h"

enum { reason_room = 200, limit_ms = 10000 };

static char words[reason_room];
static kept run = KEPT(words, reason_room);
static char *text; /* of the document; what reads it is a copy of this process */
static void (*tell)(const char *failure);
static int is_in_background; /* where nobody waits for the next one */

static void feed(int input)
{
    size_t done = 0;
    const size_t length = strlen(text);
    while (done < length) {
        const ssize_t size = write(input, text + done, length - done);
        if (size <= 0) return;
        done += (size_t)size;
    }
}

static void has_ended(void)
{
    const char *failure = NULL;
    kept_make_plain(words);
    free(text);
    text = NULL;
    if (run.status != 0) failure = *words != '\0' ? words : "it ended with an error";
    tell(failure);
}

static void hear(int descriptor, void *eloop_data, void *data)
{
    (void)eloop_data;
    (void)data;
    if (kept_hear(&run)) return;
    eloop_unregister_read_sock(descriptor);
    is_in_background = 1;
    has_ended();
    is_in_background = 0;
}

int nft_is_busy(void)
{
    return run.pipe >= 0;
}

void nft_run(char *document, void (*ended)(const char *failure))
{
    static const char *const arguments[] = {"nft", "-f", "-", NULL};
    const kept_plan plan = {arguments, feed, 0, limit_ms};
    words[0] = '\0';
    text = document;
    tell = ended;
    if (document == NULL) {
        tell("no memory");
    } else if (vorn_process_no_actions) {
        vorn_debug_1printf("Running \"nft -f -\" -> (no actions)\n");
        run.status = 0;
        has_ended();
    } else {
        const int is_lost = kept_start(&run, &plan) != 0;
        vorn_debug_1printf("Running \"nft -f -\" -> pid = %d\n", (int)run.keeper);
        if (is_lost || (!is_in_background && kept_await_a_moment(&run))) {
            has_ended();
        } else if (eloop_register_read_sock(run.pipe, hear, NULL, NULL) != 0) {
            kept_give_up(&run);
            has_ended();
        }
    }
}
