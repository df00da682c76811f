/* SPDX-License-Identifier: MIT */
/* vornctl export: the running configuration as a file to boot from. */
#include "configuration.h"
#include "device.h"
#include "failure.h"
#include "input.h"
#include "verb.h"

namespace vorn::client {

int export_(const Invocation &invocation)
{
    const Options &options = invocation.options;
    Device device(options.timeout_ms());
    const Schema schema = Schema::required_of(device);
    const Configuration running = running_configuration(device, schema);
    if (options.output.format == Format::json) {
        options.output.print(running);
    } else {
        write_output(invocation.words.empty() ? "-" : invocation.word(0),
                     configuration_document(running));
    }
    return done;
}

} // namespace vorn::client
