/* SPDX-License-Identifier: MIT */
/* vornctl startup: the saved configuration. */
#include <algorithm>
#include <iostream>

#include "configuration.h"
#include "device.h"
#include "failure.h"
#include "secrets.h"
#include "verb.h"

namespace vorn::client {

int startup(const Invocation &invocation)
{
    const Options &options = invocation.options;
    Device device(options.timeout_ms());
    const std::string saved = saved_document(device);
    if (options.output.format == Format::xml && !is_on_terminal()) {
        std::cout << saved;
        return done;
    }
    Configuration configuration = parse_configuration(saved, "the saved configuration");
    if (is_on_terminal()) hide_secrets(configuration, Schema::of(device));
    if (options.output.format == Format::xml) {
        std::cout << configuration_document(configuration);
        return done;
    }
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

} // namespace vorn::client
