/* SPDX-License-Identifier: MIT */
/* Answers. No header here is made of what a client wrote. */
#include "answer.h"

#include <iterator>
#include <string_view>

namespace vorn::gate {

namespace {

struct Kind {
    std::string_view type;
    const char *title;
};

constexpr Kind kinds[] = {
    {"bad-request", "The request can't be understood."},
    {"not-logged-in", "Nobody is logged in."},
    {"login-refused", "User and password do not belong together."},
    {"csrf", "The request does not come from the page that logged in."},
    {"access-denied", "This user may not do that."},
    {"not-found", "There is no such thing."},
    {"method", "This can't be done here."},
    {"trial", "A change on trial stands in the way."},
    {"changed", "Somebody has changed it since."},
    {"too-large", "The body is too large."},
    {"media-type", "The body has to be JSON."},
    {"refused", "The device refuses this."},
    {"paused", "Too many tries: wait a moment."},
    {"header-too-large", "The headers are too large."},
    {"failed", "The gate could not do it."},
    {"busy", "Too much is asked for at once."},
    {"no-daemon", "The device's daemon does not answer."},
};

const char *title_of(std::string_view type)
{
    for (const Kind &each : kinds)
        if (each.type == type) return each.title;
    return "Something went wrong.";
}

struct Reason {
    int status;
    const char *text;
};

constexpr Reason reasons[] = {
    {200, "OK"},
    {201, "Created"},
    {204, "No Content"},
    {304, "Not Modified"},
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {409, "Conflict"},
    {412, "Precondition Failed"},
    {413, "Content Too Large"},
    {415, "Unsupported Media Type"},
    {422, "Unprocessable Content"},
    {429, "Too Many Requests"},
    {431, "Request Header Fields Too Large"},
    {500, "Internal Server Error"},
    {503, "Service Unavailable"},
};

const char *reason_of(int status)
{
    for (const Reason &each : reasons)
        if (each.status == status) return each.text;
    return "Unknown";
}

void put_known(const Json &object, const char *name, const std::string &characters)
{
    if (!characters.empty()) put_text(object, name, characters);
}

std::string head_of(const Answer &answer)
{
    std::string head = "Status: " + std::to_string(answer.status) + " " + reason_of(answer.status);
    if (!answer.type.empty()) head += "\r\nContent-Type: " + answer.type;
    bool is_kept = false;
    for (const auto &[name, value] : answer.headers) {
        is_kept = is_kept || name == "ETag";
        head += "\r\n" + name + ": " + value;
    }
    /* What one user sees is kept for nobody else, and asked for again each time. */
    head += is_kept ? "\r\nCache-Control: private, no-cache" : "\r\nCache-Control: no-store";
    return head;
}

} // namespace

Answer answer_of(const Json &value, int status)
{
    return {status, "application/json", written(value)};
}

Json json_of(const Wrong &wrong)
{
    Json json = object();
    put_known(json, "class", wrong.class_name);
    put_known(json, "name", wrong.name);
    put_known(json, "property", wrong.property);
    if (wrong.change >= 0) put(json, "change", number(wrong.change));
    put_text(json, "detail", wrong.detail);
    return json;
}

Answer answer_of(const Problem &problem)
{
    const Json json = object();
    put_text(json, "type", std::string("urn:vorn:") + problem.type);
    put_text(json, "title", title_of(problem.type));
    put(json, "status", number(problem.status));
    put_text(json, "detail", problem.detail);
    if (!problem.errors.empty()) {
        Json errors = list();
        for (const Wrong &each : problem.errors)
            append(errors, json_of(each));
        put(json, "errors", std::move(errors));
    }
    return {problem.status, "application/problem+json", written(json), problem.headers};
}

std::string bytes_of(const Answer &answer)
{
    std::string bytes = head_of(answer);
    if (answer.status != 204 && answer.status != 304)
        bytes += "\r\nContent-Length: " + std::to_string(answer.body.size());
    return bytes + "\r\n\r\n" + answer.body;
}

std::string head_of_stream(const Answer &answer)
{
    return head_of(answer) + "\r\n\r\n" + answer.body;
}

} // namespace vorn::gate
