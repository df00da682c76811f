/* SPDX-License-Identifier: MIT */
/* The name is set by a program; of one that is not waited for, the kernel's name tells. */
#include "host_name.h"

#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "brief.h"

enum { name_room = 80 };

static int has_failed;
static char wanted[name_room];
static char left[name_room]; /* how the kernel had it when the program had ended */

static const char *ask_kernel(char name[name_room])
{
    name[0] = '\0';
    gethostname(name, name_room - 1);
    name[name_room - 1] = '\0';
    return name;
}

static void look(int is_in_vain, void *data)
{
    (void)is_in_vain;
    (void)data;
    has_failed = strcmp(ask_kernel(left), wanted) != 0;
}

static brief setting = BRIEF(look, NULL);

int host_name_apply(const char *name)
{
    const char *const arguments[] = {"hostname", name, NULL};
    has_failed = 0;
    snprintf(wanted, sizeof wanted, "%s", name);
    const int is_in_vain = brief_run(&setting, arguments);
    ask_kernel(left);
    return is_in_vain;
}

/* What the program has made of it counts, whatever that is. */
int host_name_is_left(const char *name)
{
    char now[name_room];
    (void)name;
    return brief_goes_on(&setting) || strcmp(ask_kernel(now), left) == 0;
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
