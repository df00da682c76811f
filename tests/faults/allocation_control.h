/* SPDX-License-Identifier: MIT */
#ifndef TESTS_FAULTS_ALLOCATION_CONTROL_H
#define TESTS_FAULTS_ALLOCATION_CONTROL_H

/*
 * What a test and the allocator preloaded into the daemon tell each other, in a file that both have
 * mapped. Each side writes while the other one waits for it: no lock is needed.
 */
struct allocation_control {
    volatile unsigned long refuse_at; /* the allocation to refuse, counted from `made` 0; 0: none */
    volatile unsigned long made;      /* allocations asked for since the test wrote 0 here */
    volatile long live;               /* allocations less releases since the process started */
    volatile int refused;             /* whether that allocation has come */
    volatile int refuse_all;
};

/* Names the file in the daemon's environment. */
#define ALLOCATION_CONTROL_VARIABLE "VORN_ALLOCATION_CONTROL"

#endif
