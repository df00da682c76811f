/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_NETWORK_IP_H
#define PLUGINS_NETWORK_IP_H

#include "outcomes.h"

/*
 * Runs ip(8). What is done for one instance stands between ip_begin and ip_end, which notes the
 * first command that failed.
 */

/** Forgets what failed before. */
void ip_begin(void);

/** Runs ip(8) with up to 14 words, ended by a null. One that fails is told in the log. */
void ip_run(const char *word, ...) __attribute__((sentinel));

/** The same with a vector, ended by a null. */
void ip_run_words(const char *const words[]);

/** Notes for the instance of that name whether all commands succeeded. */
void ip_end(outcomes *of, const char *name);

#endif
