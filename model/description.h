/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"

#include <cstddef>
#include <cstdint>

namespace vorn {

/* What can be said of a class or a property. The alternatives stand last, and only they repeat. */
enum class Told : unsigned char {
    nothing,
    label,
    help,
    unit,
    example,
    group,
    order,      /* a number */
    list,       /* nothing follows */
    words,      /* so many bytes of them, each with its null byte */
    number,     /* from, to, step */
    text,       /* least and most characters */
    name,       /* the class */
    input,      /* kinds of vorn/input.h */
    real,       /* from, to; as they lie in memory */
    characters, /* least and most of them, then pairs of characters with a null byte */
    numerals,   /* as words; each is a number in its digits */
};

constexpr std::size_t longest_description = 65534;

/* One thing that is told, and where its bytes are. */
struct Fact {
    Told what;
    const char *bytes;
    std::size_t size;

    std::int32_t number(std::size_t index) const;
    /* How many such numbers it begins with. */
    int numbers() const;
    double real(std::size_t index) const;
    /* The first of its texts, which fill the rest of it; null where it has none. */
    const char *first_word() const;
};

/*
 * All that is told of one class or property, in one block: most of a device's descriptions are
 * short texts, for which a block each would cost more than the text. There is none as long as
 * nothing is told.
 */
class Description {
public:
    bool is_empty() const { return !block_; }

    /* The text that was told; null for none. It is gone with the next change. */
    const char *text(Told what) const;
    /* The number that was told; 0 for none. */
    std::int32_t number(Told what) const;
    bool has(Told what) const;

    /* In the place of what was told of it before; false when memory is gone. */
    bool tell(Told what, const void *bytes, std::size_t size);
    /* Beside what was told before; false when memory is gone. */
    bool add(Told what, const void *bytes, std::size_t size);
    void take_back(Told what);
    bool copy(const Description &other);

    /* The facts in their order: from the block's first to null. */
    class Walk {
    public:
        explicit Walk(const Description &description);
        bool next(Fact &fact);

    private:
        const char *at_;
        const char *end_;
    };

private:
    bool replace(Told gone, Told what, const void *bytes, std::size_t size);

    Allocated<char> block_; /* its size comes first */
};

inline bool is_alternative(Told what)
{
    return what >= Told::words;
}

/* Whether anything is told of what values are acceptable. */
bool has_alternatives(const Description &description);

/* Whether one of the alternatives takes the value, or each word of it; any does without them. */
bool is_accepted(const Description &description, const char *value);

} // namespace vorn
