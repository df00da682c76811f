/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_STANDARDS_H
#define PLUGINS_WIRELESS_STANDARDS_H

#include "judge.h"
#include "writer.h"

/* How fast a radio sends, and how much of the air it takes for that. */

/** The words of the properties "standard" and "width" of a radio, a null after the last. */
extern const char *const standard_words[];
extern const char *const width_words[];

/** What stands for a channel that hostapd chooses. */
extern const char channel_auto[];

/** Judges whether mode, standard, width and channel go together; the mode has the channel. */
int standards_judge(const vorn_instance *radio, fault *found);

/** Writes the radio's lines of channel and standard. */
void standards_write(struct writer *writer, const vorn_instance *radio);

#endif
