/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_ERRANDS_H
#define PLUGINS_WIRELESS_ERRANDS_H

/*
 * Short programs that change one link and that nobody waits for: whether they have helped is seen
 * from the kernel. One at a time for each link.
 */

/** Begins one, unless another one goes on for that link. What can't be begun is looked at later. */
void errands_start(const char *link, const char *const arguments[]);

/** Whether one goes on. */
int errands_go_on(const char *link);

/** What the last one for that link said: empty when it said nothing. */
const char *errands_words(const char *link);

#endif
