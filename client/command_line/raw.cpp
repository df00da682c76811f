/* SPDX-License-Identifier: MIT */
/* vornctl query, startup and inform: what the daemon's doors take and give, as it is. */
#include <iostream>

#include "commands.h"
#include "configuration.h"
#include "device.h"
#include "failure.h"
#include "input.h"

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

int query(const Options &options, const std::string &file)
{
    const std::string request = read_input(file);
    if (request.empty()) throw Failure(misused, file + ": the request is empty");
    Device device(options.timeout_ms());
    const std::string reply = device.ask(request);
    std::cout << reply;
    return is_refusal(reply) ? refused : done;
}

int startup(const Options &options)
{
    Device device(options.timeout_ms());
    const std::string saved = saved_document(device);
    if (options.output.format == Format::xml) {
        std::cout << saved;
        return done;
    }
    const Configuration configuration = parse_configuration(saved, "the saved configuration");
    if (options.output.format == Format::json) {
        options.output.print(configuration);
        return done;
    }
    const char *separator = "";
    for (auto first = configuration.begin(); first != configuration.end();) {
        const auto last = std::find_if(first, configuration.end(), [&](const Instance &each) {
            return each.class_name != first->class_name;
        });
        std::cout << separator;
        options.output.print({first, last});
        separator = "\n";
        first = last;
    }
    return done;
}

int inform(const Options &options, const std::string &object,
           const std::vector<std::string> &parameters)
{
    Device device(options.timeout_ms());
    const std::string answer = device.inform(object, parameters);
    std::cout << answer;
    return answer == "OK\n" ? done : refused;
}

} // namespace

void add_raw_commands(CLI::App &program, const Options &options, int &status)
{
    CLI::App *query_command = program.add_subcommand("query", "send one LSQL request as it is");
    auto file = std::make_shared<std::string>();
    query_command->add_option("FILE", *file, "the request; - for standard input")
        ->type_name("")
        ->required();
    query_command->callback([&options, &status, file] { status = query(options, *file); });

    program.add_subcommand("startup", "the saved configuration")->callback([&options, &status] {
        status = startup(options);
    });

    CLI::App *inform_command = program.add_subcommand("inform", "tell a plugin of an event");
    auto object = std::make_shared<std::string>();
    auto parameters = std::make_shared<std::vector<std::string>>();
    inform_command->add_option("OBJECT", *object)->type_name("")->required();
    inform_command->add_option("PARAMETERS", *parameters)->type_name("NAME=VALUE");
    inform_command->callback([&options, &status, object, parameters] {
        status = inform(options, *object, *parameters);
    });
}

} // namespace vorn::client
