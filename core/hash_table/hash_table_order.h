/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/hash_table.h"

/*
 * Makes an entry the newest of its table, as if it had been removed and inserted again, but
 * without an allocation that could fail. An absent key is left absent.
 */
void ght_make_newest(ght_table *table, unsigned int key_length, const void *key);
