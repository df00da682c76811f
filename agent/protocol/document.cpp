/* SPDX-License-Identifier: MIT */
/*
 * A member that this version does not know may be what the whole document depends on: such a
 * document is refused as one that lacks what it needs.
 */
#include "document.h"

#include <algorithm>
#include <initializer_list>

#include "bounds.h"
#include "json.h"
#include "signature.h"

namespace vorn::fleet {

namespace {

Refusal malformed(std::string detail)
{
    return {Reason::malformed, std::move(detail)};
}

Refusal malformed_member(std::string_view member, const char *what)
{
    return malformed("\"" + std::string(member) + "\" has to be " + what);
}

Refusal expect_only(const json_t *object, std::initializer_list<std::string_view> known,
                    const char *place)
{
    if (!json_is_object(object)) return malformed(std::string(place) + " has to be an object");
    const char *name = nullptr;
    json_t *value = nullptr;
    json_object_foreach(const_cast<json_t *>(object), name, value)
    {
        if (std::ranges::find(known, name) == known.end())
            return malformed(std::string(place) + " has no member \"" + name + "\"");
    }
    return {};
}

Refusal read_number(const json_t *object, const char *name, std::int64_t from, std::int64_t to,
                    std::int64_t &number)
{
    const json_t *value = json_object_get(object, name);
    if (!value || !json_is_integer(value) || json_integer_value(value) < from ||
        json_integer_value(value) > to)
        return malformed_member(name, "a whole number within its bounds");
    number = json_integer_value(value);
    return {};
}

/* One that need not be there. */
Refusal read_choice(const json_t *object, const char *name, std::int64_t from, std::int64_t to,
                    std::int64_t &number)
{
    return json_object_get(object, name) ? read_number(object, name, from, to, number) : Refusal();
}

Refusal read_text(const json_t *object, const char *name, std::size_t longest, std::string &text)
{
    const json_t *value = json_object_get(object, name);
    if (!json_is_string(value) || json_string_length(value) > longest)
        return malformed_member(name, "a text within its bounds");
    text = text_of(value);
    return {};
}

Refusal read_word(const json_t *object, const char *name,
                  std::initializer_list<std::string_view> words, std::size_t &rank)
{
    const json_t *value = json_object_get(object, name);
    if (!value) return {};
    const auto found = std::ranges::find(words, text_of(value));
    if (!json_is_string(value) || found == words.end())
        return malformed_member(name, "one of its words");
    rank = static_cast<std::size_t>(found - words.begin());
    return {};
}

Refusal read_item(const json_t *json, Item &item)
{
    if (Refusal refusal = expect_only(json, {"name", "values"}, "an instance")) return refusal;
    if (const json_t *name = json_object_get(json, "name")) {
        if (!json_is_string(name)) return malformed_member("name", "a text");
        item.name = text_of(name);
    }
    const json_t *values = json_object_get(json, "values");
    if (!json_is_object(values)) return malformed_member("values", "an object");
    const char *name = nullptr;
    json_t *value = nullptr;
    json_object_foreach(const_cast<json_t *>(values), name, value)
    {
        if (!json_is_string(value)) return malformed_member(name, "a text");
        item.values.emplace(name, text_of(value));
    }
    return {};
}

Refusal read_items(const json_t *list, std::vector<Item> &items)
{
    if (!json_is_array(list)) return malformed("instances have to be a list");
    std::size_t rank = 0;
    json_t *each = nullptr;
    json_array_foreach(const_cast<json_t *>(list), rank, each)
    {
        if (Refusal refusal = read_item(each, items.emplace_back())) return refusal;
    }
    return {};
}

Refusal read_none(const json_t *list, std::vector<std::string> &none)
{
    if (!json_is_array(list)) return malformed_member("none", "a list");
    std::size_t rank = 0;
    json_t *each = nullptr;
    json_array_foreach(const_cast<json_t *>(list), rank, each)
    {
        if (!json_is_string(each)) return malformed_member("none", "a list of names");
        none.emplace_back(text_of(each));
    }
    return {};
}

Refusal read_part(const json_t *json, Part &part)
{
    if (Refusal refusal = expect_only(json, {"all", "some", "none"}, "a class")) return refusal;
    const json_t *all = json_object_get(json, "all");
    const json_t *some = json_object_get(json, "some");
    const json_t *none = json_object_get(json, "none");
    if ((all != nullptr) == (some || none))
        return malformed("a class has either \"all\", or \"some\" and \"none\"");
    part.is_whole = all != nullptr;
    if (all || some) {
        if (Refusal refusal = read_items(all ? all : some, part.items)) return refusal;
    }
    return none ? read_none(none, part.none) : Refusal();
}

Refusal read_content(const json_t *json, Content &content)
{
    if (!json_is_object(json)) return malformed_member("configuration", "an object");
    const char *name = nullptr;
    json_t *value = nullptr;
    json_object_foreach(const_cast<json_t *>(json), name, value)
    {
        if (Refusal refusal = read_part(value, content[name])) return refusal;
    }
    return {};
}

Json parsed(std::string_view document)
{
    return Json(json_loadb(document.data(), document.size(), JSON_REJECT_DUPLICATES, nullptr));
}

Refusal read_identity(const json_t *json, Identity &identity)
{
    std::int64_t version = 0;
    if (Refusal refusal = read_number(json, "version", 1, 1, version)) return refusal;
    if (Refusal refusal = read_text(json, "tenant", longest_identifier, identity.tenant))
        return refusal;
    return read_text(json, "device", longest_identifier, identity.device);
}

Refusal expect_same(const Identity &named, const Identity &own)
{
    if (named.tenant == own.tenant && named.device == own.device) return {};
    return {Reason::other_device, "it is for " + named.tenant + "/" + named.device};
}

Refusal read_options(const json_t *json, Desired &desired)
{
    std::size_t connection = 0;
    std::size_t local = 0;
    const std::int64_t end_of_time = largest_generation;
    for (const Refusal &refusal :
         {read_text(json, "by", longest_reason_given, desired.by),
          read_text(json, "why", longest_reason_given, desired.why),
          json_object_get(json, "schema") ? read_text(json, "schema", 16, desired.schema)
                                          : Refusal(),
          read_choice(json, "not-before", 1, end_of_time, desired.not_before),
          read_choice(json, "not-after", 1, end_of_time, desired.not_after),
          read_number(json, "trial", shortest_trial, longest_trial, desired.trial),
          read_choice(json, "attempts", 1, most_attempts, desired.attempts),
          read_word(json, "connection", {"new", "kept"}, connection),
          read_word(json, "local", {"report", "refuse", "overwrite"}, local),
          read_text(json, "hash", 64, desired.hash)}) {
        if (refusal) return refusal;
    }
    desired.connects_anew = connection == 0;
    desired.local = static_cast<Local>(local);
    return {};
}

Refusal read_watch(const json_t *json, Watch &watch)
{
    const json_t *list = json_object_get(json, "watch");
    if (!json_is_array(list) || json_array_size(list) == 0)
        return malformed_member("watch", "a list of classes");
    std::size_t rank = 0;
    json_t *each = nullptr;
    json_array_foreach(const_cast<json_t *>(list), rank, each)
    {
        std::optional<Selection> selection = Selection::of(text_of(each));
        if (!selection) return malformed_member("watch", "a list of CLASS or CLASS.PROPERTY");
        watch.what.push_back(std::move(*selection));
    }
    if (Refusal refusal = read_number(json, "every", 1, longest_interval, watch.every_s))
        return refusal;
    return read_number(json, "until", 1, largest_generation, watch.until);
}

} // namespace

bool is_identifier(std::string_view text)
{
    constexpr std::string_view plain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-";
    return !text.empty() && text.size() <= longest_identifier &&
           text.find_first_not_of(plain) == std::string_view::npos;
}

Refusal read_desired(std::string_view document, const Identity &identity, Desired &desired)
{
    const Json json = parsed(document);
    if (!json) return malformed("it is no JSON");
    if (Refusal refusal = expect_only(json.get(),
                                      {"version", "tenant", "device", "generation", "by", "why",
                                       "schema", "not-before", "not-after", "trial", "attempts",
                                       "connection", "local", "hash", "configuration"},
                                      "a document"))
        return refusal;
    Identity named;
    if (Refusal refusal = read_identity(json.get(), named)) return refusal;
    if (Refusal refusal =
            read_number(json.get(), "generation", 1, largest_generation, desired.generation))
        return refusal;
    desired.digest = sha256(document);
    if (Refusal refusal = read_options(json.get(), desired)) return refusal;
    if (Refusal refusal =
            read_content(json_object_get(json.get(), "configuration"), desired.content))
        return refusal;
    if (Refusal refusal = expect_same(named, identity)) return refusal;
    if (hash_of(desired.content) != desired.hash)
        return {Reason::damaged, "the hash is not that of the configuration"};
    return {};
}

Refusal read_question(std::string_view document, const Identity &identity, Question &question)
{
    const Json json = parsed(document);
    if (!json) return malformed("it is no JSON");
    if (Refusal refusal = expect_only(
            json.get(),
            {"version", "tenant", "device", "not-after", "lsql", "watch", "every", "until"},
            "a request"))
        return refusal;
    Identity named;
    const bool is_watch = json_object_get(json.get(), "watch") != nullptr;
    for (const Refusal &refusal :
         {read_identity(json.get(), named),
          read_number(json.get(), "not-after", 1, largest_generation, question.not_after),
          is_watch ? read_watch(json.get(), question.watch)
                   : read_text(json.get(), "lsql", longest_request, question.lsql)}) {
        if (refusal) return refusal;
    }
    const std::size_t expected = is_watch ? 7 : 5;
    if (json_object_size(json.get()) != expected)
        return malformed("a request has either \"lsql\", or \"watch\", \"every\" and \"until\"");
    return expect_same(named, identity);
}

} // namespace vorn::fleet
