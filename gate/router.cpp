/* SPDX-License-Identifier: MIT */
/* Who asks for what: the one place where a request gets its caller and its handler. */
#include "router.h"

#include <algorithm>
#include <chrono>
#include <string_view>

#include <failure.h>

#include "bounds.h"
#include "changes.h"
#include "commits.h"
#include "history.h"
#include "metrics.h"
#include "objects.h"
#include "openapi.h"
#include "sha256.h"
#include "token_maker.h"
#include "trials.h"

namespace vorn::gate {

namespace {

constexpr char cookie_name[] = "vorn-session";

using Handler = Answer (*)(Desk &, const Caller &, const Request &);

Answer get_schema(Desk &desk, const Caller &caller, const Request &request)
{
    const auto schema = desk.schemas.of(desk.device, caller.user);
    const std::string tag = "s-" + schema->id;
    if (unquoted(request.if_none_match) == tag) return {304, "", "", {{"ETag", '"' + tag + '"'}}};
    return {200, "application/json", schema->told, {{"ETag", '"' + tag + '"'}}};
}

struct Route {
    const char *method;
    const char *path; /* a "*" is any one segment */
    Handler handler;
};

constexpr Route routes[] = {
    {"GET", "schema", get_schema},
    {"GET", "objects/*", get_objects},
    {"GET", "objects/*/*", get_objects},
    {"POST", "changes", post_changes},
    {"GET", "trial", get_trial},
    {"POST", "trial/confirm", confirm_trial},
    {"POST", "trial/revert", revert_trial},
    {"GET", "history", get_history},
    {"GET", "history/*", get_history},
    {"GET", "history/*/diff", get_history},
    {"GET", "history/*/diff/*", get_history},
    {"POST", "history/*/rollback", post_rollback},
    {"GET", "commits", get_commits},
    {"GET", "status", get_status},
    {"GET", "metrics", get_metrics},
    {"GET", "openapi.json", get_openapi},
    {"POST", "tokens", post_token},
    {"GET", "events", nullptr},
};

bool is_at(const Route &route, const std::vector<std::string> &path)
{
    std::string_view rest = route.path;
    for (const std::string &segment : path) {
        if (rest.empty()) return false;
        const std::size_t end = std::min(rest.find('/'), rest.size());
        const std::string_view wanted = rest.substr(0, end);
        if (wanted != "*" && wanted != segment) return false;
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return rest.empty() && !path.empty();
}

const Route &route_of(const Request &request)
{
    std::string allowed;
    for (const Route &each : routes) {
        if (!is_at(each, request.path)) continue;
        if (request.method == each.method) return each;
        allowed += (allowed.empty() ? "" : ", ") + std::string(each.method);
    }
    if (allowed.empty()) throw Problem{404, "not-found", "There is nothing at this address."};
    throw Problem{405, "method", "Allowed is " + allowed + ".", {}, {{"Allow", allowed}}};
}

Problem nobody()
{
    return {401, "not-logged-in", "Log in, or send a token."};
}

Sessions::Session session_of(House &house, const Request &request)
{
    const auto session = house.sessions.use(cookie_in(request.cookie, cookie_name), now_s());
    if (!session) throw nobody();
    if (request.method != "GET" && !is_same_secret(session->csrf, request.csrf))
        throw Problem{403, "csrf", "The header X-CSRF-Token is missing or not the session's."};
    return *session;
}

Caller caller_of(House &house, const Request &request)
{
    if (request.authorization.empty()) {
        const Sessions::Session session = session_of(house, request);
        return {session.user, session.cookie, session.cookie};
    }
    const auto token = house.tokens.find(bearer_in(request.authorization));
    if (!token) throw nobody();
    return {token->user, "", token->digest};
}

Answer answer_of_session(const House &house, const Sessions::Session &session)
{
    const Json json = object();
    put_text(json, "user", session.user);
    put_text(json, "csrf", session.csrf);
    put(json, "expires", number(house.sessions.lifetime()));
    return answer_of(json);
}

std::string cookie_of(const std::string &value, const char *more)
{
    return std::string(cookie_name) + "=" + value +
           "; Path=/api/; HttpOnly; Secure; SameSite=Strict" + more;
}

std::string text_of_login(const Json &json, const char *name, std::size_t longest)
{
    const json_t *value = json_object_get(json.get(), name);
    std::string text(text_of(value));
    if (!json_is_string(value) || text.empty() || text.size() > longest || !is_plain_text(text))
        throw Problem{400, "bad-request", "\"" + std::string(name) + "\" is no such text."};
    return text;
}

Answer log_in(House &house, const Request &request)
{
    const Json json = body_of(request);
    const std::string user = text_of_login(json, "user", longest_user);
    const std::string password = text_of_login(json, "password", longest_password);
    const Verdict verdict = house.judge(request.address, user, password);
    if (verdict.kind == Verdict::Kind::no_helper)
        throw Problem{503, "busy", "Passwords can't be judged now.", {}, {{"Retry-After", "5"}}};
    if (verdict.kind == Verdict::Kind::wait) {
        throw Problem{429,
                      "paused",
                      "Too many tries came from there.",
                      {},
                      {{"Retry-After", std::to_string(std::max(verdict.seconds, 1))}}};
    }
    if (verdict.kind != Verdict::Kind::right)
        throw Problem{401, "login-refused", "The device does not know them together."};
    const Sessions::Session session = house.sessions.open(user, now_s());
    Answer answer = answer_of_session(house, session);
    answer.headers.emplace_back("Set-Cookie", cookie_of(session.cookie, ""));
    return answer;
}

Answer serve_session(House &house, const Request &request)
{
    if (request.method == "POST") return log_in(house, request);
    if (request.method == "GET") return answer_of_session(house, session_of(house, request));
    if (request.method != "DELETE")
        throw Problem{
            405, "method", "Allowed is GET, POST, DELETE.", {}, {{"Allow", "GET, POST, DELETE"}}};
    house.sessions.close(session_of(house, request).cookie);
    return {204, "", "", {{"Set-Cookie", cookie_of("", "; Max-Age=0")}}};
}

Problem problem_of_failure(const client::Failure &failure)
{
    switch (failure.status()) {
    case client::not_there:
        return {503, "no-daemon", failure.what(), {}, {{"Retry-After", "2"}}};
    case client::misused:
        return {400, "bad-request", failure.what()};
    default:
        return {500, "failed", failure.what()};
    }
}

Served dispatch(House &house, client::Device &device, Request &request)
{
    if (!understand(request)) throw Problem{404, "not-found", "There is nothing at this address."};
    if (request.path.size() == 1 && request.path[0] == "session")
        return {serve_session(house, request)};
    const Caller caller = caller_of(house, request);
    const Route &route = route_of(request);
    Desk desk = {device, house.schemas, house.answers, house.stillness};
    if (route.handler) {
        const bool has_parameters = std::string_view(route.path).starts_with("objects");
        if (!has_parameters && !request.parameters.empty())
            throw Problem{400, "bad-request", "There are no parameters here."};
        return {route.handler(desk, caller, request)};
    }
    Served served = {{}, StreamStart()};
    served.stream->ticket = house.tickets.enter();
    if (!served.stream->ticket)
        throw Problem{503, "busy", "Too many event streams.", {}, {{"Retry-After", "10"}}};
    served.answer = begin_stream(desk, caller, request, *served.stream);
    return served;
}

} // namespace

std::int64_t now_s()
{
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

bool is_login(const Request &request)
{
    return request.method == "POST" && request.uri.starts_with("/api/v1/session");
}

Served serve(House &house, client::Device &device, Request &request)
try {
    Served served = dispatch(house, device, request);
    if (served.answer.body.size() > longest_answer)
        throw Problem{500, "failed", "The answer would be longer than 16 MiB."};
    return served;
} catch (const Problem &problem) {
    return {answer_of(problem)};
} catch (const client::Failure &failure) {
    return {answer_of(problem_of_failure(failure))};
} catch (const std::bad_alloc &) {
    return {answer_of(Problem{500, "failed", "Memory ran out."})};
}

} // namespace vorn::gate
