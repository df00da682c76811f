/* SPDX-License-Identifier: MIT */
/* vornctl diff: what runs, against what is saved. */
#include "configuration.h"
#include "device.h"
#include "differences.h"
#include "failure.h"
#include "input.h"
#include "secrets.h"
#include "verb.h"

namespace vorn::client {

int diff(const Invocation &invocation)
{
    const std::string file = invocation.word(0);
    Device device(invocation.options.timeout_ms());
    const Schema schema = Schema::required_of(device);
    Configuration other =
        file.empty() ? parse_configuration(saved_document(device), "the saved configuration")
                     : parse_configuration(read_input(file), file.c_str());
    const Configuration running = running_configuration(device, schema);
    hide_as_the_device_does(other, running, schema);
    std::vector<Difference> differences = compare(other, running, schema);
    hide_secrets(differences, schema);
    print(invocation.options.output, differences);
    return differences.empty() ? done : differs;
}

} // namespace vorn::client
