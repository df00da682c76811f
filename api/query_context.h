/* SPDX-License-Identifier: MIT */
#pragma once

#include "config/commit_id.h"
#include "vorn/changes.h"
#include "vorn/instances.h"
#include "vorn/refresh_info.h"

#include <libxml/tree.h>

#include <cstdint>

namespace vorn {

/* The operations, in the order of their codes. */
enum Opcode {
    select_opcode,
    update_opcode,
    delete_opcode,
    insert_opcode,
};

/* One request while it is evaluated; zeroed at the start. Texts point into the request. */
struct QueryContext {
    xmlDoc *request = nullptr;
    xmlNode *operation = nullptr;
    std::int32_t opcode = select_opcode; /* after the loop, the last operation's */
    const char *class_name = nullptr;
    const char *instance_name = nullptr;
    const char *properties = nullptr;
    xmlNode *property_elements = nullptr;
    xmlNode *where = nullptr;
    const char *must_match =
        nullptr; /* update and delete: "yes" when picking nothing is an error */
    std::int32_t errors = 0;
    std::int32_t counter = 0;
    vorn_instances *instances = nullptr; /* running, or the transaction's copy */
    vorn_changes *changes = nullptr;
    vorn_refresh_info *refresh_info = nullptr; /* set during the first pass only */
    bool transaction = false;
    bool passive = false;
    const CommitId *told_commit = nullptr; /* for a client that asked for it */
    bool out_of_memory = false;            /* the answer could not be written down whole */
};

inline bool is_first_pass(const QueryContext &context)
{
    return context.refresh_info != nullptr;
}

} // namespace vorn
