/* SPDX-License-Identifier: MIT */
/*
 * The LSQL engine: from a request's text to its answer. A write transaction works on a copy of
 * the running configuration that replaces it only if every operation succeeded; any other request
 * works on the running configuration itself, without a way back. A request to explain is a write
 * transaction whose copy is thrown away. Evaluation nests: a provider that refreshes may evaluate a
 * passive request before the outer one goes on.
 */
#include "vorn/query.h"

#include "api/explain_downgrade.h"
#include "api/query_limits.h"
#include "api/query_passes.h"
#include "api/query_result.h"
#include "api/query_secrets.h"
#include "api/query_state.h"
#include "api/query_writes.h"
#include "change/changes_record.h"
#include "config/commit_id.h"
#include "core/announce.h"
#include "core/base/quoted.h"
#include "core/base/text.h"
#include "core/base/tracepoint.h"
#include "core/peer.h"
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

bool says(xmlNode *root, const char *what, const char *word)
{
    const char *said = vorn_util_xmlGetProp(root, what);
    return said && std::strcmp(said, word) == 0;
}

bool asks_for(xmlNode *root, const char *what)
{
    return says(root, what, "yes");
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

/* Who doesn't stay can be told nothing later. */
Awaited awaited_by(xmlNode *root, const vorn_peer *client)
{
    if (!client || !client->stays) return Awaited::nothing;
    if (says(root, "tell-change", "rights")) return Awaited::rights;
    return asks_for(root, "tell-change") ? Awaited::change : Awaited::nothing;
}

/*
 * That something has changed, and that nobody had to be asked, may tell of what somebody may not
 * read: it is told to the gate, which tells nobody.
 */
void note_what_lasts(QueryRequest &request, xmlNode *root, const vorn_peer *client)
{
    const Awaited awaited = awaited_by(root, client);
    const bool keeps = asks_for(root, "tell-lasting");
    if ((awaited == Awaited::nothing && !keeps) || !may_speak(client)) return;
    request.asker = client;
    request.awaited = awaited;
    request.may_be_lasting =
        keeps && !request.transaction && !request.is_rehearsal && !is_watched(request.instances);
}

Text evaluate_request(xmlDoc *document, bool passive, RequestWatch &watch, const AccessView *view,
                      const vorn_peer *client)
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
    if (asks_for(root, "tell-commit") || vorn_util_xmlGetProp(root, "if-commit")) {
        commit = CommitId::of(vorn_config_get_running(), commit_number);
        if (view && !view->reads_everything()) commit.veil();
        if (commit.failed()) return {};
        if (has_moved_on(root, commit)) return refuse_moved_on(root, commit);
        if (asks_for(root, "tell-commit")) request.told_commit = &commit;
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
    note_what_lasts(request, root, client);
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

Text evaluate_logged(xmlDoc *request, bool passive, RequestWatch &watch, const AccessView *view,
                     const vorn_peer *client)
{
    const bool shown_in_log = shows_queries(passive);
    if (shown_in_log) {
        const SecretsHidden from_the_log(request);
        show("query", passive);
        xmlDocDump(vorn_debug_get_stream(), request);
        std::fflush(vorn_debug_get_stream());
    }
    Text answer = evaluate_request(request, passive, watch, view, client);
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
        answer = evaluate_logged(request.get(), passive, watch, access.view(), client);
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
    about_to_change();
    external_updates_disabled = true;
}
