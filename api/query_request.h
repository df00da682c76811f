/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/commit_report_record.h"
#include "config/commit_id.h"
#include "core/base/text.h"
#include "vorn/changes.h"
#include "vorn/instances.h"
#include "vorn/refresh_info.h"

#include <cstdint>

#include "access/access.h"

namespace vorn {

/* One request while it is evaluated. */
struct QueryRequest {
    bool passive = false;
    bool transaction = false;
    bool is_rehearsal = false;           /* a transaction of which only is told what it would do */
    vorn_instances *instances = nullptr; /* running, or the transaction's copy */
    vorn_changes *changes = nullptr;
    RequestWatch *watch = nullptr;
    vorn_refresh_info *refresh_info = nullptr; /* set during the first pass only */
    const CommitId *told_commit = nullptr;     /* for a client that asked for it */
    const vorn_peer *asker = nullptr;          /* who may be told what follows */
    Awaited awaited = Awaited::nothing;        /* what he asked to be told of */
    bool may_be_lasting = false;               /* the answer, until then; asked for, too */
    std::uint64_t insertions = 0;              /* in the first pass: instances to be inserted */
    std::uint64_t comparisons = 0;             /* in the first pass: of the second, at most */
    const AccessView *view = nullptr;          /* of who asks; null for everything */
    bool is_denied = false;                    /* the client may not do one of the things */
    Text denial;                               /* which; without memory for it there is none */
    std::uint32_t writes = 0;                  /* operations of a client with a view that write */
    bool ends_trial = false;                   /* one of them does */
    bool writes_unread = false;                /* one of them writes what may not be read */
    bool last_one_writes = false;              /* the last operation that was evaluated */
    bool out_of_memory = false;                /* the answer could not be written down whole */
};

inline bool is_first_pass(const QueryRequest &request)
{
    return request.refresh_info != nullptr;
}

} // namespace vorn
