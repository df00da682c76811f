/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/query_request.h"
#include "api/query_result.h"
#include "api/query_where.h"
#include "model/instances_walk.h"

#include <libxml/tree.h>

#include <cstdint>

namespace vorn {

/* One operation of a request while it runs, in either pass. Texts point into the document. */
struct QueryOperation {
    QueryRequest &request;
    Answer &answer;
    xmlNode *first_class; /* the operation's first child */
    const char *class_name;
    const char *instance_name;
    const char *properties;
    const xmlNode *property_elements;
    const char *must_match; /* update and delete: "yes" when picking nothing is an error */
    Condition condition = {};
    std::int32_t errors = 0;
    std::int32_t counter = 0;
};

/* Adds an error to the answer; what is longer than its room is cut. */
void report(QueryOperation &operation, const char *pattern, ...) VORN_PRINTF(2, 3);
void report_bad_attribute(QueryOperation &operation, const char *attribute, const char *value);

/* An answer, a change or a selection that memory did not suffice for spoils the whole request. */
void note_memory(QueryOperation &operation, bool suffices);

/*
 * Every instance of the class and name that the operation is about, to be read. Where instances
 * have no names, a name means none of them.
 */
Walk instances_of(QueryOperation &operation);

/* The instance that the walk returned last, to be changed; null when memory is gone. */
vorn_instance *instance_to_change(QueryOperation &operation, const Walk &walk);

/* Whether the where-expression, if any, is true of the instance. */
bool is_meant(const QueryOperation &operation, const vorn_instance *instance);

/* In the first pass: what the where-expression looks at has to be fresh. */
void collect_where(QueryOperation &operation);

/* A guard that can't be understood must not be taken for none; false after an error. */
bool has_valid_guard(QueryOperation &operation);
/* At the end of an operation: the error of a guard that is not fulfilled. */
void expect_match(QueryOperation &operation);

/* An instance whose values are set, and what is said of a value that it does not take. */
struct Written {
    vorn_instance *instance;
    bool is_new;
    const char *shown_class;
    const char *secrets_of; /* of a new one: whose secrets it takes over; null for its namesake */
};

/*
 * Sets the values that an element and those after it hold. The first error ends it, except where
 * everything that would be refused is to be told; false after one.
 */
bool set_properties(QueryOperation &operation, const Written &written, const xmlNode *first);

/* An instance that is about to go is left out by the updates that would come to it next. */
void leave_out_of_updates(const vorn_instance *instance);

} // namespace vorn
