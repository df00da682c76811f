/* SPDX-License-Identifier: MIT */
/* Configurations of before, and the way back to one. */
#include "history.h"

#include <algorithm>
#include <cstdlib>

#include <configuration.h>

#include "changes.h"
#include "objects.h"

namespace vorn::gate {

namespace {

constexpr std::size_t digits_of_a_generation = 9;

/* A segment of the path as the number of a generation. */
const std::string &generation_in(const std::string &segment)
{
    const bool is_number =
        !segment.empty() && segment.size() <= digits_of_a_generation &&
        std::ranges::all_of(segment, [](char each) { return each >= '0' && each <= '9'; });
    if (!is_number) throw Problem{404, "not-found", "There is no generation of this number."};
    return segment;
}

std::vector<std::string> listed()
{
    return {"time",   "user",    "program", "origin", "comment", "schema",
            "commit", "changes", "bytes",   "pinned", "proven",  "state"};
}

void put_number(const Json &json, const char *name, const std::string &value)
{
    put(json, name, number(std::atoll(value.c_str())));
}

Json json_of(const client::Instance &generation)
{
    Json json = object();
    put_number(json, "id", generation.called());
    for (const char *property :
         {"time", "user", "program", "origin", "comment", "changes", "state", "schema"})
        put_text(json, property, generation.value(property));
    put_number(json, "commit", generation.value("commit"));
    put_number(json, "bytes", generation.value("bytes"));
    put(json, "proven", boolean(generation.value("proven") == "yes"));
    put(json, "pinned", boolean(generation.value("pinned") == "yes"));
    return json;
}

client::Instance generation(Desk &desk, const Caller &caller, const std::string &number)
{
    std::vector<std::string> properties = listed();
    properties.emplace_back("document");
    std::vector<client::Instance> found =
        select(desk, caller, {"generation", generation_in(number), {}}, properties);
    if (found.empty()) throw Problem{404, "not-found", "There is no generation of this number."};
    return std::move(found[0]);
}

client::Configuration configuration_of(const client::Instance &generation)
{
    const std::string &document = generation.value("document");
    if (document.empty()) {
        throw Problem{422, "refused",
                      "Generation " + generation.called() + " is " + generation.value("state")};
    }
    return client::parse_configuration(document, "the generation");
}

/* What a save would write now. */
client::Configuration running(Desk &desk, const Caller &caller, const DeviceSchema &schema)
{
    client::Request request = request_for(caller, client::Request::Kind::plain);
    for (const client::Class &klass : schema.schema.classes()) {
        if (!klass.persistent || !klass.superclass.empty()) continue;
        std::vector<std::string> properties;
        for (std::string &each : schema.schema.properties_of(klass.name)) {
            const client::Property *property = schema.schema.find_property(klass.name, each);
            if (property->persistent) properties.push_back(std::move(each));
        }
        if (!properties.empty()) request.select({klass.name, {}, {}}, properties);
    }
    client::Configuration configuration;
    if (request.empty()) return configuration;
    for (client::Outcome &outcome : ask(desk, request)) {
        if (outcome.rc != 0) throw problem_of(outcome.error);
        for (client::Instance &each : outcome.instances) {
            std::erase_if(each.values, [](const auto &value) { return value.second.empty(); });
            configuration.push_back(std::move(each));
        }
    }
    return configuration;
}

Json json_of(const std::vector<client::Difference> &differences, const DeviceSchema &schema)
{
    Json changes = list();
    const auto add = [&](const char *action, const client::Instance &named,
                         const client::Values &before, const client::Values &after) {
        append(changes, json_of_change(action, as_own_class(named, schema), before, after));
    };
    for (const client::Difference &each : differences) {
        if (each.before.size() == 1 && each.after.size() == 1) {
            add("updated", each.after[0], each.before[0].values, each.after[0].values);
            continue;
        }
        for (const client::Instance &gone : each.before)
            add("deleted", gone, gone.values, {});
        for (const client::Instance &came : each.after)
            add("inserted", came, {}, came.values);
    }
    return changes;
}

Answer diff(Desk &desk, const Caller &caller, const Request &request)
{
    const bool is_between_two = request.path.size() > 3;
    const auto schema = desk.schemas.of(desk.device, caller.user);
    const client::Configuration before =
        configuration_of(generation(desk, caller, request.path[1]));
    const client::Configuration after =
        is_between_two ? configuration_of(generation(desk, caller, request.path[3]))
                       : running(desk, caller, *schema);
    const Json json = object();
    put_number(json, "from", request.path[1]);
    put(json, "to", is_between_two ? number(std::atoll(request.path[3].c_str())) : null());
    put(json, "changes", json_of(client::compare(before, after, schema->schema), *schema));
    return answer_of(json);
}

Answer one(Desk &desk, const Caller &caller, const Request &request)
{
    const client::Instance found = generation(desk, caller, request.path[1]);
    const auto schema = desk.schemas.of(desk.device, caller.user);
    Json json = json_of(found);
    Json objects = list();
    if (!found.value("document").empty()) {
        for (const client::Instance &each : configuration_of(found))
            append(objects, json_of_object(as_own_class(each, *schema), *schema, {}));
    }
    put(json, "objects", std::move(objects));
    return answer_of(json);
}

} // namespace

Answer get_history(Desk &desk, const Caller &caller, const Request &request)
{
    if (request.path.size() == 2) return one(desk, caller, request);
    if (request.path.size() > 2) return diff(desk, caller, request);
    std::vector<client::Instance> found = select(desk, caller, {"generation", {}, {}}, listed());
    std::ranges::reverse(found);
    Json generations = list();
    for (const client::Instance &each : found)
        append(generations, json_of(each));
    const Json json = object();
    put(json, "generations", std::move(generations));
    return answer_of(json);
}

Answer post_rollback(Desk &desk, const Caller &caller, const Request &request)
{
    const Json json = body_of(request);
    Wish wish;
    read_options(json, {"trial", "join", "comment", "if-match", "explain"}, wish);
    if (!request.if_match.empty()) wish.commit = unquoted(request.if_match);
    generation(desk, caller, request.path[1]);
    client::Values values = {{"rollback", request.path[1]}};
    if (!wish.comment.empty() && !wish.explains) values.emplace_back("comment", wish.comment);
    wish.comment.clear();
    wish.changes = {{Wish::Change::Kind::update, {"history", {}, {}}, values, {}}};
    return carry_out(desk, caller, std::move(wish));
}

} // namespace vorn::gate
