/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_NETWORK_ORDER_H
#define PLUGINS_NETWORK_ORDER_H

#include "vorn/vorn.h"

/* The interfaces in the order in which they are set up: what others stand on comes first. */
struct order {
    const vorn_instance **interfaces; /* to be freed; null, with none counted, without memory */
    int count;
};

/** Each once; those that stand on each other in a circle in any order. */
struct order order_of(const vorn_instances *configuration);

#endif
