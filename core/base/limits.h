/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstddef>
#include <cstdint>

namespace vorn {

/*
 * How much of anything may come from outside. Each is far beyond what a device needs and far below
 * what would keep the daemon busy or fill its memory. docs/lsql.md has them as a table.
 */

/* Of any document, be it a request or a configuration file. */
constexpr unsigned int deepest_element = 256;
constexpr unsigned int most_attributes = 1000; /* of one element */
constexpr unsigned int most_namespaces = 1000; /* declared at one place */
constexpr unsigned int most_names = 100000;    /* that differ from each other */
constexpr std::size_t longest_opaque_run = 65536;
constexpr std::int64_t longest_parse_ms = 60000; /* of the processor's time */

/* Of a request. One that announces more is refused before anything is allocated. */
constexpr std::uint32_t longest_request = 16u << 20;
constexpr std::size_t most_elements = 2000000;

} // namespace vorn
