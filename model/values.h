/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/shared_text.h"
#include "core/hash_table/table.h"
#include "model/property_record.h"

#include <cstddef>
#include <cstdint>

namespace vorn {

/* One property's text. The property belongs to the class, which outlives its instances. */
struct Value {
    const vorn_property *property;
    SharedText text;
};

/* What a walk over values yields. */
struct NamedText {
    NameKey property;
    const char *text;
};

/*
 * The texts of one instance by property, in the order last set. Copies share one block until one
 * of them is written: most instances of a copied configuration never are.
 */
class Values {
public:
    Values() = default;
    Values(const Values &other);
    Values(Values &&other) noexcept;
    Values &operator=(Values other) noexcept;
    ~Values();

    const char *get(const vorn_property &property) const;
    const char *get(const char *name) const;
    /*
     * Sets a text; it goes to the end of the order, also when it replaces one. The first text
     * makes room for as many as are expected. False, with nothing changed, when memory is gone.
     */
    bool set(const vorn_property &property, SharedText text, unsigned int expected);

    unsigned int size() const;

    /* What freeing it would give back: the block and the texts that have no other holder. */
    std::size_t own_bytes() const;
    /* What it holds that others, or null, do not hold as well. */
    std::size_t bytes_beside(const Values *others) const;

    class Cursor {
    public:
        explicit Cursor(const Value *value) : value_(value) {}
        NamedText operator*() const;
        Cursor &operator++()
        {
            value_++;
            return *this;
        }
        bool operator!=(const Cursor &other) const { return value_ != other.value_; }

    private:
        const Value *value_;
    };

    Cursor begin() const;
    Cursor end() const;

private:
    struct Block;

    static Block *make_block(unsigned int room);
    bool own(unsigned int room);

    Block *block_ = nullptr;
};

} // namespace vorn
