/* SPDX-License-Identifier: MIT */
/* Objects are read with all that their tags stand for, and shown with what was asked for. */
#include "objects.h"

#include <algorithm>

#include <text.h>

#include "bounds.h"
#include "sha256.h"

namespace vorn::gate {

namespace {

constexpr std::size_t digits_of_tag = 16;

/* What a request asks for, understood. */
struct Query {
    const client::Class *klass;
    client::Target target;
    std::vector<std::string> shown; /* empty for all */
    bool is_one;
};

std::vector<std::string> names_in(const std::string &list, const client::Schema &schema,
                                  const std::string &class_name)
{
    const std::vector<std::string> known = schema.properties_of(class_name);
    std::vector<std::string> names;
    for (std::size_t at = 0; at <= list.size();) {
        const std::size_t end = std::min(list.find(',', at), list.size());
        std::string name = list.substr(at, end - at);
        if (!client::contains(known, name)) {
            throw Problem{400,
                          "bad-request",
                          "The class has no property \"" + name + "\".",
                          {{"There is no such property.", class_name, {}, name}}};
        }
        if (!client::contains(names, name)) names.push_back(std::move(name));
        at = end + 1;
    }
    return names;
}

Query query_in(const Request &request, const DeviceSchema &schema)
{
    const std::string &class_name = request.path[1];
    const client::Class *klass = schema.schema.find(class_name);
    const bool has_name = request.path.size() > 2;
    if (!klass) throw Problem{404, "not-found", "There is no class of this name."};
    if (has_name && !klass->is_named())
        throw Problem{404, "not-found", "Objects of this class have no names."};
    Query query = {klass, {class_name, {}, {}}, {}, false};
    if (has_name) query.target.name = request.path[2];
    for (const auto &[name, value] : request.parameters) {
        if (name == "properties") {
            query.shown = names_in(value, schema.schema, class_name);
        } else if (name == "where" && value.size() <= longest_condition) {
            query.target.where = value;
        } else {
            throw Problem{400, "bad-request", "There is no parameter \"" + name + "\"."};
        }
    }
    query.is_one = query.target.where.empty() &&
                   (klass->type == "singleton" || (has_name && klass->type == "unique-named"));
    return query;
}

/* All that is shown, that the tags need, and that tells the class. */
std::vector<std::string> selected(const Query &query, const client::Schema &schema)
{
    if (query.shown.empty()) return {};
    std::vector<std::string> names = query.shown;
    for (std::string &each : configured_properties(schema, query.klass->name))
        if (!client::contains(names, each)) names.push_back(std::move(each));
    const client::Class *family = schema.find(schema.family_of(query.klass->name));
    if (family && !family->subclass_identifier.empty() &&
        !client::contains(names, family->subclass_identifier)) {
        names.push_back(family->subclass_identifier);
    }
    return names;
}

bool has_tag(const client::Class &klass)
{
    return klass.type == "singleton" || klass.type == "unique-named";
}

} // namespace

client::Instance as_own_class(const client::Instance &instance, const DeviceSchema &schema)
{
    const client::Class *klass = schema.schema.find(instance.class_name);
    if (!klass || klass->subclass_identifier.empty()) return instance;
    const std::string &own = instance.value(klass->subclass_identifier);
    client::Instance result = instance;
    if (schema.schema.find(own)) result.class_name = own;
    return result;
}

std::vector<std::string> configured_properties(const client::Schema &schema,
                                               const std::string &class_name)
{
    std::vector<std::string> names;
    for (const client::Class &klass : schema.classes()) {
        if (klass.name != class_name && klass.superclass != class_name) continue;
        for (const client::Property &each : klass.properties) {
            if (each.persistent && each.writable && each.readable &&
                !client::contains(names, each.name)) {
                names.push_back(each.name);
            }
        }
    }
    return names;
}

std::string tag_of(const client::Instance &instance, const DeviceSchema &schema)
{
    const client::Class *klass = schema.schema.find(instance.class_name);
    if (!klass) return {};
    std::string all = instance.class_name + '\0' + instance.called() + '\0';
    for (const client::Property &each : klass->properties) {
        if (each.persistent && each.writable && each.readable)
            all += each.name + '\0' + instance.value(each.name) + '\0';
    }
    return "o-" + sha256(all).substr(0, digits_of_tag);
}

Json json_of_object(const client::Instance &instance, const DeviceSchema &schema,
                    const std::vector<std::string> &properties)
{
    Json json = object();
    put_text(json, "class", instance.class_name);
    if (instance.name) put_text(json, "name", *instance.name);
    Json values = object();
    const client::Class *klass = schema.schema.find(instance.class_name);
    for (const auto &[property, value] : instance.values) {
        const client::Property *known = klass ? klass->find(property) : nullptr;
        if (klass && (!known || !known->readable)) continue;
        if (properties.empty() || client::contains(properties, property))
            put_text(values, property.c_str(), value);
    }
    put(json, "properties", std::move(values));
    return json;
}

namespace {

std::string question_of(const Caller &caller, const Query &query, const client::Schema &schema)
{
    client::Request lsql = request_for(caller, client::Request::Kind::plain);
    lsql.ask_for_commit();
    lsql.ask_whether_lasting();
    lsql.select(query.target, selected(query, schema));
    return lsql.text();
}

/* What the daemon's reply says, in JSON and with its tag. */
Answer answer_of_reply(const std::string &reply, const Query &query, const DeviceSchema &schema)
{
    const std::vector<client::Outcome> outcomes = client::parse_answer(reply);
    if (outcomes.empty()) throw Problem{500, "failed", "The daemon's answer makes no sense."};
    if (outcomes[0].rc != 0) throw problem_of(outcomes[0].error);
    if (query.target.name && outcomes[0].instances.empty())
        throw Problem{404, "not-found", "There is no object of this name."};

    std::string tag;
    Json objects = list();
    for (const client::Instance &each : outcomes[0].instances) {
        const client::Instance instance = as_own_class(each, schema);
        Json json = json_of_object(instance, schema, query.shown);
        if (has_tag(*query.klass)) {
            tag = tag_of(instance, schema);
            put_text(json, "etag", '"' + tag + '"');
        }
        append(objects, std::move(json));
    }
    const Json json = object();
    put_text(json, "commit", client::commit_of(reply));
    put(json, "objects", std::move(objects));
    Answer answer = answer_of(json);
    if (!query.is_one || outcomes[0].instances.size() != 1)
        tag = "l-" + sha256(answer.body).substr(0, digits_of_tag);
    answer.headers.emplace_back("ETag", '"' + tag + '"');
    return answer;
}

bool holds_still(const Desk &desk, const KnownAnswer &known)
{
    return known.is_lasting && desk.stillness.lasts(known.epoch);
}

/*
 * The present epoch has to be known before the daemon is asked: what changes after that shows. Of
 * what did not last before nobody needs it.
 */
Answer ask_for_objects(Desk &desk, const Caller &caller, const Request &request, const Query &query,
                       const std::shared_ptr<const DeviceSchema> &schema,
                       const std::shared_ptr<const KnownAnswer> &known)
{
    const Stillness::Epoch epoch =
        known && !known->is_lasting ? Stillness::none : desk.stillness.present();
    const std::string question =
        known ? known->question : question_of(caller, query, schema->schema);
    std::string reply = desk.device.ask(question);
    const bool is_known = known && known->reply == reply;
    Answer answer = is_known ? known->answer : answer_of_reply(reply, query, *schema);
    const bool lasts = is_known ? known->is_lasting : client::is_lasting(reply);
    if (!is_known || (lasts && epoch != Stillness::none)) {
        desk.answers.keep(
            {schema, caller.user, request.uri, question, std::move(reply), answer, lasts, epoch});
    }
    return answer;
}

/* Of a list nothing, to who knows it. */
Answer told(const Answer &answer, const Query &query, const Request &request)
{
    const std::string &tag = answer.headers.back().second;
    if (!query.is_one && unquoted(request.if_none_match) == unquoted(tag))
        return {304, "", "", answer.headers};
    return answer;
}

} // namespace

Answer get_objects(Desk &desk, const Caller &caller, const Request &request)
{
    const auto schema = desk.schemas.of(desk.device, caller.user);
    const auto known = desk.answers.find(schema, caller.user, request.uri);
    const Query query = query_in(request, *schema);
    if (known && holds_still(desk, *known)) return told(known->answer, query, request);
    return told(ask_for_objects(desk, caller, request, query, schema, known), query, request);
}

} // namespace vorn::gate
