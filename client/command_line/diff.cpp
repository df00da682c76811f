/* SPDX-License-Identifier: MIT */
/* vornctl diff: what runs, against what is saved. */
#include <unistd.h>

#include "configuration.h"
#include "device.h"
#include "differences.h"
#include "failure.h"
#include "generations.h"
#include "input.h"
#include "secrets.h"
#include "verb.h"

namespace vorn::client {

namespace {

/* A file may be called by a number, too, and always could be named. */
bool is_generation(const std::string &word)
{
    return !word.empty() && word.find_first_not_of("0123456789") == std::string::npos &&
           access(word.c_str(), F_OK) != 0;
}

Configuration compared_with(Device &device, const std::string &word)
{
    if (word.empty()) return parse_configuration(saved_document(device), "the saved configuration");
    if (is_generation(word)) return configuration_of_generation(device, generation_in(word));
    return parse_configuration(read_input(word), word.c_str());
}

} // namespace

int diff(const Invocation &invocation)
{
    Device device(invocation.options.timeout_ms());
    const Schema schema = Schema::required_of(device);
    const std::string &second = invocation.word(1);
    Configuration other = compared_with(device, invocation.word(0));
    const Configuration with = second.empty()
                                   ? running_configuration(device, schema)
                                   : configuration_of_generation(device, generation_in(second));
    hide_as_the_device_does(other, with, schema);
    std::vector<Difference> differences = compare(other, with, schema);
    hide_secrets(differences, schema);
    print(invocation.options.output, differences);
    return differences.empty() ? done : differs;
}

} // namespace vorn::client
