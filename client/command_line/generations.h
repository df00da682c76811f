/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <vector>

#include "configuration.h"
#include "device.h"

namespace vorn::client {

/* What the device keeps of saved configurations, the newest last. Throws when it keeps none. */
std::vector<Instance> generations(Device &device);

/* The document of one of them, without its secrets. */
std::string document_of_generation(Device &device, const std::string &number);

/* Its instances. */
Configuration configuration_of_generation(Device &device, const std::string &number);

/* A word of the command line as the number of a generation; throws a Misuse for any other word. */
std::string generation_in(const std::string &word);

} // namespace vorn::client
