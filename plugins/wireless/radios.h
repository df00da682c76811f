/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_RADIOS_H
#define PLUGINS_WIRELESS_RADIOS_H

#include "judge.h"

/** Applies the radios and what is on the air with them, as far as it changed or failed. */
void radios_commit(const vorn_instances *configuration, const vorn_changes *changes);

/** Says what that would do. */
void radios_explain(const vorn_instances *configuration, const vorn_changes *changes,
                    vorn_explanation *explanation);

/**
 * Judges a radio's name, which is its interface's, and whether mode, channel, standard and width go
 * together.
 */
int radios_judge(const vorn_instances *configuration, const vorn_instance *radio, fault *found);

/** Has the radios follow what becomes of the kernel's links. 0, or 1. */
int radios_watch(void);

/** How a radio is doing: why not, or the state of its hostapd. The text is good until a commit. */
const char *radios_state(const char *name);

/** Why that network has no link, or null; hostapd runs. The text is good until the next call. */
const char *radios_off_air(const char *name, const vorn_instance *network);

/** Why links of its hostapd from before are still there, or null: of no concern to its networks. */
const char *radios_left_behind(const char *name);

/** Whether its interfaces are expected in their bridges soon: a few seconds from when one is not.
 */
int radios_may_be_joining(const char *name);

/** Whether hostapd runs for that radio. */
int radios_is_running(const char *name);

#endif
