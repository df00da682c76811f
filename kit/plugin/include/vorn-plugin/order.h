/* SPDX-License-Identifier: MIT */
#ifndef VORN_PLUGIN_ORDER_H
#define VORN_PLUGIN_ORDER_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * What is taken away goes in the reverse order of what it needs: a VLAN before its parent, a port
 * before its bridge. Part of the same library as supervise.h; changed.h uses it for a whole commit.
 */

/** Whether the one needs the other: it goes first, and is made last. */
typedef int (*needs_fn)(const void *one, const void *other, void *data);

/**
 * Puts the things into an order in which each comes before what it needs; of those that nothing
 * needs, the first one is always the next. Where some need each other in a circle, one of them
 * begins. Asks for each pair of them, and again for each thing that needs one, so for no more than
 * some hundreds.
 */
void order_for_removal(void *things[], size_t count, needs_fn needs, void *data);

/** The other way round: each comes after what it needs. */
void order_for_making(void *things[], size_t count, needs_fn needs, void *data);

#ifdef __cplusplus
}
#endif

#endif
