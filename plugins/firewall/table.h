/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_FIREWALL_TABLE_H
#define PLUGINS_FIREWALL_TABLE_H

#include "vorn/vorn.h"

#include <stdio.h>

/** What a configuration's table is written from. */
struct writing {
    const vorn_instances *all;
    const vorn_instance **rules; /* those in force, in the order in which they are looked at */
    size_t count;
    FILE *file;
};

/** Writes "table inet vorn { ... }". */
void table_write(const struct writing *to);

#endif
