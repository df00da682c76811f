/* SPDX-License-Identifier: MIT */
#include "country.h"

#include "vorn/vorn.h"

#include <stdio.h>
#include <string.h>

#include "vorn-plugin/whole_file.h"

enum { americas, europe, japan };

static char code[3] = "US";

void country_read(void)
{
    char text[3];
    FILE *file = whole_file_read(COUNTRY_FILE);
    if (file == NULL) return;
    if (fscanf(file, "%2[A-Z]", text) == 1 && strlen(text) == 2) {
        strcpy(code, text);
    } else {
        vorn_debug_eprintf("wireless: no country in " COUNTRY_FILE ", taking %s.\n", code);
    }
    fclose(file);
}

const char *country_code(void)
{
    return code;
}

/* Most of the world follows Europe's plan of channels. */
static int domain(void)
{
    static const char *const like_the_us[] = {"US", "CA", "MX", "TW", "CO", "PA", "PR", NULL};
    if (strcmp(code, "JP") == 0) return japan;
    return vorn_input_is_string_in_array(code, 2, like_the_us) ? americas : europe;
}

int country_allows_channel_in(const char *channel, const char *mode)
{
    return vorn_input_is_channel(channel, (int)strlen(channel), mode, domain());
}

int country_allows_channel(const char *channel)
{
    return country_allows_channel_in(channel, "a") || country_allows_channel_in(channel, "b") ||
           country_allows_channel_in(channel, "g");
}

const char *country_list_channels(const char *mode, const char *separator,
                                  char text[country_list_room])
{
    enum { highest = 255 };
    size_t used = 0;
    text[0] = '\0';
    for (int number = 1; number <= highest && used < country_list_room; number++) {
        char channel[4];
        snprintf(channel, sizeof channel, "%d", number);
        if (mode != NULL ? !country_allows_channel_in(channel, mode)
                         : !country_allows_channel(channel)) {
            continue;
        }
        used += (size_t)snprintf(text + used, country_list_room - used, "%s%s",
                                 used > 0 ? separator : "", channel);
    }
    return text;
}
