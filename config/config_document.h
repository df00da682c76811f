/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/base/text.h"

#include <cstddef>
#include <cstdint>

struct _xmlDict;

namespace vorn {

/* One element of an instance: its name, and where in the record its text is. */
struct WrittenValue {
    const char *property; /* belongs to the document */
    std::uint32_t text;   /* 0 for none */
};

/* An instance as a file has it, with nothing judged yet; values and texts follow in the record. */
struct WrittenInstance {
    WrittenInstance *next;
    const char *element; /* belongs to the document */
    std::uint32_t count;
    std::uint32_t instance_name; /* 0 for none */

    const WrittenValue *begin() const { return reinterpret_cast<const WrittenValue *>(this + 1); }
    const WrittenValue *end() const { return begin() + count; }
    const char *text_at(std::uint32_t place) const
    {
        return place > 0 ? reinterpret_cast<const char *>(this) + place : nullptr;
    }
};

/*
 * What a configuration file says, in its order, in little more room than its texts take. The file
 * is read to its end before anything of it is believed: one that breaks off in its last line is
 * none, and nobody has been asked about what it held.
 */
class ConfigDocument {
public:
    ConfigDocument() = default;
    ConfigDocument(ConfigDocument &&other) noexcept;
    ConfigDocument &operator=(ConfigDocument &&other) noexcept;
    ~ConfigDocument();

    /* Whether there is one. */
    explicit operator bool() const { return names_ != nullptr; }

    /* The first of those that were not taken yet; empty at the end. */
    Allocated<WrittenInstance> take_next();

    /* What it says of the versions that plugins had when it was written; null for nothing. */
    const char *versions() const { return versions_.get(); }

    /* For who changes what it says. Its instances, linked, are all there are. */
    WrittenInstance *&first() { return first_; }
    /* Names and texts that belong to the document, each at one place; null without memory. */
    const char *keep(const char *text);

private:
    friend class DocumentReader;

    _xmlDict *names_ = nullptr;
    WrittenInstance *first_ = nullptr;
    Text versions_;
};

/* Parses a configuration file; empty, with the reason in the log, when it holds none. */
ConfigDocument parse_config(const char *path);
/* The same with a text. */
ConfigDocument parse_config_text(const char *text, std::size_t length);
/* The same with what the default file holds, where it lies. */
ConfigDocument parse_default(const char *path);

} // namespace vorn
