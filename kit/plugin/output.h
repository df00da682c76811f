/* SPDX-License-Identifier: MIT */
#ifndef KIT_PLUGIN_OUTPUT_H
#define KIT_PLUGIN_OUTPUT_H

#include "words.h"

/* What a program says, through a pipe that the daemon's loop listens to. */
struct output {
    int descriptor; /* the end that is read; -1 for none */
    struct words words;
    void (*ended)(void *data); /* nobody has the other end any more; called from the loop */
    void *data;
};

/** The end that the program writes to, or -1 for none: it runs without being heard then. */
int supervise_open_output(struct output *output);

/** Takes what is still there, of a program that has ended, before anybody asks for its last words.
 */
void supervise_read_the_rest(struct output *output);

void supervise_close_output(struct output *output);

#endif
