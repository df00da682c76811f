/* SPDX-License-Identifier: MIT */
/* A shared object, but no plugin. */
extern int nothing_in_particular;
int nothing_in_particular = 1;
