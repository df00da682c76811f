/* SPDX-License-Identifier: MIT */
/* An inform body, and what its handler finds in it, held against a map. */
#include "vorn/inform.h"

#include "api/sockets/inform_state.h"
#include "core/debug_state.h"

#include <cstring>
#include <map>
#include <string>

#include "fuzz/target.h"

namespace {

using Values = std::map<std::string, std::string>;

Values expected; /* of the request that is being served */
int calls = 0;

/* Names end at the first "=", values at the next "&"; the first of a name counts. */
Values parsed(std::string_view rest)
{
    Values values;
    for (bool more = true; more;) {
        const std::size_t equals = rest.find('=');
        if (equals == std::string_view::npos) break;
        const std::size_t end = rest.find('&', equals + 1);
        values.emplace(rest.substr(0, equals), rest.substr(equals + 1, end - equals - 1));
        more = end != std::string_view::npos;
        rest.remove_prefix(more ? end + 1 : rest.size());
    }
    return values;
}

void check_values()
{
    calls++;
    for (const auto &[name, value] : expected) {
        const char *found = vorn_inform_get_value(name.c_str());
        vorn::fuzz::require(found && value == found, "a handler finds every value");
    }
    vorn::fuzz::require(!vorn_inform_get_value("no such name") || expected.count("no such name"),
                        "a handler finds nothing else");
}

template <int result>
int handle()
{
    check_values();
    return result;
}

void set_up()
{
    vorn::debug_state = {0, 0, 0, std::fopen("/dev/null", "w")};
    vorn_inform_fn_add("radio", handle<0>);
    vorn_inform_fn_add("refuses", handle<1>);
    vorn_inform_fn_add("", handle<2>);
}

std::string expected_answer()
{
    const auto object = expected.find("object");
    if (object == expected.end()) return "ERR no object parameter";
    if (object->second == "refuses") return "ERR returned by handler";
    return object->second == "radio" || object->second.empty() ? "OK" : "ERR no handler";
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const bool ready = (set_up(), true);
    vorn::fuzz::require(ready, "the handlers are there");
    vorn::fuzz::ExactString body(vorn::fuzz::as_text(data, size));
    expected = parsed(body.get());
    calls = 0;

    vorn::start_inform_socket_request(body.get());
    const std::string answer = vorn::dispatch_inform_request();
    vorn::end_inform_socket_request();

    vorn::fuzz::require(answer == expected_answer(), "the answer is the expected one");
    vorn::fuzz::require(calls == (answer == "OK" || answer == "ERR returned by handler"),
                        "a handler is called when there is one");
    return 0;
}
