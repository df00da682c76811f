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

/* Of a configuration file. */
constexpr std::size_t longest_text_in_file = 10000000; /* before its markup is escaped */
constexpr std::size_t longest_name_in_file = 50000;    /* of a class or a property */
constexpr std::size_t longest_header_line = 1023;      /* of the default file, with its end */

/* Of a request. One that announces more is refused before anything is allocated. */
constexpr std::uint32_t longest_request = 16u << 20;
constexpr std::size_t most_elements = 2000000;

/* Of clients that come for one request, and of those that stay. */
constexpr unsigned int most_clients = 512;
constexpr unsigned int most_staying_clients = 256;
/* Of all requests that have come in part, and of all replies that were not taken yet. */
constexpr std::size_t most_half_requests = 32u << 20;
constexpr std::size_t most_unsent_replies = 32u << 20;

/* Of an LSQL request, unless a plugin evaluates it passively. */
constexpr std::size_t longest_origin = 1024;
constexpr unsigned int most_operations = 250000;
constexpr std::size_t longest_name = 16384;
constexpr unsigned int most_properties = 10000; /* of one class element */
constexpr std::size_t longest_value = 1u << 20; /* six times that, escaped, can be read again */
constexpr unsigned int most_of_an_expression = 20000;
constexpr unsigned int most_comparisons = 20000000; /* of all instances that it looks at */
constexpr std::size_t longest_reply = 256u << 20;   /* refused instead of being cut */

/* Of an inform request. */
constexpr unsigned int most_parameters = 10000;
constexpr std::size_t longest_object = 1024;

/* Of the notice port. */
constexpr int most_notice_connections = 64;
constexpr int most_subscribers = 8;
constexpr int most_discarded = 65536;            /* of what one of them writes, at a time */
constexpr std::size_t longest_unsent = 1u << 20; /* kept for all of them, until they take it */

/* Of what the log quotes of a request that is no XML. */
constexpr std::size_t longest_quotation = 1000;

} // namespace vorn
