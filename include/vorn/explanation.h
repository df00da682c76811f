/* SPDX-License-Identifier: MIT */
#ifndef VORN_EXPLANATION_H
#define VORN_EXPLANATION_H

#include "vorn/api.h"

/**
 * Whoever is about to change a device may ask what that would interrupt. Which providers would be
 * called, and for which instances, the daemon knows; what that does only the provider can tell. Its
 * explain function is given the record that its commit function would be given, and says in words
 * what that one would do:
 *
 *     static void explain_radio(vorn_commit_info *info, vorn_explanation *explanation)
 *     {
 *         struct plan plan = make_plan(info);
 *         if (plan.restarts)
 *             vorn_explanation_add(explanation, VORN_EXPLAIN_INTERRUPTS,
 *                                  "hostapd of %s starts anew: its %d stations are disconnected",
 *                                  plan.radio, plan.stations);
 *     }
 *
 *     vorn_provider_set_explain_fn(provider, explain_radio, NULL);
 *
 * Both functions do best to make one plan, which the one tells and the other carries out.
 */

VORN_BEGIN

/** What one provider says of one change. */
typedef struct vorn_explanation vorn_explanation;

/** What an effect means for those who use the device. */
typedef enum vorn_explanation_weight {
    VORN_EXPLAIN_NOTHING,        /**< "nothing": nobody can tell, as when a file is written */
    VORN_EXPLAIN_LIVE,           /**< "live": it takes effect, and whatever runs goes on */
    VORN_EXPLAIN_INTERRUPTS,     /**< "interrupts": somebody is cut off, if only for a moment */
    VORN_EXPLAIN_RESTARTS_DEVICE /**< "restarts the device" */
} vorn_explanation_weight;

/**
 * Adds an effect: a sentence for people, formatted as by printf, that begins with a small letter
 * and has no full stop. What weighs most need not come first.
 *
 * Returns 0, or 1 for a null explanation or pattern ("Null explanation.\n", "Null format.\n" at
 * debug level 1), for a weight that there is not ("Invalid weight.\n"), and without memory; whoever
 * asked gets no answer in that last case.
 */
VORN_API int vorn_explanation_add(vorn_explanation *explanation, int weight, const char *format,
                                  ...) VORN_PRINTF(3, 4);

VORN_END

#endif
