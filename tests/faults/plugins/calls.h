/* SPDX-License-Identifier: MIT */
#ifndef TESTS_FAULTS_PLUGINS_CALLS_H
#define TESTS_FAULTS_PLUGINS_CALLS_H

#include <stddef.h>

/* What became of a call: what it promises to do, or to answer when it can't, or neither. */
enum outcome { DONE, REFUSED, BROKEN };

/* What a call does with memory. */
enum appetite {
    FREES,
    KEEPS, /* something that nobody can free is made on the way */
    TAKES_NONE,
};

struct call {
    const char *name;
    enum outcome (*make)(void);
    enum appetite appetite;
};

/* Each list ends in a null name. */
extern const struct call store_calls[];
extern const struct call configuration_calls[];
extern const struct call system_calls[];
extern const struct call validator_calls[];
extern const struct call description_calls[];

enum outcome done_if(int condition);

void prepare_store_calls(void);
void prepare_system_calls(void);
void prepare_validator_calls(void);

#endif
