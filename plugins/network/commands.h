/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_NETWORK_COMMANDS_H
#define PLUGINS_NETWORK_COMMANDS_H

#include "vorn/vorn.h"

/**
 * Says what each planned command does. Links that are made or removed become actions of "network",
 * "makes" and "removes", with the class "link" and their names, for the explanations that follow.
 */
void commands_explain(vorn_actions *actions, vorn_explanation *explanation);

#endif
