/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/text_buffer.h"

#include <cstddef>

namespace vorn {

/* What a document says before its root of the versions that plugins had: <?vorn-schema radio="3"?>
 */
constexpr char schema_instruction[] = "vorn-schema";

/* Digits, and what follows them. One that no number can tell is greater than all that there are. */
bool read_number(const char *&at, unsigned int &number);

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

/*
 * What a document says: the versions of this device's plugins, and of what another document says of
 * others, which may be null. They come in the order of their names; those of version 0 are left
 * out.
 */
class SaidVersions {
public:
    explicit SaidVersions(const char *others) : others_(others) {}

    void add_before(const char *name);
    void add(const char *name, std::size_t length, unsigned int version);
    /* All that is still to be said; "" for nothing, null without memory. */
    Text take();

private:
    const char *others_;
    TextBuffer text_;
};

/* The same with the versions that were declared. */
Text said_versions(const char *others);

} // namespace vorn
