/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/query_operation.h"
#include "api/query_rights.h"
#include "change/amend_info_record.h"
#include "vorn/changes.h"

#include "access/access.h"

namespace vorn {

/*
 * What may not be changed is refused in the first pass, when nothing has happened yet, and the
 * request with it. False then. Of a request with a view, that is: others are not asked.
 */
bool may_update(QueryOperation &operation, const vorn_class &klass);
bool may_delete(QueryOperation &operation, const vorn_class &klass);
bool may_insert(QueryOperation &operation);

/*
 * Whether the client may not do what a plugin has made of the configuration at his word. Who may
 * end a trial, and does nothing else, has nothing else to be asked.
 */
bool denies_amendment(QueryRequest &request, const vorn_amend_info &info);

inline bool changes_rules(const QueryRequest &request)
{
    return rules_are_declared &&
           (vorn_changes_contains_class(request.changes, access_rule_class) ||
            vorn_changes_contains_class(request.changes, access_default_class));
}
/* Whether the rules that a transaction makes can't come into force, which refuses it. */
bool refuses_rules(QueryRequest &request, RulesToCome &rules);

} // namespace vorn
