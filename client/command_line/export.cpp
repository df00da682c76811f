/* SPDX-License-Identifier: MIT */
/* vornctl export: the running configuration as a file to boot from. */
#include <iostream>

#include "configuration.h"
#include "device.h"
#include "failure.h"
#include "generations.h"
#include "input.h"
#include "secrets.h"
#include "verb.h"

namespace vorn::client {

namespace {

int export_generation(const Invocation &invocation, Device &device)
{
    const std::string number = generation_in(invocation.value("--generation"));
    const std::string document = document_of_generation(device, number);
    if (invocation.options.output.format == Format::json) {
        invocation.options.output.print(parse_configuration(document, number.c_str()));
    } else {
        write_output(invocation.words.empty() ? "-" : invocation.word(0), document);
    }
    return done;
}

} // namespace

int export_(const Invocation &invocation)
{
    const Options &options = invocation.options;
    Device device(options.timeout_ms());
    if (invocation.has("--generation")) return export_generation(invocation, device);
    const Schema schema = Schema::required_of(device);
    const std::string file = invocation.words.empty() ? "-" : invocation.word(0);
    Snapshot running = snapshot(device, schema);
    if (file == "-" && is_on_terminal() && drop_secrets(running.configuration, schema)) {
        std::cerr << "vornctl: secrets are left out on a terminal; a file or a pipe says "
                     "that they are set\n";
    }
    if (options.output.format == Format::json) {
        options.output.print(running.configuration);
    } else {
        write_output(file, configuration_document(running.configuration, running.commit));
    }
    return done;
}

} // namespace vorn::client
