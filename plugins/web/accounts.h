/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WEB_ACCOUNTS_H
#define PLUGINS_WEB_ACCOUNTS_H

#include "vorn/vorn.h"

/*
 * The class "account": users of the system with the passwords that are configured. Those that are
 * made here have no shell and no folder, and go with their account.
 */

/** Declares the class and its provider. Answers 0 or 1. */
int accounts_declare(void);

#endif
