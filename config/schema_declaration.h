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
 * Whether it is of a plugin that takes part here and declares none: one whose file bears the name.
 * What that one reads and writes is of version 0.
 */
bool is_of_silent_plugin(const DeclaredVersion &said);

/*
 * What a document says: the versions of this device's plugins, and of what another document says of
 * others, which may be null. They come in the order of their names; those of version 0 are left
 * out, and those of silent plugins where these have made the document.
 */
class SaidVersions {
public:
    enum class Silent { kept, left_out };

    SaidVersions(const char *others, Silent silent) : others_(others), silent_(silent) {}

    void add_before(const char *name);
    void add(const char *name, std::size_t length, unsigned int version);
    /* All that is still to be said; "" for nothing, null without memory. */
    Text take();

private:
    const char *others_;
    Silent silent_;
    TextBuffer text_;
};

/* What a save says, with the versions that were declared. */
Text said_versions(const char *others);

} // namespace vorn
