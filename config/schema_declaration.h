/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstddef>

namespace vorn {

/* What a document says before its root of the versions that plugins had: <?vorn-schema radio="3"?>
 */
constexpr char schema_instruction[] = "vorn-schema";

/* A name that belongs to what it was read from, and a version. */
struct DeclaredVersion {
    const char *name;
    std::size_t length;
    unsigned int version;

    bool is_named(const char *other) const;
};

/* Reads one after the other: radio="3" time="1". False at the end and at what makes no sense. */
bool read_version(const char *&at, DeclaredVersion &found);

/* Whether there is nothing left but blanks. */
bool is_read_to_its_end(const char *at);

/* The version under a name; 0 for none. Null says nothing. */
unsigned int version_in(const char *versions, const char *name);

} // namespace vorn
