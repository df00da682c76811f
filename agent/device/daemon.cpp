/* SPDX-License-Identifier: MIT */
/*
 * The agent's questions in the daemon's language. All that is seen at once is asked for in one
 * request, so that it is of one configuration; what is changed is bound to what was seen.
 */
#include "daemon.h"

#include <chrono>
#include <map>
#include <sstream>
#include <string>
#include <thread>

#include <advice.h>
#include <effects.h>
#include <failure.h>
#include <health.h>

#include "running.h"
#include <pugixml.hpp>

namespace vorn::fleet {

namespace {

constexpr int patience_ms = 120000; /* a commit may run programs for long */
constexpr int most_attempts = 3;
constexpr std::chrono::seconds before_next_try(1);
constexpr char origin[] = "fleet";
constexpr char holder_mark[] = " for \"fleet\"";

std::int64_t number_of(const std::string &text)
{
    return std::strtoll(text.c_str(), nullptr, 10);
}

/* "KEY=VALUE" with blanks between; the daemon has seen to the rest. */
std::map<std::string, std::string> labels_in(const std::string &text)
{
    std::map<std::string, std::string> labels;
    std::istringstream words(text);
    for (std::string word; words >> word;)
        labels[word.substr(0, word.find('='))] = word.substr(word.find('=') + 1);
    return labels;
}

bool is_about_a_trial(const std::string &error)
{
    return error.starts_with("A change is on trial");
}

bool is_trial_gone(const std::string &error)
{
    return error.find("nothing is on trial") != std::string::npos ||
           error.find("the change that is on trial has another id") != std::string::npos;
}

/* Questions change nothing. */
bool is_question(const pugi::xml_node &root)
{
    const std::string_view name = root.name();
    if (name == "explain") return true;
    if (name != "lsql") return false;
    for (const pugi::xml_node &each : root.children()) {
        const std::string_view operation = each.name();
        if (operation != "select" && operation != "where") return false;
    }
    return true;
}

} // namespace

/* What one request has shown. */
struct Daemon::Sight {
    std::string commit;
    client::Answers told;
    client::Configuration running; /* of what a document can be about */
    Refusal refusal;               /* of the content that was asked for */
};

Daemon::Daemon() : device_(patience_ms)
{}

Daemon::Sight Daemon::see(const Content &content)
{
    if (!schema_.known()) schema_ = client::Schema::required_of(device_);
    Sight sight;
    sight.refusal = judge(content, schema_);
    client::Request request(client::Request::Kind::plain);
    request.ask_for_commit();
    const auto select = [&](const std::string &class_name,
                            const std::vector<std::string> &properties, const char *alone = "") {
        std::vector<std::string> there;
        for (const std::string &each : properties)
            if (schema_.find_property(class_name, each)) there.push_back(each);
        if (!schema_.find(class_name) || there.empty() != properties.empty()) return;
        request.select({class_name, {}, {}}, there);
        sight.told.asked.emplace_back(class_name, alone);
    };
    select(own_class, {"generation", "digest", "labels"});
    select("trial", {"state", "id", "holder"});
    select("daemon", {"version", "schema", "failing-services"});
    select("plugin", {"state"});
    select("save", {"result", "reason", "broken"});
    select("history", {"unproven"});
    for (const auto &[class_name, property] : client::states_in(schema_))
        if (class_name != "plugin") select(class_name, {property}, property.c_str());
    const std::size_t own = sight.told.asked.size();
    for (const auto &[class_name, part] : content)
        if (!sight.refusal) select(class_name, {});

    const std::string answer = device_.ask(request.text());
    sight.commit = client::commit_of(answer);
    sight.told.outcomes = client::parse_answer(answer);
    if (sight.told.outcomes.size() != sight.told.asked.size())
        client::fail(client::no_answer, {"the answer makes no sense"});
    for (std::size_t i = own; i < sight.told.asked.size(); i++)
        for (client::Instance &each :
             settable(sight.told.outcomes[i].instances, sight.told.asked[i].first, schema_))
            sight.running.push_back(std::move(each));
    sight.told.asked.resize(own);
    sight.told.outcomes.resize(own);
    const client::Instance *daemon = sight.told.first_of("daemon");
    const std::string id = daemon ? daemon->value("schema") : "";
    if (id == schema_id_) return sight;
    /* Another firmware: what was asked for was of the one before. */
    schema_id_ = id;
    schema_ = client::Schema::required_of(device_);
    return see(content);
}

View Daemon::view_of(const Sight &sight) const
{
    View view;
    view.versions["agent"] = VORN_VERSION;
    view.commit = sight.commit;
    view.schema = schema_id_;
    view.problems = sight.told.problems();
    if (const client::Instance *fleet = sight.told.first_of(own_class)) {
        view.generation = number_of(fleet->value("generation"));
        view.digest = fleet->value("digest");
        view.labels = labels_in(fleet->value("labels"));
    }
    if (const client::Instance *trial = sight.told.first_of("trial")) {
        const bool is_pending = trial->value("state") == "pending";
        const bool is_ours = trial->value("holder").ends_with(holder_mark);
        view.trial = !is_pending ? View::Trial::none
                     : is_ours   ? View::Trial::ours
                                 : View::Trial::others;
        view.trial_id = is_pending ? trial->value("id") : "";
    }
    if (const client::Instance *daemon = sight.told.first_of("daemon"))
        view.versions["daemon"] = daemon->value("version");
    return view;
}

View Daemon::look(const Desired *document)
{
    for (;; std::this_thread::sleep_for(before_next_try)) {
        try {
            const Sight sight = see(document ? document->content : Content());
            View view = view_of(sight);
            if (!document || sight.refusal) return view;
            const Content wanted = with_hidden_secrets(document->content, schema_);
            const Content found = in_force(wanted, sight.running);
            view.hash = hash_of(found);
            view.desired_hash = hash_of(wanted);
            view.differences = differences(wanted, found);
            return view;
        } catch (const client::Failure &) {
            schema_ = {}; /* no daemon, for now */
            schema_id_.clear();
        }
    }
}

Applied Daemon::attempt(const Desired &document)
{
    const Sight sight = see(document.content);
    if (sight.refusal) return {sight.refusal, {}};
    for (const char *each : {own_class, "trial"})
        if (!schema_.find(each))
            return {{Reason::rejected, std::string("the plugin \"") + each + "\" is missing"}, {}};

    client::Request request(client::Request::Kind::transaction, origin);
    request.only_if(sight.commit);
    add_steps(request, document.content, sight.running, schema_);
    std::string guard;
    for (const auto &[class_name, part] : document.content) {
        if (document.local != Local::refuse) continue;
        guard += (guard.empty() ? "" : " ") + class_name;
        for (const std::string &each : schema_.subclasses_of(class_name))
            guard += ' ' + each;
    }
    request.update({own_class, {}, {}}, {{"generation", std::to_string(document.generation)},
                                         {"digest", document.digest},
                                         {"guard", guard}});
    if (schema_.find("history")) {
        const std::string comment = "fleet " + std::to_string(document.generation) + ", " +
                                    document.by + ": " + document.why;
        request.update({"history", {}, {}}, {{"comment", comment.substr(0, 200)}});
    }
    request.update({"trial", {}, {}}, {{"seconds", std::to_string(document.trial)}});
    request.select({"trial", {}, {}}, {"id"});
    const std::vector<client::Outcome> outcomes = client::parse_answer(device_.ask(request.text()));
    for (const client::Outcome &each : outcomes) {
        if (each.rc == 0) continue;
        if (each.error.starts_with("The configuration has changed"))
            throw client::MovedOn(each.error);
        std::string text = each.error;
        for (const auto &[class_name, part] : document.content)
            for (const Item &item : part.items)
                text = client::without_secrets(text, schema_, class_name,
                                               {item.values.begin(), item.values.end()});
        return {{is_about_a_trial(text) ? Reason::busy : Reason::rejected, text}, {}};
    }
    if (outcomes.empty() || outcomes.back().instances.size() != 1)
        client::fail(client::no_answer, {"the answer makes no sense"});
    return {{}, outcomes.back().instances[0].value("id")};
}

Applied Daemon::apply(const Desired &document)
{
    for (int i = 0; i < most_attempts; i++) {
        try {
            return attempt(document);
        } catch (const client::MovedOn &) {
            continue;
        } catch (const client::Failure &failure) {
            return {{Reason::busy, failure.what()}, {}};
        }
    }
    return {{Reason::busy, "somebody else keeps changing the configuration"}, {}};
}

Refusal Daemon::end_trial(const char *word, const std::string &trial_id)
try {
    client::Request request(client::Request::Kind::transaction, origin);
    request.update({"trial", {}, {}}, {{word, trial_id}});
    for (const client::Outcome &each : client::parse_answer(device_.ask(request.text())))
        if (each.rc != 0)
            return {is_trial_gone(each.error) ? Reason::unreached : Reason::not_saved, each.error};
    return {};
} catch (const client::Failure &failure) {
    return {Reason::busy, failure.what()};
}

Refusal Daemon::confirm(const std::string &trial_id)
{
    return end_trial("confirm", trial_id);
}

/* Where it fails the trial's own end does the same. */
void Daemon::revert(const std::string &trial_id)
{
    end_trial("revert", trial_id);
}

Daemon::Reply Daemon::ask(const std::string &lsql)
try {
    pugi::xml_document document;
    client::parse_document(document, lsql, "the request");
    if (!is_question(document.document_element()))
        return {{Reason::rejected, "it is no question"}, {}};
    return {{}, device_.ask(lsql)};
} catch (const client::Failure &failure) {
    return {{Reason::rejected, failure.what()}, {}};
}

std::vector<Shown> Daemon::read(const std::vector<Selection> &what)
{
    std::vector<Shown> all;
    for (const Selection &each : what)
        all.push_back({each.class_name, {}});
    try {
        if (!schema_.known()) schema_ = client::Schema::required_of(device_);
        std::vector<Shown *> asked;
        client::Request request(client::Request::Kind::plain);
        for (std::size_t i = 0; i < what.size(); i++) {
            std::vector<std::string> there;
            for (const std::string &each : what[i].properties)
                if (schema_.find_property(what[i].class_name, each)) there.push_back(each);
            if (!schema_.find(what[i].class_name) || there.empty() != what[i].properties.empty())
                continue;
            request.select({what[i].class_name, {}, {}}, there);
            asked.push_back(&all[i]);
        }
        if (asked.empty()) return all;
        const std::vector<client::Outcome> outcomes =
            client::parse_answer(device_.ask(request.text()));
        for (std::size_t i = 0; i < asked.size() && i < outcomes.size(); i++)
            for (const client::Instance &each : outcomes[i].instances)
                asked[i]->items.push_back({each.name, {each.values.begin(), each.values.end()}});
    } catch (const client::Failure &) {
        schema_ = {};
        schema_id_.clear();
    }
    return all;
}

} // namespace vorn::fleet
