/* SPDX-License-Identifier: MIT */
/* The name is set by a program; of one that is not waited for, the kernel's name tells. */
#include "host_name.h"

#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "brief.h"

static int has_failed;
static char wanted[80];

static void look(int is_in_vain, void *data)
{
    char now[sizeof wanted] = "";
    (void)is_in_vain;
    (void)data;
    gethostname(now, sizeof now - 1);
    has_failed = strcmp(now, wanted) != 0;
}

static brief setting = BRIEF(look, NULL);

int host_name_apply(const char *name)
{
    const char *const arguments[] = {"hostname", name, NULL};
    has_failed = 0;
    snprintf(wanted, sizeof wanted, "%s", name);
    return brief_run(&setting, arguments);
}

const char *host_name_progress(void)
{
    return brief_goes_on(&setting) ? "applying" : NULL;
}

int host_name_has_failed(void)
{
    return has_failed;
}

const char *host_name_words(void)
{
    return setting.words;
}
