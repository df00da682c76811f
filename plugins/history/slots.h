/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_HISTORY_SLOTS_H
#define PLUGINS_HISTORY_SLOTS_H

/*
 * Two firmwares that share one configuration: each starts with what it wrote itself, whatever the
 * other has done since. Of a configuration that another one wrote the newest generation is kept,
 * whatever the limits say, until this firmware is confirmed and has stayed up.
 */

enum { slots_most_pinned = 5 };

/** To be called before the first load, when all classes are known: puts the right file in place. */
void slots_choose(void);

/** What was found and done, in a sentence for people; "" when there was nothing to be done. */
const char *slots_taken(void);

/** Writes the numbers that are never to be pruned and returns how many. */
int slots_pinned(unsigned long numbers[slots_most_pinned]);
int slots_has_pinned(unsigned long number);

/** Whether another firmware was confirmed last. */
int slots_is_pending(void);

/**
 * This firmware stays: once it has stayed up, too, the others' generations are like any. Returns 0,
 * or 1 if unwritable.
 */
int slots_confirm(void);

/** This firmware has stayed up. To be called when the disk may be written. */
void slots_stay_up(void);

#endif
