/* SPDX-License-Identifier: MIT */
#ifndef VORN_PLUGIN_DIFFERENCES_H
#define VORN_PLUGIN_DIFFERENCES_H

#include <vorn/vorn.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * What the system has not as it is configured, though it had: somebody else has changed it. A
 * plugin that compares the two notes here what it finds, and the class's property "state" tells it.
 * Who subscribes to notices hears of a state that has become another one. Part of the same library
 * as supervise.h.
 *
 *     static differences links;
 *
 *     differences_forget(&links);
 *     if (mtu != wanted) differences_note(&links, name, "its MTU is %d, not %d", mtu, wanted);
 *     ...
 *     states_tell(&told, vorn_config_get_running(), "link", state_of);
 */

/** The differences of one class; begins empty, so that plugins define it statically. */
typedef struct differences {
    struct difference *first; /**< nobody else's */
} differences;

/** Forgets all of them: what is there is looked at anew. */
void differences_forget(differences *of);

/**
 * Notes one more of the instance of that name, in words that begin with a small letter and have no
 * full stop; after 255 bytes they end. Without memory it is not noted.
 */
void differences_note(differences *of, const char *name, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

/**
 * "differs: " and all that was noted of the instance, in its order with "; " between, as far as it
 * goes into 255 bytes; good until the next call. Null when nothing was.
 */
const char *differences_state(const differences *of, const char *name);

/** The states that subscribers know of one class; begins empty. */
typedef struct told_states {
    struct told_state *first; /**< nobody else's */
} told_states;

/** The state of an instance, good until the next call, or null for one that is not followed. */
typedef const char *(*state_fn)(const vorn_instance *instance);

/**
 * Tells subscribers of each instance of the class, or of its subclasses, whose state is another one
 * than at the last call, as a change of its property "state". Of one that was not there then
 * nothing is told: that it came says its commit. Without memory a change may go untold.
 */
void states_tell(told_states *told, const vorn_instances *configuration, const char *class_name,
                 state_fn state);

#ifdef __cplusplus
}
#endif

#endif
