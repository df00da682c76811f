/* SPDX-License-Identifier: MIT */
#include "errands.h"

#include "vorn/vorn.h"

#include <net/if.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "brief.h"
#include "links.h"

/* Of one link; kept for the next one. */
struct errand {
    struct errand *next;
    char link[IF_NAMESIZE];
    brief run;
};

static struct errand *errands;

static struct errand *find(const char *link)
{
    struct errand *errand = errands;
    while (errand != NULL && strcmp(errand->link, link) != 0)
        errand = errand->next;
    return errand;
}

static void has_ended(int has_failed, void *data)
{
    const struct errand *errand = data;
    if (!has_failed) return;
    vorn_debug_eprintf("wireless: what was run for %s failed: %s.\n", errand->link,
                       errand->run.words);
    vorn_commit_report_add_failure("wireless: %s: %s", errand->link, errand->run.words);
}

static struct errand *make(const char *link)
{
    struct errand *errand = calloc(1, sizeof *errand);
    if (errand == NULL) return NULL;
    snprintf(errand->link, sizeof errand->link, "%s", link);
    errand->run = (brief)BRIEF(has_ended, errand);
    errand->next = errands;
    errands = errand;
    return errand;
}

void errands_start(const char *link, const char *const arguments[])
{
    struct errand *errand = find(link);
    if (errand == NULL) errand = make(link);
    if (errand != NULL && brief_goes_on(&errand->run)) return;
    if (errand == NULL || brief_start(&errand->run, arguments) != 0) links_look_later();
}

int errands_go_on(const char *link)
{
    const struct errand *errand = find(link);
    return errand != NULL && brief_goes_on(&errand->run);
}

const char *errands_words(const char *link)
{
    const struct errand *errand = find(link);
    return errand != NULL ? errand->run.words : "";
}
