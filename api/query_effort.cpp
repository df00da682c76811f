/* SPDX-License-Identifier: MIT */
/*
 * What a request is going to cost, added up before any of it is done: few words can ask for every
 * instance to be compared over and over, and nothing else is served until the answer is there.
 */
#include "api/query_effort.h"

#include "api/query_rights.h"
#include "core/base/limits.h"
#include "model/class_record.h"
#include "model/instances_record.h"

#include <algorithm>

namespace vorn {

namespace {

std::uint64_t count_elements(const xmlNode *first)
{
    std::uint64_t count = 0;
    for (const xmlNode *node = first; node; node = node->next)
        count++;
    return count;
}

/* Up to what is too much in any case. */
std::uint64_t count_group(QueryOperation &operation)
{
    std::uint64_t count = 0;
    for ([[maybe_unused]] const vorn_instance *each : instances_of(operation)) {
        if (++count > most_comparisons) break;
    }
    return count;
}

/* How many there are of what the client may not know of must not show. */
std::uint64_t most_there(const QueryRequest &request, const vorn_class &klass)
{
    if (!request.view || !klass.subclasses) return most_instances(*request.instances, klass);
    std::uint64_t count = 0;
    for (auto [name, subclass] : klass.subclasses) {
        if (request.view->is_there(*subclass)) count += most_there(request, *subclass);
    }
    return count;
}

/* What the request itself adds may come to any class. */
std::uint64_t count_instances(QueryOperation &operation, const vorn_class &klass)
{
    const std::uint64_t inserted = operation.request.insertions;
    if (!operation.instance_name) {
        return most_there(operation.request, klass) + inserted;
    }
    if (klass.type == VORN_CLASS_GROUP_NAMED) return count_group(operation) + inserted;
    return 1;
}

} // namespace

void note_comparisons(QueryOperation &operation)
{
    QueryRequest &request = operation.request;
    const vorn_class *klass = known_class(operation.request, operation.class_name);
    if (!klass || request.passive || is_too_much(request)) return;
    const std::uint64_t in_each =
        1 + operation.condition.effort() + count_elements(operation.property_elements);
    const std::uint64_t instances =
        std::min<std::uint64_t>(count_instances(operation, *klass), UINT32_MAX);
    request.comparisons += instances * in_each;
}

void note_insertions(QueryOperation &operation)
{
    operation.request.insertions += count_elements(operation.first_class);
}

bool is_too_much(const QueryRequest &request)
{
    return request.comparisons > most_comparisons;
}

} // namespace vorn
