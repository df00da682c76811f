/* SPDX-License-Identifier: MIT */
/*
 * The document is what is the same on every device, with the classes of this one put in: a path for
 * the objects of each, a schema of an object, and one of the values that a change may give it.
 */
#include "openapi.h"

#include <cstdlib>
#include <initializer_list>

#include "bounds.h"
#include "openapi_base.h"

namespace vorn::gate {

namespace {

Json string_schema()
{
    Json schema = object();
    put_text(schema, "type", "string");
    return schema;
}

Json one_word(std::string_view word)
{
    Json schema = string_schema();
    Json words = list();
    append(words, text(word));
    put(schema, "enum", std::move(words));
    return schema;
}

Json reference(const std::string &name)
{
    Json schema = object();
    put_text(schema, "$ref", "#/components/schemas/" + name);
    return schema;
}

/* Numbers as a pattern: "^(0*6|-0*1)$". */
std::string pattern_of_numerals(const json_t *words)
{
    std::string pattern = "^(";
    for (std::size_t i = 0; i < json_array_size(words); i++) {
        std::string_view word = text_of(json_array_get(words, i));
        const bool is_negative = word.starts_with('-');
        if (is_negative) word.remove_prefix(1);
        pattern += (i > 0 ? "|" : "") + std::string(is_negative ? "-0*" : "0*") + std::string(word);
    }
    return pattern + ")$";
}

/* What a program can tell of an alternative; the rest is in "x-vorn-accepts". */
Json schema_of_alternative(const json_t *alternative)
{
    Json schema = string_schema();
    const std::string_view kind = text_of(json_object_get(alternative, "kind"));
    const bool is_list = json_is_true(json_object_get(alternative, "list"));
    if (is_list) return schema;
    if (kind == "words") {
        json_t *words = json_object_get(alternative, "words");
        if (json_is_true(json_object_get(alternative, "numerals"))) {
            put_text(schema, "pattern", pattern_of_numerals(words));
        } else if (json_array_size(words) > 0) {
            put(schema, "enum", Json(json_incref(words)));
        }
    } else if (kind == "number") {
        put_text(schema, "pattern", "^-?[0-9]+$");
    } else if (kind == "real") {
        put_text(schema, "pattern", "^-?[0-9]+(\\.[0-9]+)?$");
    } else if (kind == "text" || kind == "characters") {
        if (json_t *most = json_object_get(alternative, "max"); json_is_integer(most))
            put(schema, "maxLength", Json(json_incref(most)));
        if (json_t *least = json_object_get(alternative, "min"); json_is_integer(least))
            put(schema, "minLength", Json(json_incref(least)));
    }
    return schema;
}

/* Whether an empty text, which takes a value away, may be written is the device's to say. */
Json schema_of_property(const json_t *property)
{
    Json schema = object();
    json_t *accepts = json_object_get(property, "accepts");
    const std::size_t count = json_array_size(accepts);
    Json alternatives = list();
    for (std::size_t i = 0; i < count; i++)
        append(alternatives, schema_of_alternative(json_array_get(accepts, i)));
    if (count == 0) {
        schema = string_schema();
    } else {
        Json empty = string_schema();
        put(empty, "maxLength", number(0));
        append(alternatives, std::move(empty));
        put(schema, "anyOf", std::move(alternatives));
        put(schema, "x-vorn-accepts", Json(json_incref(accepts)));
    }
    const auto told = [&](const char *what) { return text_of(json_object_get(property, what)); };
    const std::string_view description = told("help").empty() ? told("valid") : told("help");
    if (!description.empty()) put_text(schema, "description", description);
    if (!told("label").empty()) put_text(schema, "title", told("label"));
    if (!json_is_true(json_object_get(property, "writable")))
        put(schema, "readOnly", boolean(true));
    return schema;
}

/* One that has no other members. */
Json closed_object(Json properties, std::initializer_list<const char *> needed)
{
    Json result = object();
    put_text(result, "type", "object");
    put(result, "properties", std::move(properties));
    put(result, "additionalProperties", boolean(false));
    if (needed.size() == 0) return result;
    Json required = list();
    for (const char *each : needed)
        append(required, text(each));
    put(result, "required", std::move(required));
    return result;
}

/* Of a value that was read anything may come: files are older than what is valid today. */
Json values_of(const json_t *told, bool for_writing)
{
    Json properties = object();
    const json_t *all = json_object_get(told, "properties");
    for (std::size_t i = 0; i < json_array_size(all); i++) {
        const json_t *each = json_array_get(all, i);
        if (!json_is_true(json_object_get(each, for_writing ? "writable" : "readable"))) continue;
        const std::string name(text_of(json_object_get(each, "name")));
        put(properties, name.c_str(), for_writing ? schema_of_property(each) : string_schema());
    }
    return closed_object(std::move(properties), {});
}

Json object_schema(const json_t *told, const client::Class &klass)
{
    Json properties = object();
    put(properties, "class", one_word(klass.name));
    if (klass.is_named()) put(properties, "name", string_schema());
    put(properties, "etag", string_schema());
    put(properties, "properties", values_of(told, false));
    return closed_object(std::move(properties), {"class", "properties"});
}

Json change_schema(const json_t *told, const client::Class &klass)
{
    Json properties = object();
    Json ops = string_schema();
    Json words = list();
    for (const char *each : {"update", "insert", "delete"})
        append(words, text(each));
    put(ops, "enum", std::move(words));
    put(properties, "op", std::move(ops));
    put(properties, "class", one_word(klass.name));
    for (const char *each : {"name", "where", "if-match"})
        put(properties, each, string_schema());
    put(properties, "properties", values_of(told, true));
    return closed_object(std::move(properties), {"op", "class"});
}

/* An object of an abstract class is shown as one of its own class. */
Json shown_as(const DeviceSchema &schema, const client::Class &klass)
{
    if (!klass.abstract) return reference("object-" + klass.name);
    Json classes = list();
    for (const std::string &each : schema.schema.subclasses_of(klass.name))
        append(classes, reference("object-" + each));
    Json result = object();
    if (json_array_size(classes.get()) == 0) {
        put_text(result, "type", "object");
    } else {
        put(result, "oneOf", std::move(classes));
    }
    return result;
}

Json objects_schema(Json shown)
{
    Json objects = object();
    put_text(objects, "type", "array");
    put(objects, "items", std::move(shown));
    Json properties = object();
    put(properties, "commit", string_schema());
    put(properties, "objects", std::move(objects));
    Json required = list();
    append(required, text("commit"));
    append(required, text("objects"));
    Json result = object();
    put_text(result, "type", "object");
    put(result, "properties", std::move(properties));
    put(result, "required", std::move(required));
    return result;
}

Json parameter(const char *where, const char *name)
{
    Json result = object();
    put_text(result, "name", name);
    put_text(result, "in", where);
    put(result, "required", boolean(std::string_view(where) == "path"));
    put(result, "schema", string_schema());
    return result;
}

Json path_of(const client::Class &klass, bool has_name)
{
    Json media = object();
    Json content = object();
    Json ok = object();
    put(media, "schema", reference("objects-" + klass.name));
    put(content, "application/json", std::move(media));
    put_text(ok, "description", "The objects.");
    put(ok, "content", std::move(content));
    Json problem = object();
    put_text(problem, "$ref", "#/components/responses/problem");
    Json responses = object();
    put(responses, "200", std::move(ok));
    put(responses, "default", std::move(problem));
    Json parameters = list();
    if (has_name) append(parameters, parameter("path", "name"));
    append(parameters, parameter("query", "properties"));
    append(parameters, parameter("query", "where"));
    Json get = object();
    put_text(get, "operationId", (has_name ? "object-of-" : "objects-of-") + klass.name);
    put(get, "parameters", std::move(parameters));
    put(get, "responses", std::move(responses));
    Json path = object();
    put(path, "get", std::move(get));
    return path;
}

/* `told` is what GET /schema has of the class. */
void add_class(const DeviceSchema &schema, const client::Class &klass, const json_t *told,
               json_t *paths, json_t *schemas, const Json &changes)
{
    const auto set = [](json_t *json, const std::string &name, Json value) {
        if (json_object_set_new(json, name.c_str(), value.release()) != 0) throw std::bad_alloc();
    };
    set(paths, "/objects/" + klass.name, path_of(klass, false));
    if (klass.is_named()) set(paths, "/objects/" + klass.name + "/{name}", path_of(klass, true));
    set(schemas, "objects-" + klass.name, objects_schema(shown_as(schema, klass)));
    if (klass.abstract) return;
    set(schemas, "object-" + klass.name, object_schema(told, klass));
    set(schemas, "change-" + klass.name, change_schema(told, klass));
    append(changes, reference("change-" + klass.name));
}

} // namespace

Answer get_openapi(Desk &desk, const Caller &caller, const Request &)
{
    const auto schema = desk.schemas.of(desk.device, caller.user);
    const Json document = parse_json(openapi_base);
    const Json whole = parse_json(schema->told);
    if (!document || !whole) throw Problem{500, "failed", "Memory ran out."};
    json_t *paths = json_object_get(document.get(), "paths");
    json_t *schemas = json_object_get(json_object_get(document.get(), "components"), "schemas");
    Json changes = list();
    const json_t *told = json_object_get(whole.get(), "classes");
    for (std::size_t i = 0; i < json_array_size(told); i++) {
        const json_t *each = json_array_get(told, i);
        const client::Class *klass = schema->schema.find(text_of(json_object_get(each, "name")));
        if (klass) add_class(*schema, *klass, each, paths, schemas, changes);
    }
    Json change = object();
    put(change, "oneOf", std::move(changes));
    if (json_object_set_new(schemas, "change", change.release()) != 0) throw std::bad_alloc();
    return answer_of(document);
}

} // namespace vorn::gate
