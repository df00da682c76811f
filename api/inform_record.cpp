/* SPDX-License-Identifier: MIT */
/*
 * Who restarted the device or sent a station away stands beside who changed it. Informs that are
 * mere events come as often as they like, and must not drive the changes out of the list.
 */
#include "api/inform_record.h"

#include "api/sockets/inform_state.h"
#include "change/commit_report_record.h"
#include "change/short_text.h"

#include <cstring>

namespace vorn {

namespace {

/* As it is written at a shell: "inform kick station=02:00:00:00:00:01". */
void describe_request(const char *object, ShortText &text)
{
    text.add("inform ");
    text.add(object);
    for (auto [name, value] : vorn_inform_socket_request_values->by_name) {
        if (std::strcmp(name, "object") == 0 || std::strcmp(name, "for-user") == 0) continue;
        text.add(" ");
        text.add(name);
        text.add("=");
        text.add(value);
    }
}

const char *serve_and_record(const char *object, const char *(*serve)(const char *))
{
    const DeedWatch deed;
    const char *reply = serve(object);
    constexpr char error[] = "ERR ";
    const bool is_refused = std::strncmp(reply, error, sizeof error - 1) == 0;
    const char *refusal = is_refused ? reply + sizeof error - 1 : nullptr;
    const bool is_denied = refusal && std::strcmp(refusal, "Access denied") == 0;
    if (!deed.has_result() && !is_denied) return reply;
    char words[sizeof vorn_commit_report::changes];
    ShortText text(words);
    describe_request(object, text);
    deed.record(words, refusal);
    return reply;
}

} // namespace

void keep_records_of_informs()
{
    keep_record_of = serve_and_record;
}

} // namespace vorn
