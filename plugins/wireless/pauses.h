/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_PAUSES_H
#define PLUGINS_WIRELESS_PAUSES_H

#include "vorn/vorn.h"

/*
 * Networks that another provider wants off the air for now, whatever their configuration says. It
 * comes before this one and adds an action to each commit: of the provider "wireless", "pause", the
 * class "wireless-network" and the network's name. One that is not asked for any more is over.
 */

/** Takes what a commit asks for. Without memory everything stays as it was. */
void pauses_take(const vorn_actions *actions, const vorn_instances *configuration);

/** Whether the last commit asked for others than the one before. */
int pauses_are_new(void);

/** Whether that network is to be off the air. */
int pauses_have(const char *network);

/** What a commit would ask for counts until the end of that. */
void pauses_foresee(const vorn_actions *actions, const vorn_instances *configuration);
void pauses_foresee_no_more(void);

#endif
