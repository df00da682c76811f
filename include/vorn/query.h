/* SPDX-License-Identifier: MIT */
#ifndef VORN_QUERY_H
#define VORN_QUERY_H

#include "vorn/api.h"
#include "vorn/process.h"

VORN_BEGIN

/** Counts the operations of all non-passive requests, in both passes. */
extern VORN_API int vorn_query_transaction_number;

VORN_API char *vorn_query_eval(const char *request);
VORN_API char *vorn_query_eval_passive(const char *request);
VORN_API void vorn_query_action(const char *provider, const char *action, const char *class_name,
                                const char *instance_name);
VORN_API void vorn_query_disable_external_updates(void);

VORN_END

#endif
