/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SYSTEM_KEY_EVENTS_H
#define PLUGINS_SYSTEM_KEY_EVENTS_H

#include <limits.h>
#include <linux/input-event-codes.h>
#include <stdint.h>

/*
 * Keys of the device, such as buttons at GPIOs, by the kernel's input devices in /dev/input. Only
 * those are listened to that have a key that is wanted. A FIFO in the place of one is listened to
 * as well: a program that reads buttons in some other way writes the same events into it.
 */

enum {
    key_word_bits = sizeof(unsigned long) * CHAR_BIT,
    key_words = (KEY_CNT + key_word_bits - 1) / key_word_bits
};

/** A bit for each code, as the kernel has them: in words of the machine. */
typedef struct key_set {
    unsigned long words[key_words];
} key_set;

void key_set_add(key_set *set, unsigned int code);
int key_set_has(const key_set *set, unsigned int code);

/** A key that was let go. */
typedef struct key_release {
    const char *device; /* the kernel's name for it; of a FIFO that of its file */
    const char *file;   /* its name in /dev/input */
    unsigned int code;
    int64_t held_ms;
} key_release;

/** Whom to tell of keys that are let go, from the loop. */
void key_events_tell(void (*released)(const key_release *release));

/**
 * Listens for those keys, and no others, from here on, on the devices that there are and those to
 * come. One that failed is tried again. An empty set ends it.
 */
void key_events_listen(const key_set *wanted);

/**
 * Whether a device of that name, or of that file, is listened to for the key; null or "" for any
 * device.
 */
int key_events_has(const char *device, unsigned int code);

/** The first such device that can't be listened to, and why; good until the next call, or null. */
const char *key_events_failure(const char *device);

/** Whether a device of those names is meant. */
int key_events_is_meant(const char *meant, const char *device, const char *file);

#endif
