/* SPDX-License-Identifier: MIT */
/* vornctl export: the running configuration as a file to boot from. */
#include <iostream>

#include "configuration.h"
#include "device.h"
#include "failure.h"
#include "input.h"
#include "secrets.h"
#include "verb.h"

namespace vorn::client {

int export_(const Invocation &invocation)
{
    const Options &options = invocation.options;
    Device device(options.timeout_ms());
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
