/* SPDX-License-Identifier: MIT */
/* The file is the agent's, who has no rights and may be somebody else's by now: any bytes. */
#include "status.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "values.h"

enum { longest_file = 512, longest_line = 255 };

static size_t read_file(char *text, size_t room)
{
    struct stat status;
    const int file = open(FLEET_STATUS, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) return 0;
    const int is_plain = fstat(file, &status) == 0 && S_ISREG(status.st_mode);
    const ssize_t length = is_plain ? read(file, text, room) : 0;
    close(file);
    return length > 0 ? (size_t)length : 0;
}

const char *status_of_agent(const char *property)
{
    static char line[longest_line + 1];
    static char time[TIME_TEXT];
    char text[longest_file + 1];
    text[read_file(text, longest_file)] = '\0';
    const size_t length = strlen(property);
    line[0] = '\0';
    for (char *rest = text, *each; (each = strsep(&rest, "\n")) != NULL;) {
        if (strncmp(each, property, length) != 0 || each[length] != ' ') continue;
        snprintf(line, sizeof line, "%s", each + length + 1);
    }
    if (!is_text(line)) line[0] = '\0';
    return strcmp(property, "since") == 0 ? time_text(strtoll(line, NULL, 10), time) : line;
}
