/* SPDX-License-Identifier: MIT */
#include "providers_text.h"

#include <inttypes.h>
#include <stdio.h>

enum { longest_name = 64, most_listed = 32 };

const char *providers_text(const vorn_commit_report *report)
{
    static char text[most_listed * (longest_name + 32)];
    size_t used = 0;
    const char *name;
    for (unsigned int rank = 0; (name = vorn_commit_report_get_provider(report, rank)) != NULL;
         rank++) {
        const int length = snprintf(text + used, sizeof text - used, "%s%.*s %" PRIu32 " %" PRIu32,
                                    rank > 0 ? ", " : "", longest_name, name,
                                    vorn_commit_report_get_provider_instances(report, rank),
                                    vorn_commit_report_get_provider_microseconds(report, rank));
        if (length < 0 || (size_t)length >= sizeof text - used) break;
        used += (size_t)length;
    }
    text[used] = '\0';
    return text;
}
