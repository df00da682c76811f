/* SPDX-License-Identifier: MIT */
#pragma once

#include "asking.h"
#include "request.h"

namespace vorn::gate {

/* GET /objects/CLASS[/NAME]. */
Answer get_objects(Desk &desk, const Caller &caller, const Request &request);

/* An instance that was read under its class or its family, under its own class. */
client::Instance as_own_class(const client::Instance &instance, const DeviceSchema &schema);

/* The properties that an object's tag stands for. */
std::vector<std::string> configured_properties(const client::Schema &schema,
                                               const std::string &class_name);

/* What stands for the configured values of an object. */
std::string tag_of(const client::Instance &instance, const DeviceSchema &schema);

/* {"class","name","properties"} with the values that the class has. */
Json json_of_object(const client::Instance &instance, const DeviceSchema &schema,
                    const std::vector<std::string> &properties);

} // namespace vorn::gate
