/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/shared_text.h"
#include "core/hash_table/table.h"
#include "model/property_record.h"

#include <cstddef>
#include <cstdint>

namespace vorn {

/* What a walk over values yields. */
struct NamedText {
    NameKey property;
    const char *text;
};

/* What an instance that is about to be filled will hold. */
class ExpectedValues {
public:
    void add(const char *text);
    unsigned int count() const { return count_; }

private:
    friend class Values;

    std::uint32_t count_ = 0;
    std::uint32_t alone_ = 0; /* texts that will not be in the piece */
    std::uint32_t piece_ = 0; /* the bytes of the others */
};

/*
 * The texts of one instance by property, in the order last set. Copies share one block until one
 * of them is written: most instances of a copied configuration never are. A text lies where it is
 * until its property is set again: somebody may hold it while other properties are.
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
     * Makes room for what will be set first of all: short texts will lie side by side in one piece.
     * More than that may be set, or less. False when memory is gone.
     */
    bool expect(const ExpectedValues &expected);
    /*
     * Sets a copy of a text; it goes to the end of the order, also when it replaces one. The first
     * text makes room for as many as are expected. False, with nothing changed, when memory is
     * gone.
     */
    bool set(const vorn_property &property, const char *text, unsigned int expected);

    unsigned int size() const;

    /* What freeing it would give back: the block and the texts that have no other holder. */
    std::size_t own_bytes() const;
    /* What it holds that others, or null, do not hold as well. */
    std::size_t bytes_beside(const Values *others) const;

private:
    struct Block;

public:
    class Cursor {
    public:
        constexpr Cursor(const Block *block, std::uint32_t index) : block_(block), index_(index) {}
        NamedText operator*() const;
        Cursor &operator++()
        {
            index_++;
            return *this;
        }
        bool operator!=(const Cursor &other) const { return index_ != other.index_; }

    private:
        const Block *block_;
        std::uint32_t index_;
    };

    Cursor begin() const { return {block_, 0}; }
    Cursor end() const { return {block_, size()}; }

private:
    bool own(std::size_t needed, std::size_t wanted);

    Block *block_ = nullptr;
};

} // namespace vorn
