/* SPDX-License-Identifier: MIT */
/*
 * The LSQL engine: from a request's text to its answer. A write transaction works on a copy of
 * the running configuration that replaces it only if every operation succeeded; any other request
 * works on the running configuration itself, without a way back. A request to explain is a write
 * transaction whose copy is thrown away. Evaluation nests: a provider that refreshes may evaluate a
 * passive request before the outer one goes on.
 */
#include "vorn/query.h"

#include "api/explain.h"
#include "api/explain_downgrade.h"
#include "api/query_access.h"
#include "api/query_effort.h"
#include "api/query_limits.h"
#include "api/query_operations.h"
#include "api/query_result.h"
#include "api/query_secrets.h"
#include "api/query_state.h"
#include "api/query_unread.h"
#include "api/query_writes.h"
#include "change/changes_record.h"
#include "change/commit_report_record.h"
#include "change/providers_check.h"
#include "change/refresh_info_record.h"
#include "config/commit_id.h"
#include "config/config_load.h"
#include "config/kept_pieces.h"
#include "core/base/limits.h"
#include "core/base/quoted.h"
#include "core/base/text.h"
#include "core/base/tracepoint.h"
#include "core/peer.h"
#include "model/instance_record.h"
#include "model/instances_record.h"
#include "model/instances_walk.h"
#include "model/lazy/working_copy.h"
#include "services/xml/xml.h"
#include "vorn/actions.h"
#include "vorn/config.h"
#include "vorn/debug.h"
#include "vorn/provider.h"
#include "vorn/xml.h"

#include <cstring>

int vorn_query_transaction_number = 0;

namespace vorn {

constinit bool external_updates_disabled = false;
constinit std::size_t reply_bound = longest_reply;

namespace {

constexpr char root_name[] = "lsql";
constexpr char explain_name[] = "explain";
constexpr char startup_request_name[] = "get_conf";
constexpr char transaction_name[] = "write-transaction";
constexpr std::size_t message_room = 160;

bool is_named(const xmlNode *node, const char *name)
{
    return node->name && xmlStrEqual(node->name, xml(name));
}

/* An answer to the request as a whole. */
Text refusal(const char *message)
{
    Answer answer;
    std::int32_t count = 0;
    answer.add_error(message, count);
    answer.add_rc_counter(count, 0);
    return answer.take();
}

/* What a client knows of the configuration must still be true, if it says so. */
bool has_moved_on(xmlNode *root, const CommitId &commit)
{
    const char *known = vorn_util_xmlGetProp(root, "if-commit");
    return known && !commit.is_named_by(known);
}

Text refuse_moved_on(xmlNode *root, const CommitId &commit)
{
    const Line<message_room> message("The configuration has changed: commit \"%s\", now \"%s\".",
                                     vorn_util_xmlGetProp(root, "if-commit"), commit.text().get());
    return refusal(message.get());
}

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

bool asks_for_commit(xmlNode *root)
{
    const char *told = vorn_util_xmlGetProp(root, "tell-commit");
    return told && std::strcmp(told, "yes") == 0;
}

/* The instances of an abandoned copy are nobody else's; those of an accepted one are kept. */
StoreWithInstances copy_for_transaction()
{
    vorn_instances *running = vorn_config_get_running();
    return StoreWithInstances(running ? new_working_copy(running) : nullptr);
}

/*
 * Somebody is in the middle of a change of the running configuration, or of reading it: a request
 * or a boot load, from whose refresh or commit this request comes. Its store must not be replaced.
 */
bool is_watched(const vorn_instances *running)
{
    return running && running->home.witnesses;
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
    return request.out_of_memory ? Text() : std::move(text);
}

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

Text evaluate_request(xmlDoc *document, bool passive, RequestWatch &watch, const AccessView *view)
{
    xmlNode *root = xmlDocGetRootElement(document);
    const bool is_rehearsal = !passive && is_named(root, explain_name);
    if (!is_rehearsal && !is_named(root, root_name)) {
        return refusal("Top level name is not lsql.");
    }

    vorn_query_origin = vorn_util_xmlGetProp(root, "origin");
    if (external_updates_disabled && vorn_query_origin) {
        return refusal("External updates are prohibited.");
    }
    const char *downgrade = is_rehearsal ? vorn_util_xmlGetProp(root, "downgrade") : nullptr;
    if (downgrade) {
        const bool may_be_told = !view || view->reads_everything();
        return may_be_told ? explain_downgrade(downgrade) : refusal("Access denied.");
    }
    xmlNode *first = root->children;
    if (!first) return refusal("Incomplete lsql request.");
    const bool is_transaction = is_named(first, transaction_name);
    if (!passive) {
        const Excess excess = find_excess(root, is_transaction ? first->children : first);
        if (excess.found) return excess.message ? refusal(excess.message.get()) : Text();
    }

    QueryRequest request;
    CommitId commit;
    if (asks_for_commit(root) || vorn_util_xmlGetProp(root, "if-commit")) {
        commit = CommitId::of(vorn_config_get_running(), commit_number);
        if (view && !view->reads_everything()) commit.veil();
        if (commit.failed()) return {};
        if (has_moved_on(root, commit)) return refuse_moved_on(root, commit);
        if (asks_for_commit(root)) request.told_commit = &commit;
    }
    StoreWithInstances copy;
    request.watch = &watch;
    request.view = view;
    request.passive = passive;
    request.is_rehearsal = is_rehearsal;
    request.instances = vorn_config_get_running();
    if (is_transaction || is_rehearsal) {
        if (!passive && is_watched(request.instances)) {
            return refusal("Write transactions can't be nested.");
        }
        copy = copy_for_transaction();
        if (!copy) return {};
        request.transaction = true;
        request.instances = copy.get();
        if (is_transaction) first = first->children;
    }
    return evaluate_operations(request, first, std::move(copy));
}

bool shows_queries(bool passive)
{
    return vorn_debug_get() > (passive ? 1 : 0);
}

void show(const char *what, bool passive)
{
    vorn_debug_printf("LSQL %s%s:\n", what, passive ? " (passive)" : "");
}

Text evaluate_logged(xmlDoc *request, bool passive, RequestWatch &watch, const AccessView *view)
{
    const bool shown_in_log = shows_queries(passive);
    if (shown_in_log) {
        const SecretsHidden from_the_log(request);
        show("query", passive);
        xmlDocDump(vorn_debug_get_stream(), request);
        std::fflush(vorn_debug_get_stream());
    }
    Text answer = evaluate_request(request, passive, watch, view);
    if (shown_in_log) {
        show("result", passive);
        if (answer) std::fputs(answer.get(), vorn_debug_get_stream());
        std::fflush(vorn_debug_get_stream());
    }
    return answer;
}

/* Who was refused what: an answer with an error has changed nothing, if it was to. */
void record_refusal(const xmlNode *root, const RequestWatch &watch)
{
    char operations[sizeof(vorn_commit_report::changes)];
    ShortText text(operations);
    describe_writes(root, text);
    if (!text.is_empty()) watch.record_refusal(operations);
}

/* The origin points into the request; whoever asks for it later must not find a freed text. */
class OriginEndsWithRequest {
public:
    explicit OriginEndsWithRequest(xmlNode *root) : origin_(vorn_util_xmlGetProp(root, "origin")) {}
    OriginEndsWithRequest(const OriginEndsWithRequest &) = delete;
    ~OriginEndsWithRequest()
    {
        if (vorn_query_origin == origin_) vorn_query_origin = nullptr;
    }

private:
    const char *origin_;
};

/* In the form in which the saved file is answered when it can't be. */
char *refuse_file()
{
    return copy_of("<?xml version=\"1.0\"?><error>Access denied.</error>").release();
}

/* Notes for whom a client speaks; false when he may not. */
bool may_speak(xmlNode *root, const vorn_peer *client)
{
    const char *name = client ? vorn_util_xmlGetProp(root, "for-user") : nullptr;
    if (!name) return true;
    if (!may_speak_for(client, name)) return false;
    PeerOfRequest::speaks_for(name);
    return true;
}

char *evaluate_untraced(const char *text, bool passive)
{
    const vorn_peer *client = passive ? nullptr : PeerOfRequest::take_asking();
    RequestWatch watch;
    const XmlDocument request = text ? parse_xml_text(text, std::strlen(text)) : XmlDocument();
    if (!request) {
        vorn_debug_eprintf("Invalid LSQL request: %s\n", Quoted(shown(text)).get());
        return nullptr;
    }
    xmlNode *root = xmlDocGetRootElement(request.get());
    const bool speaks_truly = may_speak(root, client);
    const Access access(client);
    const bool is_let_in = speaks_truly && !access.is_locked_out();
    if (is_named(root, startup_request_name)) {
        const bool reads_all = !access.view() || access.view()->reads_everything();
        if (!is_let_in || access.failed() || !reads_all) return refuse_file();
        return vorn_config_get_startup_as_xml();
    }

    watch.is_done(VORN_COMMIT_PARSE);
    const OriginEndsWithRequest origin_ends(root);
    Text answer;
    if (!is_let_in) {
        answer = refusal("Access denied.");
    } else if (!access.failed()) {
        answer = evaluate_logged(request.get(), passive, watch, access.view());
    }
    if (!answer) vorn_debug_eprintf("No memory to answer an LSQL request.\n");
    const bool is_refused = (watch.has_error() || !answer) && !watch.went_into_commit();
    if (is_refused && !passive && is_named(root, root_name)) record_refusal(root, watch);
    return answer.release();
}

char *evaluate_text(const char *text, bool passive)
{
    VORN_TRACEPOINT(request__begin, text);
    char *answer = evaluate_untraced(text, passive);
    VORN_TRACEPOINT(request__end, answer);
    return answer;
}

/* Filled and then left behind: the commit makes an empty set of its own. */
void leave_action_set_behind(const char *provider, const char *action, const char *class_name,
                             const char *instance_name)
{
    vorn_actions *actions = vorn_actions_new();
    if (actions) vorn_actions_add(actions, provider, action, class_name, instance_name);
}

} // namespace

} // namespace vorn

using namespace vorn;

char *vorn_query_eval(const char *request)
{
    return evaluate_text(request, false);
}

char *vorn_query_eval_passive(const char *request)
{
    return evaluate_text(request, true);
}

void vorn_query_action(const char *provider, const char *action, const char *class_name,
                       const char *instance_name)
{
    vorn_instances *running = vorn_config_get_running();
    const Owned<vorn_changes> changes(vorn_changes_new(running));
    if (!changes) return;

    leave_action_set_behind(provider, action, class_name, instance_name);
    vorn_providers_commit(running, changes.get(), nullptr);
}

void vorn_query_disable_external_updates()
{
    external_updates_disabled = true;
}
