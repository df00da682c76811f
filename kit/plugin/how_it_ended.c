/* SPDX-License-Identifier: MIT */
#include "how_it_ended.h"

#include <signal.h>
#include <stdio.h>
#include <sys/wait.h>

/* What was said so long before the end was about something else. */
enum { last_words_ms = 3000 };

/* What was said at last is no reason of a program that somebody else ended. */
static int ends_a_program_from_outside(int signal_number)
{
    return signal_number == SIGKILL || signal_number == SIGTERM || signal_number == SIGINT ||
           signal_number == SIGHUP || signal_number == SIGQUIT;
}

void supervise_say_why(const struct words *words, int status, int64_t now_ms,
                       char reason[reason_room])
{
    char line[line_room] = "";
    const int has_signal = status != -1 && WIFSIGNALED(status);
    if (now_ms - words->heard_ms <= last_words_ms &&
        !(has_signal && ends_a_program_from_outside(WTERMSIG(status)))) {
        supervise_words_in_a_line(words, line);
    }
    if (has_signal) {
        snprintf(reason, reason_room, "ended by signal %d%s%s", WTERMSIG(status),
                 *line != '\0' ? ": " : "", line);
    } else if (*line == '\0' && status != -1 && WIFEXITED(status)) {
        snprintf(reason, reason_room, "ended with status %d", WEXITSTATUS(status));
    } else {
        snprintf(reason, reason_room, "%s", line);
    }
}
