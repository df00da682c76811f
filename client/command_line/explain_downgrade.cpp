/* SPDX-License-Identifier: MIT */
/* vornctl explain --downgrade: what earlier versions of the plugins would lose. */
#include <iostream>
#include <sstream>

#include "device.h"
#include "failure.h"
#include "json.h"
#include "text.h"
#include "verb.h"

namespace vorn::client {

namespace {

std::string request_for(const std::string &versions)
{
    pugi::xml_document document;
    document.append_child("explain").append_attribute("downgrade").set_value(versions.c_str());
    std::ostringstream text;
    document.save(text, "", pugi::format_raw | pugi::format_no_declaration);
    return text.str();
}

void print_as_json(const pugi::xml_node &explanation)
{
    constexpr int indentation = 2;
    JsonWriter json(indentation);
    json.open_object();
    json.member("versions", explanation.child("versions").text().get());
    json.name("lost");
    json.open_list();
    for (const pugi::xml_node &each : explanation.children("lost"))
        json.text(each.text().get());
    json.close_list();
    json.close_object();
    std::cout << json.document() << '\n';
}

void print_for_people(const pugi::xml_node &explanation)
{
    for (const pugi::xml_node &each : explanation.children("lost"))
        std::cout << shown(each.text().get()) << '\n';
    if (!explanation.child("lost")) {
        std::cout << "Nothing is lost with "
                  << shown(explanation.child("versions").text().as_string("no versions")) << ".\n";
    }
}

} // namespace

int explain_downgrade(const Invocation &invocation)
{
    if (!invocation.has("--downgrade")) throw Misuse("COMMAND is required");
    Device device(invocation.options.timeout_ms());
    const std::string answer = device.ask(request_for(joined(invocation.words, " ")));
    pugi::xml_document document;
    parse_document(document, answer, "the answer");
    const pugi::xml_node explanation = document.child("explanation");
    if (!explanation) fail(refused, {"the daemon of this device can't explain a downgrade"});
    if (const pugi::xml_node error = explanation.child("error"))
        fail(refused, {error.text().get()});

    const Format format = invocation.options.output.format;
    if (format == Format::json) {
        print_as_json(explanation);
    } else if (format == Format::xml) {
        std::cout << answer;
    } else {
        print_for_people(explanation);
    }
    return explanation.child("lost") ? differs : done;
}

} // namespace vorn::client
