/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WEB_TOKENS_H
#define PLUGINS_WEB_TOKENS_H

#include "vorn/vorn.h"

#define WEB_TOKENS "/run/vorn-web/tokens"

/** Declares the class "api-token": who may come with which token. Answers 0 or 1. */
int tokens_declare(void);

/** For a check function: refuses what could not be written. */
void tokens_check(vorn_check_info *info);

/** Writes the digests for the gate, which runs as that group. Answers 0 or 1. */
int tokens_write(const vorn_instances *configuration, unsigned group);

#endif
