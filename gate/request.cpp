/* SPDX-License-Identifier: MIT */
/* Addresses and headers of a request, taken apart once; nothing is taken for text that is none. */
#include "request.h"

#include <algorithm>

#include <strings.h>
#include <text.h>

namespace vorn::gate {

namespace {

constexpr std::string_view root = "/api/v1/";

int digit(char character)
{
    if (character >= '0' && character <= '9') return character - '0';
    if (character >= 'a' && character <= 'f') return character - 'a' + 10;
    if (character >= 'A' && character <= 'F') return character - 'A' + 10;
    return -1;
}

/* The part up to the separator, which is taken off with it. */
std::string_view next_part(std::string_view &rest, char separator)
{
    const std::size_t end = rest.find(separator);
    const std::string_view part = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    return part;
}

std::string_view without_blanks(std::string_view text)
{
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    return text;
}

bool understand_query(std::string_view query, Request &request)
{
    while (!query.empty()) {
        std::string_view value = next_part(query, '&');
        const std::string_view name = next_part(value, '=');
        auto &[decoded_name, decoded_value] = request.parameters.emplace_back();
        if (!decode(name, true, decoded_name) || !decode(value, true, decoded_value)) return false;
    }
    return true;
}

} // namespace

const std::string *Request::parameter(std::string_view name) const
{
    const auto found =
        std::ranges::find_if(parameters, [&](const auto &each) { return each.first == name; });
    return found == parameters.end() ? nullptr : &found->second;
}

bool is_plain_text(std::string_view text)
{
    for (std::size_t at = 0; at < text.size();) {
        const auto byte = static_cast<unsigned char>(text[at]);
        const std::size_t length = client::character_length(text, at);
        if (byte < ' ' || byte == 0x7f || length == 0) return false;
        at += length;
    }
    return true;
}

bool decode(std::string_view encoded, bool is_query, std::string &decoded)
{
    decoded.clear();
    for (std::size_t at = 0; at < encoded.size(); at++) {
        if (encoded[at] == '%') {
            if (at + 2 >= encoded.size()) return false;
            const int high = digit(encoded[at + 1]);
            const int low = digit(encoded[at + 2]);
            if (high < 0 || low < 0) return false;
            decoded += static_cast<char>(high * 16 + low);
            at += 2;
        } else {
            decoded += is_query && encoded[at] == '+' ? ' ' : encoded[at];
        }
    }
    return is_plain_text(decoded);
}

bool understand(Request &request)
{
    std::string_view query = request.uri;
    std::string_view path = next_part(query, '?');
    if (!path.starts_with(root)) return false;
    path.remove_prefix(root.size());
    while (!path.empty()) {
        const bool is_last = path.find('/') == std::string_view::npos;
        if (!decode(next_part(path, '/'), false, request.path.emplace_back())) return false;
        if (!is_last && path.empty()) request.path.emplace_back();
    }
    return understand_query(query, request);
}

std::string_view cookie_in(std::string_view header, std::string_view name)
{
    while (!header.empty()) {
        std::string_view value = without_blanks(next_part(header, ';'));
        if (next_part(value, '=') == name) return value;
    }
    return {};
}

std::string_view bearer_in(std::string_view header)
{
    constexpr std::string_view scheme = "Bearer ";
    if (header.size() <= scheme.size() ||
        strncasecmp(header.data(), scheme.data(), scheme.size()) != 0) {
        return {};
    }
    return without_blanks(header.substr(scheme.size()));
}

} // namespace vorn::gate
