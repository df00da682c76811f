/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "failure.h"
#include "lsql.h"
#include "schema.h"

namespace vorn::client {

/* The candidate that somebody who wrote the word may have meant; empty for none. */
std::string nearest(const std::string &word, const std::vector<std::string> &candidates);

/* "; did you mean ...?", or nothing. */
std::string did_you_mean(const std::string &word, const std::vector<std::string> &candidates);

/* The text in the quotes that follow the first such head; empty where there are none. */
std::string quoted_after(std::string_view text, std::string_view head);

/* The daemon's sentence, without its stop where it goes on. */
std::string go_on(std::string sentence, std::string_view rest);

/* What the daemon said against an operation, with what would have been right where it is known. */
std::string explained(const std::string &error, const Schema &schema, const Target &target,
                      const Values &values);

/* What to end with after what the daemon said against an operation. */
ExitStatus status_after(const std::string &error, const Schema &schema, const Target &target,
                        const Values &values);

/* What valid values look like, as a sentence has it; empty where it is not known. */
std::string valid_values(const Property &property);

/* The words that a syntax names, without what it describes. */
std::vector<std::string> literal_values(const std::string &syntax);

/* The same text without the values that are secrets. */
std::string without_secrets(std::string text, const Schema &schema, const std::string &class_name,
                            const Values &values);

/* Throws a Failure for a property that the class, or its family, does not have. */
void expect_properties(const Schema &schema, const std::string &class_name,
                       const std::vector<std::string> &properties);

/* Throws a Failure for a class that a device with a schema does not have. */
const Class *expect_class(const Schema &schema, const std::string &name);

/* The properties that a condition asks for. */
std::vector<std::string> properties_in(const std::string &condition);

} // namespace vorn::client
