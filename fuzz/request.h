/* SPDX-License-Identifier: MIT */
#pragma once

#include "services/xml/xml.h"

#include <optional>
#include <string>

namespace vorn::fuzz {

/*
 * Evaluates a request; nothing when there is no answer. What a transaction leaves behind of the
 * configuration that it replaced is freed: the daemon keeps it, plugins might hold it.
 */
std::optional<std::string> evaluate(const std::string &request, bool passive);

/* A document that must be one. */
XmlDocument parsed_answer(const std::string &answer);

/* A text as it stands inside an element or an attribute. */
std::string escaped(const std::string &text);

} // namespace vorn::fuzz
