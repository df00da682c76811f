/* SPDX-License-Identifier: MIT */
#include "token_maker.h"

#include "changes.h"
#include "sha256.h"

namespace vorn::gate {

namespace {

constexpr std::size_t bytes_of_token = 32;

std::string member(const Json &json, const char *name, const std::string &otherwise)
{
    const json_t *value = json_object_get(json.get(), name);
    if (!value && !otherwise.empty()) return otherwise;
    const std::string text(text_of(value));
    if (text.empty() || !is_plain_text(text))
        throw Problem{400, "bad-request", "\"" + std::string(name) + "\" is no such text."};
    return text;
}

} // namespace

Answer post_token(Desk &desk, const Caller &caller, const Request &request)
{
    const Json json = body_of(request);
    const std::string name = member(json, "name", "");
    const std::string user = member(json, "user", caller.user);
    const std::string token = random_digits(bytes_of_token);
    const auto schema = desk.schemas.of(desk.device, caller.user);
    if (!schema->schema.find("api-token"))
        throw Problem{422, "refused", "This device has no tokens: the plugin is missing."};
    Wish wish;
    wish.changes = {{Wish::Change::Kind::insert,
                     {"api-token", name, {}},
                     {{"user", user}, {"digest", sha256(token)}},
                     {}}};
    carry_out(desk, caller, std::move(wish));
    const Json told = object();
    put_text(told, "name", name);
    put_text(told, "user", user);
    put_text(told, "token", token);
    return answer_of(told, 201);
}

} // namespace vorn::gate
