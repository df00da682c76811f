/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <vector>

#include <configuration.h>
#include <lsql.h>
#include <schema.h>

#include "protocol/content.h"
#include "protocol/outside.h"
#include "protocol/reason.h"

namespace vorn::fleet {

/* What a document can't say: the number in force, and what else the agent keeps in this class. */
constexpr char own_class[] = "fleet";
bool is_own_property(const std::string &class_name, const std::string &property);

/* Whether the device has what a document names, before any of it is asked for or changed. */
Refusal judge(const Content &content, const client::Schema &schema);

/* What is saved and can be set of the instances that the device has shown. */
std::vector<client::Instance> settable(const std::vector<client::Instance> &shown,
                                       const std::string &class_name, const client::Schema &schema);

/* What is in force of that which the document is about; the classes have been judged. */
Content in_force(const Content &wanted, const client::Configuration &running);

/* With what the device shows of secrets in their place. */
Content with_hidden_secrets(const Content &wanted, const client::Schema &schema);

std::vector<Difference> differences(const Content &wanted, const Content &found);

/* The steps from what runs to what is wanted, added to the request. */
void add_steps(client::Request &request, const Content &wanted,
               const client::Configuration &running, const client::Schema &schema);

} // namespace vorn::fleet
