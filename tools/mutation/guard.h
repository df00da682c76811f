/* SPDX-License-Identifier: MIT */
/* What a file sees in which tools/mutate has written several changes, of which one at most holds.
 */
#pragma once

extern "C" {
/* Which change holds, 0 for none: tools/mutate writes it into the finished program, after the mark.
 */
struct vorn_mutant {
    char mark[16];
    volatile unsigned int number;
};
extern struct vorn_mutant vorn_mutant;

/* A byte for each change, set once it was reached; NULL unless somebody wants to know. */
extern volatile unsigned char *vorn_reached;
}

/* Whether this change holds. */
static inline bool vorn_at(unsigned int number)
{
    if (vorn_reached) vorn_reached[number] = 1;
    return vorn_mutant.number == number;
}
