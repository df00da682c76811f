/* SPDX-License-Identifier: MIT */
/* vornctl query: one request as it is, and its answer as it is. */
#include <iostream>

#include "device.h"
#include "failure.h"
#include "input.h"
#include "lsql.h"
#include "verb.h"

namespace vorn::client {

namespace {

/* A saved configuration is an answer too, and all there is to it. */
bool is_refusal(const std::string &reply)
{
    pugi::xml_document document;
    parse_document(document, reply, "the answer");
    const pugi::xml_node root = document.document_element();
    if (std::string_view(root.name()) == "error") return true;
    for (const pugi::xml_node &rc : root.children("rc")) {
        if (std::string_view(root.name()) == "lsql_result" && rc.text().as_int() != 0) return true;
    }
    return false;
}

} // namespace

int query(const Invocation &invocation)
{
    const std::string file = invocation.word(0);
    const std::string request = read_input(file);
    if (request.empty()) fail(misused, {file, ": the request is empty"});
    Device device(invocation.options.timeout_ms());
    const std::string reply = device.ask(request);
    std::cout << reply;
    return is_refusal(reply) ? refused : done;
}

} // namespace vorn::client
