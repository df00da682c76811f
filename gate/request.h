/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vorn::gate {

/* One request of a client, as the web server passes it on. All of it is whatever he wrote. */
struct Request {
    std::string method;
    std::string uri;
    std::string content_type;
    std::string cookie;
    std::string authorization;
    std::string csrf;
    std::string if_match;
    std::string if_none_match;
    std::string last_event_id;
    std::string address;
    std::string body;

    /* Below /api/v1, decoded; set by understand(). */
    std::vector<std::string> path;
    std::vector<std::pair<std::string, std::string>> parameters;

    /* The parameter of that name, or null. */
    const std::string *parameter(std::string_view name) const;
};

/* Takes the address apart. False for one that is not below /api/v1 or is no text. */
bool understand(Request &request);

/* The bytes that "%41" stands for; false where they are no UTF-8 or hold control characters. */
bool decode(std::string_view encoded, bool is_query, std::string &decoded);

/* UTF-8 without control characters. */
bool is_plain_text(std::string_view text);

/* The value of one cookie of a header; empty when it is not there. */
std::string_view cookie_in(std::string_view header, std::string_view name);

/* The token of "Bearer TOKEN"; empty for any other header. */
std::string_view bearer_in(std::string_view header);

} // namespace vorn::gate
