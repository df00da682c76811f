/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_TRIAL_PENDING_H
#define PLUGINS_TRIAL_PENDING_H

#include "vorn/vorn.h"

#include <stddef.h>
#include <stdint.h>

/*
 * The trial that is pending, if any: who holds it, until when, and the configuration of before. Its
 * time is that of CLOCK_BOOTTIME, which nobody can set.
 */

/** Whether there is one. */
int pending_is_there(void);

/** The id of the one that is pending, else of the next one. Null when none can be drawn. */
const char *pending_id(void);

/** Whether the text is the id of the one that is pending. */
int pending_is(const char *id);

/** Keeps the running configuration for pending_begin. 0, or 1 without memory. */
int pending_prepare(void);

/** Begins a trial of what was prepared, by whoever has asked for what is being done. */
void pending_begin(int seconds);

/** Sets the end anew, so many seconds from now. */
void pending_prolong(int seconds);

/** Ends it, whatever has become of it. */
void pending_end(void);

/** The document of before. */
const char *pending_document(void);

/** Seconds that are left, 0 when they are over. */
int pending_remaining(void);

/** Who holds it; "" for none. The texts are good until the next call. */
const char *pending_holder(void);

/** When it began and will end, by the device's clock as it is now; "" for none. */
const char *pending_since(void);
const char *pending_until(void);

/** Says all of that in one sentence without its end. */
const char *pending_sentence(void);

#endif
