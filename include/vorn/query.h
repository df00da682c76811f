/* SPDX-License-Identifier: MIT */
#ifndef VORN_QUERY_H
#define VORN_QUERY_H

#include "vorn/api.h"
#include "vorn/process.h"

/**
 * LSQL, the language of requests and answers; docs/lsql.md describes it.
 *
 *     char *answer = vorn_query_eval("<lsql><select><Radio/></select></lsql>");
 *     if (answer) puts(answer);
 *     free(answer);
 *
 * A write transaction works on a copy of the running configuration that replaces it only when every
 * operation succeeded. Any other request works on the running configuration itself: what it did
 * before an error stays there, and no provider is told.
 */

VORN_BEGIN

/**
 * Counts the operations of all active requests, each once in both of its two passes. What reads a
 * system table at most once per operation compares it with what it was at the last reading.
 */
extern VORN_API int vorn_query_transaction_number;

/**
 * Evaluates a request as a client's: only writable properties can be written, and what changed is
 * committed through the providers. From debug level 1 the request and the answer are logged. From a
 * refresh or a commit a write transaction is refused ("Write transactions can't be nested."): the
 * configuration that is being looked at would go.
 *
 * Returns the answer, a document that the caller frees. Null for a text that is not well-formed
 * XML or declares entities ("Invalid LSQL request: %s\n" with the whole of it, an error) and when
 * memory is gone ("No memory to answer an LSQL request.\n", an error); a write transaction that
 * gets no answer has changed nothing.
 */
VORN_API char *vorn_query_eval(const char *request);

/**
 * Evaluates a request on behalf of the daemon itself, as a provider's that writes down what it
 * read from the system; it may be called while another request is refreshed. Every property can be
 * written. Nothing is committed, vorn_query_transaction_number stays, and the running
 * configuration is never replaced: the changes of a write transaction are dropped at its end. The
 * providers still refresh what the request reads. Request and answer are logged from level 2 on.
 *
 * The origin of the outer request is lost by it. Returns what vorn_query_eval returns.
 */
VORN_API char *vorn_query_eval_passive(const char *request);

/**
 * Lets every provider commit, with nothing changed and no action requested: the request named by
 * the arguments is checked, as by vorn_actions_add, but reaches nobody. Without memory for the
 * change set nothing is committed.
 */
VORN_API void vorn_query_action(const char *provider, const char *action, const char *class_name,
                                const char *instance_name);

/**
 * From now on answers every request that has an "origin", also one that only reads, with the error
 * "External updates are prohibited.". There is no way back.
 */
VORN_API void vorn_query_disable_external_updates(void);

VORN_END

#endif
