/* SPDX-License-Identifier: MIT */
/* Every change of a client is one write transaction, in his name. */
#include "changes.h"

#include <algorithm>
#include <cstring>

#include <explanation.h>
#include <text.h>

#include "aftermath.h"
#include "bounds.h"
#include "objects.h"

namespace vorn::gate {

namespace {

constexpr int most_attempts = 3;
constexpr const char *change_members[] = {"op", "class", "name", "properties", "where", "if-match"};

Problem bad(std::string detail, int change = -1)
{
    Problem problem = {400, "bad-request", std::move(detail)};
    if (change >= 0) problem.errors = {{problem.detail, {}, {}, {}, change}};
    return problem;
}

/* The text of a member; empty when it is not there. */
std::string text_in(const json_t *json, const char *name, int change = -1)
{
    const json_t *value = json_object_get(json, name);
    if (!value) return {};
    if (!json_is_string(value))
        throw bad("\"" + std::string(name) + "\" has to be a string.", change);
    return std::string(text_of(value));
}

template <typename Names>
void expect_members(const json_t *json, const Names &names, int change = -1)
{
    const char *name = nullptr;
    json_t *value = nullptr;
    json_object_foreach(const_cast<json_t *>(json), name, value)
    {
        if (std::ranges::none_of(names,
                                 [&](const char *each) { return std::strcmp(each, name) == 0; })) {
            throw bad("There is no member \"" + std::string(name) + "\".", change);
        }
    }
}

Wish::Change::Kind kind_in(const json_t *json, int change)
{
    using Kind = Wish::Change::Kind;
    const std::string op = text_in(json, "op", change);
    if (op == "update") return Kind::update;
    if (op == "insert") return Kind::insert;
    if (op == "delete") return Kind::remove;
    throw bad("\"op\" has to be \"update\", \"insert\" or \"delete\".", change);
}

/* Names become elements of the request: only those that the device has told may. */
client::Values values_in(const json_t *json, const std::string &class_name,
                         const client::Schema &schema, int change)
{
    client::Values values;
    const json_t *properties = json_object_get(json, "properties");
    if (!properties) return values;
    if (!json_is_object(properties)) throw bad("\"properties\" has to be an object.", change);
    const std::vector<std::string> known = schema.properties_of(class_name);
    const char *name = nullptr;
    json_t *value = nullptr;
    json_object_foreach(const_cast<json_t *>(properties), name, value)
    {
        if (!client::contains(known, name)) {
            const std::string detail = "Property \"" + std::string(name) +
                                       "\" is not valid for class \"" + class_name + "\".";
            throw Problem{422, "refused", detail, {{detail, class_name, {}, name, change}}};
        }
        if (!json_is_string(value)) {
            const std::string detail = "The value of a property has to be a string.";
            throw Problem{400, "bad-request", detail, {{detail, class_name, {}, name, change}}};
        }
        values.emplace_back(name, text_of(value));
    }
    return values;
}

/* An instance of a family is inserted as one of its abstract class, which a property tells. */
void insert_into_family(Wish::Change &change, const client::Schema &schema)
{
    const client::Class *klass = schema.find(change.target.class_name);
    const client::Class *family = klass ? schema.find(klass->superclass) : nullptr;
    if (!family || family->subclass_identifier.empty()) return;
    std::erase_if(change.values,
                  [&](const auto &each) { return each.first == family->subclass_identifier; });
    change.values.emplace(change.values.begin(), family->subclass_identifier, klass->name);
    change.target.class_name = family->name;
}

Wish::Change change_in(const json_t *json, const client::Schema &schema, int number)
{
    using Kind = Wish::Change::Kind;
    if (!json_is_object(json)) throw bad("A change has to be an object.", number);
    expect_members(json, change_members, number);
    Wish::Change change = {kind_in(json, number), {text_in(json, "class", number), {}, {}}, {}, {}};
    const client::Class *klass = schema.find(change.target.class_name);
    if (!klass) {
        const std::string detail = "Unknown class \"" + change.target.class_name + "\".";
        throw Problem{422, "refused", detail, {{detail, change.target.class_name, {}, {}, number}}};
    }
    if (json_object_get(json, "name")) change.target.name = text_in(json, "name", number);
    change.target.where = text_in(json, "where", number);
    change.tag = unquoted(text_in(json, "if-match", number));
    change.values = values_in(json, change.target.class_name, schema, number);
    const bool is_named = change.target.name.has_value() || klass->type == "singleton";
    if (change.kind == Kind::insert) {
        if (!change.target.where.empty()) throw bad("An insert has no \"where\".", number);
        insert_into_family(change, schema);
    } else if (!is_named && change.target.where.empty()) {
        throw bad("A change needs a \"name\" or a \"where\".", number);
    }
    if (change.target.where.size() > longest_condition) throw bad("\"where\" is too long.", number);
    if (!change.tag.empty() && (!is_named || change.kind == Kind::insert))
        throw bad("Only one object that is there can have an \"if-match\".", number);
    return change;
}

std::vector<Wish::Change> changes_in(const json_t *json, const client::Schema &schema)
{
    const json_t *changes = json_object_get(json, "changes");
    const std::size_t count = json_array_size(changes);
    if (count == 0 || count > most_changes)
        throw bad("\"changes\" has to be a list of 1 to 1000 changes.");
    std::vector<Wish::Change> result;
    for (std::size_t i = 0; i < count; i++)
        result.push_back(change_in(json_array_get(changes, i), schema, static_cast<int>(i)));
    return result;
}

/* Of the header: a configuration, or the only change's object. */
void heed_header(const std::string &header, Wish &wish)
{
    if (header.empty() || header == "*") return;
    const std::string tag = unquoted(header);
    if (!tag.starts_with("o-")) {
        wish.commit = tag;
    } else if (wish.changes.size() == 1 && wish.changes[0].kind != Wish::Change::Kind::insert) {
        wish.changes[0].tag = tag;
    } else {
        throw bad("The tag of an object in If-Match needs exactly one change of an object.");
    }
}

/*
 * Compares what the objects' tags stand for. The configuration in which they were right is what the
 * daemon is asked to find still when it makes the change.
 */
std::string commit_with_tags(Desk &desk, const Caller &caller, const Wish &wish,
                             const DeviceSchema &schema)
{
    client::Request request = request_for(caller, client::Request::Kind::plain);
    request.ask_for_commit();
    for (const Wish::Change &each : wish.changes) {
        if (each.tag.empty()) continue;
        request.select(each.target, {});
    }
    const std::string reply = desk.device.ask(request.text());
    const std::vector<client::Outcome> outcomes = client::parse_answer(reply);
    std::size_t next = 0;
    for (std::size_t i = 0; i < wish.changes.size(); i++) {
        const Wish::Change &each = wish.changes[i];
        if (each.tag.empty()) continue;
        if (next >= outcomes.size() || outcomes[next].rc != 0)
            throw Problem{500, "failed", "The daemon's answer makes no sense."};
        const auto &found = outcomes[next++].instances;
        if (found.size() == 1 && tag_of(as_own_class(found[0], schema), schema) == each.tag)
            continue;
        const std::string detail = "Somebody has changed the object since it was read.";
        throw Problem{412,
                      "changed",
                      detail,
                      {{detail,
                        each.target.class_name,
                        each.target.name.value_or(""),
                        {},
                        static_cast<int>(i)}}};
    }
    return client::commit_of(reply);
}

client::Request request_of(const Caller &caller, const Wish &wish, const client::Schema &schema)
{
    using Kind = Wish::Change::Kind;
    client::Request request = request_for(caller, client::Request::Kind::transaction);
    if (!wish.commit.empty()) request.only_if(wish.commit);
    for (const Wish::Change &each : wish.changes) {
        if (each.kind == Kind::insert) request.insert(each.target, each.values);
        if (each.kind == Kind::update)
            request.update(each.target, each.values, client::Missing::is_an_error);
        if (each.kind == Kind::remove) request.remove(each.target, client::Missing::is_an_error);
    }
    if (wish.explains) {
        request.ask_for_commit();
        request.only_explain();
        return request;
    }
    if (!wish.comment.empty()) {
        if (!schema.find("history"))
            throw Problem{422, "refused", "This device keeps no history for a comment."};
        request.update({"history", {}, {}}, {{"comment", wish.comment}});
    }
    client::Values trial;
    if (!wish.join.empty()) trial.emplace_back("join", wish.join);
    if (wish.trial_seconds > 0) trial.emplace_back("seconds", std::to_string(wish.trial_seconds));
    if (!trial.empty()) {
        if (!schema.find("trial"))
            throw Problem{422, "refused", "This device has no trials: the plugin is missing."};
        request.update({"trial", {}, {}}, trial);
    }
    return request;
}

/* What is said against one operation, and not against the whole, begins in one of these ways. */
bool is_about_operation(std::string_view error)
{
    constexpr const char *heads[] = {"Unknown class",     "Value ",       "Bad instance",
                                     "Instance is ",      "Couldn't add", "No instance",
                                     "There is no secret"};
    return std::ranges::any_of(heads, [&](const char *head) { return error.starts_with(head); }) ||
           error.find(" is not writable.") != std::string_view::npos ||
           error.find("\" is not valid for class \"") != std::string_view::npos;
}

/* The daemon cuts what is long, and with it the names or half of one. */
void name_whole(Wrong &wrong, const client::Values &values)
{
    const std::string_view told = wrong.detail;
    if (!told.starts_with("Value \"")) return;
    for (const auto &[name, value] : values) {
        const std::string head =
            "Value \"" + value + "\" is not valid for property \"" + name + "\" of class \"";
        const bool is_cut = told.starts_with(head) ? told.find('"', head.size()) == told.npos
                                                   : head.starts_with(told);
        if (!is_cut) continue;
        wrong.property = name;
        wrong.class_name.clear();
    }
}

void name_target(Wrong &wrong, const client::Target &target)
{
    if (wrong.class_name.empty()) wrong.class_name = target.class_name;
    if (wrong.name.empty()) wrong.name = target.name.value_or("");
}

/* Of a sentence against one of the changes, whichever names it tells itself. */
Wrong wrong_of_change(const std::string &line, const Wish &wish, std::size_t index)
{
    if (index >= wish.changes.size()) return wrong_of(line);
    Wrong wrong = wrong_of(line, static_cast<int>(index));
    name_whole(wrong, wish.changes[index].values);
    name_target(wrong, wish.changes[index].target);
    return wrong;
}

[[noreturn]] void refuse(const Wish &wish, const std::string &error, std::size_t index)
{
    if (!is_about_operation(error) || index >= wish.changes.size()) throw problem_of(error);
    Problem problem = problem_of(error);
    for (Wrong &each : problem.errors)
        each = wrong_of_change(each.detail, wish, index);
    throw problem;
}

Json refusals_of(const client::Explanation &explanation, const Wish &wish)
{
    Json refused = list();
    const auto add = [&](const std::string &line, const Wrong &wrong) {
        Problem problem = problem_of(line);
        /* What is not about the values is not an explanation, but an error. */
        if (problem.status != 422) throw problem;
        append(refused, json_of(wrong));
    };
    for (const client::Explanation::Error &each : explanation.errors)
        add(each.sentence, wrong_of_change(each.sentence, wish, each.operation - 1));
    for (const std::string &each : explanation.refused)
        add(each, wrong_of(each));
    return refused;
}

Json json_of_told(const client::Explanation::Told &told)
{
    Json json = object();
    put_text(json, "action", told.action);
    put_text(json, "class", told.instance.class_name);
    if (told.instance.name) put_text(json, "name", *told.instance.name);
    return json;
}

Json json_of_provider(const client::Explanation::Provider &provider)
{
    Json json = object();
    Json instances = list();
    Json effects = list();
    put_text(json, "name", provider.name);
    for (const client::Explanation::Told &each : provider.told)
        append(instances, json_of_told(each));
    for (const client::Explanation::Effect &each : provider.effects) {
        Json effect = object();
        put_text(effect, "weight", each.weight);
        put_text(effect, "text", each.sentence);
        append(effects, std::move(effect));
    }
    put(json, "instances", std::move(instances));
    put(json, "effects", std::move(effects));
    return json;
}

Answer explained(Desk &desk, const Caller &caller, const Wish &wish, const std::string &reply)
{
    if (!client::Explanation::is_one(reply)) {
        const std::vector<client::Outcome> outcomes = client::parse_answer(reply);
        throw problem_of(outcomes.empty() ? "The answer makes no sense." : outcomes[0].error);
    }
    const client::Explanation explanation = client::Explanation::of(reply);
    Json changes = list();
    Json providers = list();
    for (const client::Difference &each : explanation.changes) {
        const bool is_new = each.before.empty();
        const bool is_gone = each.after.empty();
        append(changes, json_of_change(is_new    ? "inserted"
                                       : is_gone ? "deleted"
                                                 : "updated",
                                       is_new ? each.after[0] : each.before[0],
                                       is_new ? client::Values() : each.before[0].values,
                                       is_gone ? client::Values() : each.after[0].values));
    }
    for (const client::Explanation::Provider &each : explanation.providers)
        append(providers, json_of_provider(each));
    const Json json = object();
    put(json, "refused", refusals_of(explanation, wish));
    put_text(json, "commit", present_commit(desk, caller));
    put(json, "changes", std::move(changes));
    put(json, "providers", std::move(providers));
    return answer_of(json);
}

Answer carried_out(Desk &desk, const Caller &caller, const Wish &wish, const DeviceSchema &schema,
                   const client::Request &request)
{
    const std::string reply = desk.device.ask(request.text());
    if (wish.explains) return explained(desk, caller, wish, reply);
    const std::vector<client::Outcome> outcomes = client::parse_answer(reply);
    Json counts = list();
    for (std::size_t i = 0; i < outcomes.size(); i++) {
        if (outcomes[i].rc != 0) refuse(wish, outcomes[i].error, i);
        if (i < wish.changes.size()) append(counts, number(outcomes[i].counter));
    }
    if (outcomes.size() < wish.changes.size())
        throw Problem{500, "failed", "The daemon's answer makes no sense."};
    Json json = aftermath(desk, caller, schema, wish);
    put(json, "counts", std::move(counts));
    return answer_of(json);
}

} // namespace

Json json_of_change(std::string_view action, const client::Instance &named,
                    const client::Values &before, const client::Values &after)
{
    Json json = object();
    put_text(json, "action", action);
    put_text(json, "class", named.class_name);
    if (named.name) put_text(json, "name", *named.name);
    Json values = list();
    const auto add = [&](const std::string &property) {
        const std::string *was = client::value_of(before, property);
        const std::string *is = client::value_of(after, property);
        if (was && is && *was == *is) return;
        Json value = object();
        put_text(value, "property", property);
        put(value, "before", was ? text(*was) : null());
        put(value, "after", is ? text(*is) : null());
        append(values, std::move(value));
    };
    for (const auto &each : before)
        add(each.first);
    for (const auto &each : after)
        if (!client::value_of(before, each.first)) add(each.first);
    put(json, "values", std::move(values));
    return json;
}

Json body_of(const Request &request)
{
    if (request.body.empty()) return object();
    if (!std::string_view(request.content_type).starts_with("application/json"))
        throw Problem{415, "media-type", "The body has to be application/json."};
    Json json = parse_json(request.body);
    if (!json || !json_is_object(json.get())) throw bad("The body is no JSON object.");
    return json;
}

void read_options(const Json &json, std::initializer_list<const char *> allowed, Wish &wish)
{
    constexpr long long longest_trial = 86400;
    constexpr long long shortest_trial = 5;
    expect_members(json.get(), allowed);
    wish.join = text_in(json.get(), "join");
    wish.comment = text_in(json.get(), "comment");
    wish.commit = unquoted(text_in(json.get(), "if-match"));
    if (const json_t *trial = json_object_get(json.get(), "trial")) {
        wish.trial_seconds = json_integer_value(trial);
        if (wish.trial_seconds < shortest_trial || wish.trial_seconds > longest_trial)
            throw bad("\"trial\" has to be a number of seconds from 5 to 86400.");
    }
    if (const json_t *explain = json_object_get(json.get(), "explain")) {
        if (!json_is_boolean(explain)) throw bad("\"explain\" has to be true or false.");
        wish.explains = json_is_true(explain);
    }
}

Answer carry_out(Desk &desk, const Caller &caller, Wish wish)
{
    const auto schema = desk.schemas.of(desk.device, caller.user);
    const bool has_tags =
        std::ranges::any_of(wish.changes, [](const auto &each) { return !each.tag.empty(); });
    const bool is_bound = !wish.commit.empty();
    for (int attempt = 1;; attempt++) {
        if (has_tags) {
            const std::string commit = commit_with_tags(desk, caller, wish, *schema);
            if (!is_bound) wish.commit = commit;
        }
        try {
            return carried_out(desk, caller, wish, *schema,
                               request_of(caller, wish, schema->schema));
        } catch (const Problem &problem) {
            /* Something else was changed in between: the objects are looked at again. */
            const bool can_try = has_tags && !is_bound && problem.status == 412;
            if (!can_try || attempt == most_attempts) throw;
        }
    }
}

Answer post_changes(Desk &desk, const Caller &caller, const Request &request)
{
    const Json json = body_of(request);
    Wish wish;
    read_options(json, {"changes", "trial", "join", "comment", "if-match", "explain"}, wish);
    const auto schema = desk.schemas.of(desk.device, caller.user);
    wish.changes = changes_in(json.get(), schema->schema);
    heed_header(request.if_match, wish);
    return carry_out(desk, caller, std::move(wish));
}

} // namespace vorn::gate
