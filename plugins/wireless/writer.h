/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_WRITER_H
#define PLUGINS_WIRELESS_WRITER_H

#include <stdio.h>

#include "hostapd.h"

/* What those share who write the texts of hostapd.h. */

struct writer {
    FILE *whole;
    FILE *frame;
    const vorn_instances *configuration;
    const char *radio;
    hostapd_text *text;
    int place; /* of the network at hand */
    int failed;
};

/** A line of both texts. */
void writer_frame_line(struct writer *writer, const char *name, const char *value);

/** Ends a text. Whether all that was written to the stream is in it by now: 0, or 1. */
int writer_close_text(FILE *file);

#endif
