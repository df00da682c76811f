/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_FIREWALL_STRICTER_H
#define PLUGINS_FIREWALL_STRICTER_H

#include "vorn/vorn.h"

/** Says who may do less with the one configuration than with the one before. */
void stricter_explain(vorn_explanation *explanation, const vorn_instances *before,
                      const vorn_instances *after);

#endif
