/* SPDX-License-Identifier: MIT */
#ifndef GATE_PASSWD_PAUSES_H
#define GATE_PASSWD_PAUSES_H

#include <stdint.h>

/*
 * Who tried wrong passwords from where has to wait, longer after each: nothing after the first two,
 * then 1, 2, 4 seconds and so on, up to a minute. An address is forgotten a quarter of an hour
 * after its last failure, or when many others come.
 */

enum { longest_address = 48, addresses_kept = 256 };

struct pauses {
    struct paused {
        char address[longest_address];
        int failures;
        int64_t until; /* seconds, as all times here */
        int64_t last;
    } addresses[addresses_kept];
};

/** For how many seconds that address still has to wait; 0 for not at all. */
int pauses_left(const struct pauses *pauses, const char *address, int64_t now);

/** It has tried and failed. */
void pauses_note_failure(struct pauses *pauses, const char *address, int64_t now);

/** It knows a password. */
void pauses_forget(struct pauses *pauses, const char *address);

/**
 * What stands for an address: itself, or the network of an IPv6 address, of which one machine has
 * as many as it likes. "?" for what is no address.
 */
void pauses_name_address(char name[longest_address], const char *address);

#endif
