/* SPDX-License-Identifier: MIT */
#include "brief.h"

#include "vorn/vorn.h"

#include <stdio.h>

enum { limit_ms = 10000 };

/* Returns whether it has failed. */
static int take_end(brief *it)
{
    kept_make_plain(it->words);
    return it->run.status != 0;
}

static void hear_late(int descriptor, void *eloop_data, void *data)
{
    (void)eloop_data;
    brief *it = data;
    if (kept_hear(&it->run)) return;
    eloop_unregister_read_sock(descriptor);
    it->ended(take_end(it), it->data);
}

static void forget_the_last(brief *it)
{
    if (it->run.pipe >= 0) {
        eloop_unregister_read_sock(it->run.pipe);
        kept_give_up(&it->run);
    }
    it->run.output = it->words;
    it->words[0] = '\0';
}

/* As the daemon's own commands are logged. */
static void note(const char *const arguments[], const brief *it)
{
    char line[brief_room];
    size_t used = 0;
    for (; *arguments != NULL && used < sizeof line; arguments++)
        used += (size_t)snprintf(line + used, sizeof line - used, " %s", *arguments);
    if (vorn_process_no_actions) {
        vorn_debug_1printf("Running \"%s\" -> (no actions)\n", line + 1);
    } else {
        vorn_debug_1printf("Running \"%s\" -> pid = %d\n", line + 1, (int)it->run.keeper);
    }
}

static int begin(brief *it, const char *const arguments[], int (*is_over)(kept *run))
{
    const kept_plan plan = {arguments, NULL, 0, limit_ms};
    forget_the_last(it);
    const int is_lost = !vorn_process_no_actions && kept_start(&it->run, &plan) != 0;
    note(arguments, it);
    if (vorn_process_no_actions) return 0;
    if (is_lost || is_over(&it->run)) return take_end(it);
    if (eloop_register_read_sock(it->run.pipe, hear_late, NULL, it) == 0) return 0;
    kept_give_up(&it->run);
    return take_end(it);
}

static int not_yet(kept *run)
{
    (void)run;
    return 0;
}

int brief_run(brief *it, const char *const arguments[])
{
    return begin(it, arguments, kept_await_a_moment);
}

int brief_start(brief *it, const char *const arguments[])
{
    return begin(it, arguments, not_yet);
}

int brief_goes_on(const brief *it)
{
    return it->run.pipe >= 0;
}
