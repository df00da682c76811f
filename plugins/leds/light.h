/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_LEDS_LIGHT_H
#define PLUGINS_LEDS_LIGHT_H

/*
 * One LED as the kernel has it: a folder below /sys/class/leds with a file for each setting. Which
 * there are depends on the first, the trigger: what has the LED change by itself.
 */

/** How an LED is to be. Texts that are null are of no concern. */
struct light {
    const char *trigger;
    const char *brightness; /* null for the brightest */
    const char *on_time;    /* milliseconds, of the trigger "timer" */
    const char *off_time;
    const char *interface; /* of the trigger "netdev" */
};

/** Whether the text can name an LED, and so be a folder's name: it leads nowhere else. */
int light_is_name(const char *name);

/** Whether there is such an LED. */
int light_exists(const char *name);

/** Whether the LED is another way than that. */
int light_differs(const char *name, const struct light *wanted);

/** Has the LED be like that. Returns null, or why it can't be; good until the next call. */
const char *light_set(const char *name, const struct light *wanted);

/** The names of all LEDs with commas between them; good until the next call. */
const char *light_names(void);

#endif
