/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_FIREWALL_RULESET_H
#define PLUGINS_FIREWALL_RULESET_H

#include "vorn/vorn.h"

/** What the kernel is to have, as nft reads it. Begins empty, which is no table at all. */
typedef struct ruleset {
    char *table;    /* its text, from "table" on; null for none */
    char *counters; /* the rules that are counted, with blanks between; null for none */
} ruleset;

/** What the configuration comes to. 0, or 1 without memory, with an empty one. */
int ruleset_make(ruleset *made, const vorn_instances *configuration);

/** Whether both come to the same. */
int ruleset_equals(const ruleset *left, const ruleset *right);

void ruleset_free(ruleset *it);

/** What is to be done with the table that the kernel has. */
enum deed {
    FIREWALL_LEAVES,
    FIREWALL_CHANGES,  /* its rules; what they counted stays */
    FIREWALL_REPLACES, /* all of it, whatever it is */
    FIREWALL_REMOVES
};

/**
 * The document that does it, from the one to the other; what there was counts for FIREWALL_CHANGES
 * alone. The caller's; null without memory.
 */
char *ruleset_document(const ruleset *now, const ruleset *before, enum deed deed);

#endif
