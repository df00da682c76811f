/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_FIRMWARE_METHOD_H
#define PLUGINS_FIRMWARE_METHOD_H

#include <stddef.h>

/* The programs that know of the slots of a device, and what they say. */

enum { method_most_looks = 2, method_text_room = 64 };

/** What is known of the firmware that runs. */
struct firmware {
    char slot[method_text_room];
    char version[method_text_room];
    int is_good; /* the boot loader needs not be told any more */
};

struct method {
    const char *name;
    /* Programs that tell, each ended by a null, and what to make of their words. */
    const char *const *looks[method_most_looks];
    void (*take[method_most_looks])(const char *words, struct firmware *firmware);
    /* The program that marks the firmware good, and what it reads. */
    const char *const *mark;
    void (*feed)(int input);
};

/** The method of that name; null for none. */
const struct method *method_called(const char *name);

/** What the kernel and the system's own file tell, whatever the method. */
void method_look_at_system(struct firmware *firmware);

#endif
