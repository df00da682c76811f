/* SPDX-License-Identifier: MIT */
/*
 * Requests to the gate, one after the other, before a populated board. Lines of three hyphens stand
 * between them. A piece that begins with "!" is what comes at the socket, byte by byte; any other
 * one is "METHOD ADDRESS", headers "NAME: VALUE", an empty line and the body, with the token that
 * is known unless it begins with "?". Whoever has none is told nothing; who only reads changes
 * nothing; an answer is one whole answer with no line that it should not have.
 */
#include "config/config_state.h"

#include <cstdlib>
#include <cstring>

#include <vorn-client.h>

#include "fuzz/board.h"
#include "fuzz/consistency.h"
#include "fuzz/request.h"
#include "fuzz/target.h"
#include "gate/router.h"
#include "gate/scgi.h"
#include "gate/sha256.h"

namespace {

using namespace vorn::fuzz;
using vorn::gate::Arrival;

constexpr char token[] = "the token";
constexpr char password[] = "the password";

std::string yes_or_no(const char *name, bool value)
{
    return std::string("<") + name + (value ? ">yes</" : ">no</") + name + ">";
}

std::string type_of(int type)
{
    constexpr const char *names[] = {"singleton", "anonymous", "unique-named", "group-named"};
    constexpr int types[] = {VORN_CLASS_SINGLETON, VORN_CLASS_ANONYMOUS, VORN_CLASS_UNIQUE_NAMED,
                             VORN_CLASS_GROUP_NAMED};
    for (int i = 0; i < 4; i++)
        if (types[i] == type) return names[i];
    return "";
}

std::string told_class(const ClassPlan &plan)
{
    return "<schema-class name=\"" + plan.name + "\"><type>" + type_of(plan.type) + "</type>" +
           yes_or_no("persistent", plan.saved) + yes_or_no("abstract", !plan.identifier.empty()) +
           "<superclass>" + plan.superclass + "</superclass><subclass-identifier>" +
           plan.identifier + "</subclass-identifier></schema-class>";
}

std::string told_property(const std::string &class_name, const PropertyPlan &plan)
{
    return "<schema-property name=\"" + class_name + "\"><property>" + plan.name + "</property>" +
           yes_or_no("readable", true) + yes_or_no("writable", plan.writable) +
           yes_or_no("required", plan.required) + yes_or_no("persistent", plan.saved) +
           "</schema-property>";
}

/* What the plugin schema would tell of the board. */
std::string told_schema()
{
    std::string classes;
    std::string properties;
    for (const ClassPlan &plan : class_plans()) {
        classes += told_class(plan);
        for (const ClassPlan &family : class_plans()) {
            if (family.name != plan.superclass) continue;
            properties += told_property(plan.name, {.name = family.identifier});
            for (const PropertyPlan &each : family.properties)
                properties += told_property(plan.name, each);
        }
        if (!plan.identifier.empty())
            properties += told_property(plan.name, {.name = plan.identifier});
        for (const PropertyPlan &each : plan.properties)
            properties += told_property(plan.name, each);
    }
    return "<lsql_result><dataset>" + classes +
           "</dataset><rc>0</rc><counter>1</counter><dataset>" + properties +
           "</dataset><rc>0</rc><counter>1</counter></lsql_result>";
}

/* One header with its end, of the names that the web server would make of it. */
std::string header(std::string_view name, std::string_view value)
{
    return std::string(name) + '\0' + std::string(value) + '\0';
}

std::string_view take_line(std::string_view &rest)
{
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return line;
}

std::string framed(std::string_view piece, bool has_token)
{
    std::string_view rest = piece;
    std::string_view first = take_line(rest);
    const std::size_t blank = std::min(first.find(' '), first.size());
    std::string head = header("SCGI", "1") + header("REQUEST_METHOD", first.substr(0, blank));
    first.remove_prefix(std::min(blank + 1, first.size()));
    head += header("REQUEST_URI", first);
    for (std::string_view line; !(line = take_line(rest)).empty();) {
        const std::size_t colon = std::min(line.find(": "), line.size());
        const std::string_view name = line.substr(0, colon);
        if (name == "HTTP_AUTHORIZATION") continue;
        head += header(name, line.substr(std::min(colon + 2, line.size())));
    }
    if (has_token) head += header("HTTP_AUTHORIZATION", std::string("Bearer ") + token);
    head = header("CONTENT_LENGTH", std::to_string(rest.size())) + head;
    return std::to_string(head.size()) + ":" + head + "," + std::string(rest);
}

/* The house of the gate, with one token in a file of its own. */
struct Gate {
    Gate()
    {
        char path[] = "/tmp/gate-fuzz-XXXXXX";
        const int file = mkstemp(path);
        const std::string line = vorn::gate::sha256(token) + " anna t\n";
        require(file >= 0 &&
                    write(file, line.data(), line.size()) == static_cast<ssize_t>(line.size()),
                "a file can be written");
        close(file);
        using vorn::gate::Verdict;
        house.reset(new vorn::gate::House{
            vorn::gate::Sessions(60),
            vorn::gate::Tokens(path),
            {},
            {},
            {},
            {},
            [](const std::string &, const std::string &, const std::string &tried) {
                return Verdict{tried == password ? Verdict::Kind::right : Verdict::Kind::wrong, 0};
            }});
        require(house->tokens.find(token).has_value(), "the token is known");
        unlink(path);
    }

    std::unique_ptr<vorn::gate::House> house;
};

void check_head(const std::string &bytes)
{
    std::string_view head = bytes;
    head = head.substr(0, head.find("\r\n\r\n"));
    require(head.starts_with("Status: "), "an answer begins with its status");
    require(head.find('\0') == std::string_view::npos, "a header is text");
    for (std::size_t at = 0; at < head.size();) {
        const std::size_t end = std::min(head.find("\r\n", at), head.size());
        const std::string_view line = head.substr(at, end - at);
        require(line.find(": ") != std::string_view::npos, "each line is a header");
        require(line.find('\r') == std::string_view::npos &&
                    line.find('\n') == std::string_view::npos,
                "a header is one line");
        require(!line.starts_with("Set-Cookie") || line.find("HttpOnly") != std::string_view::npos,
                "a cookie is the gate's own");
        at = end + 2;
    }
}

void check_body(const vorn::gate::Answer &answer)
{
    if (answer.type.find("json") == std::string::npos) return;
    const vorn::gate::Json json(json_loadb(answer.body.data(), answer.body.size(), 0, nullptr));
    require(json != nullptr, "JSON is JSON");
    if (answer.status >= 400) {
        require(json_integer_value(json_object_get(json.get(), "status")) == answer.status,
                "a problem tells its status");
    }
}

void check(vorn::gate::House &house, std::string_view bytes, bool may_know_token)
{
    vorn::gate::Request request;
    const std::string coming(bytes);
    if (vorn::gate::read_scgi(coming, request) != Arrival::complete) return;
    const bool has_token =
        may_know_token && request.authorization == std::string("Bearer ") + token;
    const bool has_password = request.body.find(password) != std::string::npos;
    const std::string method = request.method;
    const std::string before = state_of(vorn::running_config);
    vorn::client::Device device(0);

    const vorn::gate::Served served = vorn::gate::serve(house, device, request);

    check_head(bytes_of(served.answer));
    check_body(served.answer);
    require(has_token || has_password || served.answer.status >= 400,
            "who is not known is told nothing");
    require(served.answer.status != 500, "every answer of the daemon is understood");
    require((has_token && method == "POST") || state_of(vorn::running_config) == before,
            "who only reads changes nothing");
}

} // namespace

/* In the place of the library: the daemon is in this process. */
extern "C" {

vorn_client *vorn_client_new(void)
{
    return static_cast<vorn_client *>(std::malloc(1));
}

void vorn_client_delete(vorn_client *client)
{
    std::free(client);
}

void vorn_client_set_timeout(vorn_client *, int)
{}

const char *vorn_client_error(const vorn_client *)
{
    return "no answer";
}

int vorn_client_is_idle(const vorn_client *)
{
    return 0;
}

int vorn_client_subscribe(vorn_client *)
{
    return VORN_CLIENT_NO_DAEMON;
}

int vorn_client_next_notice(vorn_client *, char **)
{
    return VORN_CLIENT_LOST;
}

int vorn_client_inform(vorn_client *, const char *, const char *const[], size_t, char **)
{
    return VORN_CLIENT_NO_DAEMON;
}

int vorn_client_request(vorn_client *, const char *request, size_t length, char **reply,
                        size_t *reply_length)
{
    const std::string text(request, length);
    const bool is_about_schema = text.find("<schema-property properties=") != std::string::npos;
    const std::optional<std::string> answer =
        is_about_schema ? told_schema() : evaluate(text, false);
    *reply = answer ? strdup(answer->c_str()) : nullptr;
    *reply_length = answer ? answer->size() : 0;
    /* Whatever a client of the gate wrote, it asks the daemon in whole documents. */
    require(answer.has_value(), "the daemon is asked in documents");
    return VORN_CLIENT_OK;
}
}

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const Gate gate;
    std::string_view rest = as_text(data, size);

    set_up_board();
    const Board board;
    Board::populate();
    while (!rest.empty()) {
        std::string_view piece = next_piece(rest);
        const bool is_raw = piece.starts_with('!');
        const bool is_nobody = piece.starts_with('?');
        if (is_raw || is_nobody) piece.remove_prefix(1);
        check(*gate.house, is_raw ? std::string(piece) : framed(piece, !is_nobody), true);
    }
    take_commits();
    require_consistent(vorn::running_config);
    return 0;
}
