/* SPDX-License-Identifier: MIT */
/* The web server's side of a request. It is trusted no more than the client who stands behind it.
 */
#include "scgi.h"

#include <charconv>

#include "bounds.h"

namespace vorn::gate {

namespace {

constexpr std::size_t digits_of_a_length = 7;

bool is_number(std::string_view text, std::size_t &number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && !text.empty();
}

/* Up to a null byte, which is taken off with it; false when there is none. */
bool take_text(std::string_view &rest, std::string_view &text)
{
    const std::size_t end = rest.find('\0');
    if (end == std::string_view::npos) return false;
    text = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    return true;
}

struct Known {
    std::string_view name;
    std::string Request::*field;
};

constexpr Known known[] = {
    {"REQUEST_METHOD", &Request::method},
    {"REQUEST_URI", &Request::uri},
    {"CONTENT_TYPE", &Request::content_type},
    {"HTTP_COOKIE", &Request::cookie},
    {"HTTP_AUTHORIZATION", &Request::authorization},
    {"HTTP_X_CSRF_TOKEN", &Request::csrf},
    {"HTTP_IF_MATCH", &Request::if_match},
    {"HTTP_IF_NONE_MATCH", &Request::if_none_match},
    {"HTTP_LAST_EVENT_ID", &Request::last_event_id},
    {"REMOTE_ADDR", &Request::address},
};

/* What is told twice may be told to two readers: neither is believed. */
bool take_header(Request &request, std::string_view name, std::string_view value)
{
    for (const Known &each : known) {
        if (each.name != name) continue;
        if (!(request.*each.field).empty()) return false;
        request.*each.field = value;
    }
    return true;
}

struct Head {
    std::size_t begin;
    std::size_t length;
};

Arrival find_head(std::string_view bytes, Head &head)
{
    const std::size_t colon = bytes.substr(0, digits_of_a_length).find(':');
    if (colon == std::string_view::npos) {
        return bytes.size() < digits_of_a_length ? Arrival::goes_on : Arrival::broken;
    }
    if (!is_number(bytes.substr(0, colon), head.length)) return Arrival::broken;
    head.begin = colon + 1;
    return head.length > longest_head ? Arrival::long_head : Arrival::complete;
}

/* The protocol wants the body's length first. */
Arrival read_head(std::string_view head, Request &request, std::size_t &body)
{
    std::string_view name;
    std::string_view value;
    if (!take_text(head, name) || !take_text(head, value) || name != "CONTENT_LENGTH" ||
        !is_number(value, body)) {
        return Arrival::broken;
    }
    bool is_scgi = false;
    while (!head.empty()) {
        if (!take_text(head, name) || !take_text(head, value) || name == "CONTENT_LENGTH") {
            return Arrival::broken;
        }
        if (name == "SCGI") is_scgi = value == "1";
        if (!take_header(request, name, value)) return Arrival::broken;
    }
    if (!is_scgi) return Arrival::broken;
    return body > longest_body ? Arrival::long_body : Arrival::complete;
}

} // namespace

Arrival read_scgi(std::string_view bytes, Request &request)
{
    Head head{};
    const Arrival arrival = find_head(bytes, head);
    if (arrival != Arrival::complete) return arrival;
    if (bytes.size() < head.begin + head.length + 1) return Arrival::goes_on;
    if (bytes[head.begin + head.length] != ',') return Arrival::broken;

    Request coming;
    std::size_t body = 0;
    const Arrival read = read_head(bytes.substr(head.begin, head.length), coming, body);
    if (read != Arrival::complete) return read;
    const std::string_view rest = bytes.substr(head.begin + head.length + 1);
    if (rest.size() < body) return Arrival::goes_on;
    if (rest.size() > body) return Arrival::broken;
    coming.body = rest;
    request = std::move(coming);
    return Arrival::complete;
}

} // namespace vorn::gate
