/* SPDX-License-Identifier: MIT */
/*
 * What a write transaction would do, without doing it. It has been carried out on a copy that is
 * thrown away; what its commit would do is what the providers' rehearsal says.
 */
#include "api/explain.h"

#include "api/query_access.h"
#include "api/query_unread.h"
#include "change/changes_record.h"
#include "change/check_info_record.h"
#include "change/provider_record.h"
#include "change/providers_check.h"
#include "change/providers_rehearse.h"
#include "model/class_record.h"
#include "model/instance_record.h"
#include "model/instances_walk.h"
#include "model/lazy/working_copy.h"

#include <cstring>

namespace vorn {

namespace {

bool is_same(const char *before, const char *after)
{
    return before && after ? std::strcmp(before, after) == 0 : before == after;
}

void add_value(Answer &answer, const char *name, const vorn_property &property, const char *value)
{
    if (!value) return;
    answer.add(name, shown_value(property, value));
}

/* What an instance was and is; one of the two may be missing. */
struct Change {
    const vorn_instance *before;
    const vorn_instance *after;

    const vorn_instance &either() const { return after ? *after : *before; }
    const char *action() const { return !after ? "deleted" : before ? "updated" : "inserted"; }
};

const char *value_in(const vorn_instance *instance, const char *property)
{
    return instance ? vorn_instance_get_value(instance, property) : nullptr;
}

/* What only the plugin knows of, it knows for itself. */
bool is_private(const vorn_property &property)
{
    return !property.readable && !property.writable;
}

/* In the order in which a select shows them. False from the first that the visitor declines. */
template <typename Visitor>
bool for_each_difference(const Change &change, const vorn_class &klass, const ClassRights *rights,
                         Visitor visit)
{
    if (klass.superclass && !for_each_difference(change, *klass.superclass, rights, visit))
        return false;
    for (auto [name, property] : klass.properties) {
        if (!may_read(rights, name)) continue;
        const char *before = value_in(change.before, name);
        const char *after = value_in(change.after, name);
        if (is_same(before, after) || is_private(*property)) continue;
        if (!visit(*property, before, after)) return false;
    }
    return true;
}

void add_change(Answer &answer, const QueryRequest &request, const Change &change)
{
    const vorn_class &klass = *change.either().klass;
    const ClassRights *rights = rights_to(request, klass);
    if (!is_there(request, change.either())) return;
    const auto ends_search = [](const vorn_property &, const char *, const char *) {
        return false;
    };
    const bool is_written_as_it_was =
        change.before && change.after && for_each_difference(change, klass, rights, ends_search);
    if (is_written_as_it_was) return;

    answer.begin_action("change", change.action(), change.either());
    for_each_difference(change, klass, rights,
                        [&](const vorn_property &property, const char *before, const char *after) {
                            answer.begin("value", "property", property.name.get());
                            add_value(answer, "before", property, before);
                            add_value(answer, "after", property, after);
                            answer.end("value");
                            return true;
                        });
    answer.end("change");
}

/* In the order in which a commit function is told of them. */
void add_changes(Answer &answer, const QueryRequest &request)
{
    const vorn_changes &changes = *request.changes;
    for (const vorn_instance *each :
         Walk(vorn_changes_new_deleted_class_instances_iterator(&changes, nullptr)))
        add_change(answer, request, {each, nullptr});
    for (const vorn_instance *each :
         Walk(vorn_changes_new_class_instances_iterator(&changes, nullptr)))
        add_change(answer, request, {vorn_changes_get_instance_before(&changes, each), each});
}

/* Whether nothing is refused; else what there is against the change is in the answer. */
bool add_refusals(Answer &answer, QueryRequest &request, const vorn_check_info &info)
{
    if (info.out_of_memory) request.out_of_memory = true;
    for (const Refusal *each = info.first; each; each = each->next)
        answer.add("refused", told_refusal(request, *each));
    return !info.first;
}

bool add_what_checks_say(Answer &answer, QueryRequest &request)
{
    vorn_check_info info(request.instances, request.changes);
    info.is_rehearsal = true;
    check_by_providers(info);
    return add_refusals(answer, request, info);
}

/* What a transaction would become before it is checked, and whether it would get that far. */
bool add_amended_changes(Answer &answer, QueryRequest &request)
{
    vorn_amend_info info(request.instances, request.changes);
    info.is_rehearsal = true;
    amend_by_providers(info);
    if (request.changes->is_incomplete) request.out_of_memory = true;
    if (denies_amendment(request, info)) return false;
    const MemoryWatch memory;
    const OnlyLookedAt configuration(request.instances);
    add_changes(answer, request);
    bool is_possible = add_refusals(answer, request, info);
    if (is_possible && !info.is_accepted) is_possible = add_what_checks_say(answer, request);
    if (memory.ran_out()) request.out_of_memory = true;
    return is_possible;
}

/* The providers' elements, each begun with the first thing that there is to say. */
class ProvidersPart {
public:
    ProvidersPart(Answer &answer, const QueryRequest &request) : answer_(answer), request_(request)
    {}
    ProvidersPart(const ProvidersPart &) = delete;
    ~ProvidersPart() { end(); }

    static void hear_instance(const vorn_provider &provider, InstanceAction action,
                              const vorn_instance &instance, void *data)
    {
        constexpr const char *words[] = {"insert", "update", "delete"};
        auto &part = *static_cast<ProvidersPart *>(data);
        if (!is_there(part.request_, instance)) return;
        Answer &answer = part.part_of(provider);
        answer.begin_action("instance", words[static_cast<unsigned int>(action)], instance);
        answer.end("instance");
    }
    static void hear_effect(const vorn_provider &provider, const Effect &effect, void *data)
    {
        auto &part = *static_cast<ProvidersPart *>(data);
        if (names_unread(part.request_, effect.sentence.get())) return;
        Answer &answer = part.part_of(provider);
        answer.add_effect(weight_word(effect.weight), effect.sentence.get());
    }

private:
    Answer &part_of(const vorn_provider &provider)
    {
        if (current_ == &provider) return answer_;
        end();
        answer_.begin("provider", "name", provider.name.get());
        current_ = &provider;
        return answer_;
    }
    void end()
    {
        if (current_) answer_.end("provider");
    }

    Answer &answer_;
    const QueryRequest &request_;
    const vorn_provider *current_ = nullptr;
};

/* Who does something would tell whether what was written over, and may not be read, was different.
 */
void add_providers(Answer &answer, QueryRequest &request)
{
    if (request.writes_unread) return;
    ProvidersPart part(answer, request);
    const RehearsalListener listener = {&part, ProvidersPart::hear_instance,
                                        ProvidersPart::hear_effect};
    if (!rehearse_by_providers(request.instances, request.changes, listener))
        request.out_of_memory = true;
}

} // namespace

void explain(QueryRequest &request, std::int32_t errors, Answer &answer)
{
    if (request.out_of_memory) return;
    const bool is_possible = errors == 0 && add_amended_changes(answer, request);
    if (is_possible && !request.out_of_memory) add_providers(answer, request);
    answer.add_rc(is_possible ? 0 : 1);
}

} // namespace vorn
