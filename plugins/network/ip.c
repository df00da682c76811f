/* SPDX-License-Identifier: MIT */
#include "ip.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

enum { most_words = 14 };

static char failure[128]; /* the first command that failed; empty without one */

void ip_begin(void)
{
    failure[0] = '\0';
}

static void note_failure(const char *const words[])
{
    char command[96] = "ip";
    size_t used = 2;
    for (; *words != NULL && used < sizeof command; words++) {
        used += (size_t)snprintf(command + used, sizeof command - used, " %s", *words);
    }
    vorn_debug_eprintf("network: \"%s\" failed.\n", command);
    if (failure[0] == '\0') snprintf(failure, sizeof failure, "\"%s\" failed", command);
}

void ip_run_words(const char *const words[])
{
    char *arguments[most_words + 2] = {(char *)"ip"};
    for (int i = 0; i < most_words && words[i] != NULL; i++)
        arguments[i + 1] = (char *)words[i];
    if (vorn_command_execv(arguments) != 0 && !vorn_process_no_actions) note_failure(words);
}

void ip_run(const char *word, ...)
{
    const char *words[most_words + 1] = {word};
    va_list more;
    va_start(more, word);
    for (int i = 1; i < most_words && words[i - 1] != NULL; i++)
        words[i] = va_arg(more, const char *);
    va_end(more);
    ip_run_words(words);
}

void ip_end(outcomes *of, const char *name)
{
    if (failure[0] != '\0') {
        outcomes_fail(of, name, failure);
    } else {
        outcomes_succeed(of, name);
    }
}
