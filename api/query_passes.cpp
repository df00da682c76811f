/* SPDX-License-Identifier: MIT */
/*
 * What a request goes through. The first pass looks at every operation before anything has
 * happened, and says what has to be fresh; the second does what they ask for. Its answer is whole
 * before anything is put into effect.
 */
#include "api/query_passes.h"

#include "api/explain.h"
#include "api/query_access.h"
#include "api/query_effort.h"
#include "api/query_operations.h"
#include "api/query_result.h"
#include "api/query_unread.h"
#include "change/amend_info_record.h"
#include "change/changes_record.h"
#include "change/check_info_record.h"
#include "change/commit_report_record.h"
#include "change/providers_check.h"
#include "change/refresh_info_record.h"
#include "config/config_load.h"
#include "config/kept_pieces.h"
#include "core/base/limits.h"
#include "core/base/memory.h"
#include "model/instance_record.h"
#include "vorn/config.h"
#include "vorn/provider.h"

namespace vorn {

constinit std::size_t reply_bound = longest_reply;

namespace {

constexpr std::size_t message_room = 160;

Text answer_of_denial(const QueryRequest &request)
{
    return request.denial ? refusal(request.denial.get()) : Text();
}

Text refuse_too_much()
{
    const Line<message_room> message("More than %u comparisons.", most_comparisons);
    return refusal(message.get());
}

Text refuse_too_long()
{
    const Line<message_room> message("More than %lu bytes in the reply.",
                                     static_cast<unsigned long>(reply_bound));
    return refusal(message.get());
}

/*
 * Runs one pass; with `all`, an operation's error does not keep the next one from being looked at:
 * who has a change explained is told everything that would be refused.
 * Nobody can be told of what comes after memory is gone or the answer has become too long.
 */
std::int32_t run_pass(QueryRequest &request, xmlNode *first, Answer &answer, bool all)
{
    std::int32_t count = 0;
    std::int32_t sum = 0;
    for (xmlNode *operation = first; operation && (all || count == 0); sum += count) {
        answer.begin_operation();
        operation = evaluate_operation(request, operation, answer, count);
        if (answer.failed() && !answer.is_too_long()) request.out_of_memory = true;
        if (request.changes->is_incomplete) request.out_of_memory = true;
        if (request.view && request.view->out_of_memory()) request.out_of_memory = true;
        if (answer.failed() || request.out_of_memory || request.is_denied) break;
    }
    return request.is_rehearsal ? sum : count;
}

/* The first pass; false means that the request ends here, with the answer so far. */
bool plan(QueryRequest &request, xmlNode *first, Answer &answer)
{
    constexpr bool every_operation = true;
    const MemoryWatch memory;
    const Owned<vorn_refresh_info> info(vorn_refresh_info_new(request.instances));
    if (!info) {
        request.out_of_memory = true;
        return false;
    }
    request.refresh_info = info.get();
    const std::int32_t errors = run_pass(request, first, answer, every_operation);
    const bool is_possible = errors == 0 || request.is_rehearsal;
    const bool goes_on =
        is_possible && !request.out_of_memory && !request.is_denied && !is_too_much(request);
    if (goes_on && !request.is_rehearsal) vorn_providers_refresh(info.get());
    if (info->is_of_the_moment || memory.ran_out()) request.may_be_lasting = false;
    request.refresh_info = nullptr;
    request.watch->is_done(VORN_COMMIT_REFRESH);
    return goes_on;
}

Answer::Form form_of(const QueryRequest &request)
{
    return request.is_rehearsal ? Answer::Form::explanation : Answer::Form::result;
}

bool has_to_be_committed(const QueryRequest &request)
{
    return request.last_one_writes || request.transaction;
}

bool goes_into_effect(const QueryRequest &request)
{
    const bool is_lost = request.out_of_memory && request.transaction;
    return !request.passive && !request.is_rehearsal && !is_lost;
}

/* What becomes of the changes. An abandoned copy outlives its change set. */
void put_into_effect(const QueryRequest &request, StoreWithInstances &copy, RulesToCome &rules)
{
    if (request.transaction) vorn_config_replace_running(copy.release());
    if (rules.are_read()) rules.come_into_force();
    if (has_to_be_committed(request)) {
        KeptOfGoal::take_or_follow(*request.changes);
        look_for_missing_rules(request.instances);
        request.watch->goes_into_commit();
        vorn_providers_commit(request.instances, request.changes, nullptr);
        log_last_commit();
    }
}

/* Every refusal, as an answer; empty when there is none, and when memory is gone. */
Text answer_of(const vorn_check_info &info, QueryRequest &request)
{
    if (info.out_of_memory || request.changes->is_incomplete) request.out_of_memory = true;
    if (request.out_of_memory || !info.first) return {};

    constexpr std::int32_t one_transaction = 1;
    Answer answer;
    std::int32_t count = 0;
    for (const Refusal *each = info.first; each; each = each->next)
        answer.add_error(told_refusal(request, *each), count);
    answer.add_rc_counter(one_transaction, 0);
    Text text = answer.take();
    if (!text) request.out_of_memory = true;
    return text;
}

/* What providers say against the transaction instead of its answer; empty when they accept it. */
Text refused_by_providers(QueryRequest &request)
{
    vorn_amend_info amended(request.instances, request.changes);
    amend_by_providers(amended);
    Text refused = answer_of(amended, request);
    if (refused || request.out_of_memory) return refused;
    if (denies_amendment(request, amended)) return answer_of_denial(request);

    vorn_check_info checked(request.instances, request.changes);
    check_by_providers(checked);
    if (!amended.is_accepted || checked.out_of_memory) return answer_of(checked, request);
    log_refusals(checked);
    return {};
}

/* Saving that somebody holds for a transaction is held no longer when that is refused. */
class HoldOfTransaction {
public:
    HoldOfTransaction() = default;
    HoldOfTransaction(const HoldOfTransaction &) = delete;
    ~HoldOfTransaction()
    {
        if (!stays_) vorn_config_release();
    }
    void stays() { stays_ = true; }

private:
    bool stays_ = vorn_config_is_held() != 0;
};

/* Who is told so hears of the next change before anybody can see it. */
void tell_how_long(const QueryRequest &request, Answer &answer)
{
    if (request.awaited != Awaited::nothing) answer.add("change", "awaited");
    if (request.may_be_lasting) answer.add("lasting", "yes");
}

/* The second pass. Its answer is whole before anything is applied, or a transaction is given up. */
Text execute(QueryRequest &request, xmlNode *first, StoreWithInstances &copy)
{
    const bool in_spite_of_errors = request.is_rehearsal;
    const KeptOfGoal until_it_has_taken_effect;
    Answer answer(request.passive ? TextBuffer::unbounded : reply_bound, form_of(request));
    const MemoryWatch memory;
    const std::int32_t errors = run_pass(request, first, answer, in_spite_of_errors);
    if (request.is_rehearsal && memory.ran_out()) request.out_of_memory = true;
    const bool is_done = errors == 0 && !answer.failed() && !request.out_of_memory;
    HoldOfTransaction hold;
    RulesToCome rules;
    if (request.is_rehearsal) {
        explain(request, errors, answer);
        if (request.is_denied) return answer_of_denial(request);
    } else if (is_done && request.transaction && !request.passive) {
        if (Text refused = refused_by_providers(request)) return refused;
        if (refuses_rules(request, rules)) return answer_of_denial(request);
    } else if (!request.transaction && changes_rules(request)) {
        put_rules_in_force(request.instances); /* what has been done stays */
    }
    if (memory.ran_out()) request.may_be_lasting = false;
    if (errors == 0) tell_how_long(request, answer);
    if (request.told_commit) answer.add_commit(request.told_commit->text().get());
    Text text = answer.take();
    if (answer.is_too_long()) return refuse_too_long();
    if (!text) request.out_of_memory = true;
    if (errors == 0 && goes_into_effect(request)) {
        hold.stays();
        put_into_effect(request, copy, rules);
    } else {
        request.watch->is_done(VORN_COMMIT_VALIDATE);
    }
    if (request.out_of_memory) return {};
    if (errors == 0 && request.asker) request.asker->awaits = request.awaited;
    return text;
}

} // namespace

Text evaluate_operations(QueryRequest &request, xmlNode *first, StoreWithInstances copy)
{
    const DeletionsWait until_the_answer;
    const Owned<vorn_changes> changes(vorn_changes_new(request.instances));
    if (!changes) return {};
    request.changes = changes.get();

    Answer planned(TextBuffer::unbounded, form_of(request));
    if (!plan(request, first, planned)) {
        if (request.out_of_memory) return {};
        if (request.is_denied) return answer_of_denial(request);
        if (is_too_much(request)) return refuse_too_much();
        return planned.take();
    }
    return execute(request, first, copy);
}

} // namespace vorn
