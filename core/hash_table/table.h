/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/hash_table.h"

#include <cstddef>
#include <cstring>
#include <iterator>
#include <utility>

namespace vorn {

/*
 * Typed views of ght_table. They fix what must not be repeated at every use: a name's key counts
 * its terminating NUL, an identity's key is the whole pointer, automatic rehash is on, and the
 * values have a type. They own the table, never the values.
 */

/*
 * A walk over a table, oldest entry first; removing the entry at hand is allowed. What needs no
 * types is in its base, so that it is there once for all of them.
 */
class TableWalk {
public:
    TableWalk() = default;
    explicit TableWalk(ght_table *table)
    {
        value_ = table ? ght_first(table, &iterator_, &key_) : nullptr;
        table_ = table;
    }
    void go_on() { value_ = ght_next(table_, &iterator_, &key_); }
    bool operator!=(std::default_sentinel_t) const { return key_ != nullptr; }

protected:
    ght_table *table_ = nullptr;
    ght_iterator iterator_ = {};
    const void *key_ = nullptr;
    void *value_ = nullptr;
};

template <typename Key, typename T>
class TableCursor : public TableWalk {
public:
    using TableWalk::TableWalk;

    std::pair<Key, T *> operator*() const { return {Key(key_), static_cast<T *>(value_)}; }
    TableCursor &operator++()
    {
        go_on();
        return *this;
    }
};

inline unsigned int name_length(const char *name)
{
    return static_cast<unsigned int>(std::strlen(name) + 1);
}

class TableOwner {
public:
    static constexpr int no_memory = -2; /* of the answers of ght_insert */

    constexpr TableOwner() = default;
    TableOwner(TableOwner &&other) noexcept : table_(std::exchange(other.table_, nullptr)) {}
    TableOwner &operator=(TableOwner &&other) noexcept
    {
        std::swap(table_, other.table_);
        return *this;
    }
    ~TableOwner()
    {
        if (table_) ght_finalize(table_);
    }

    /* False when memory is gone; an existing table is kept as it is. */
    bool create(unsigned int buckets)
    {
        if (table_) return true;
        table_ = ght_create(buckets);
        if (table_) ght_set_rehash(table_, 1);
        return table_ != nullptr;
    }
    void discard()
    {
        if (table_) ght_finalize(std::exchange(table_, nullptr));
    }
    /* In place of a table that was never created; takes the given one over, null or not. */
    bool take(ght_table *table)
    {
        table_ = table;
        return table_ != nullptr;
    }
    explicit operator bool() const { return table_ != nullptr; }
    unsigned int size() const { return table_ ? ght_size(table_) : 0; }
    ght_table *raw() const { return table_; }

protected:
    void *find(const char *name) const
    {
        return table_ ? ght_get(table_, name_length(name), name) : nullptr;
    }
    void *take_out(const char *name)
    {
        return table_ ? ght_remove(table_, name_length(name), name) : nullptr;
    }

    ght_table *table_ = nullptr;
};

/* How a stored name key reads. */
struct NameKey {
    explicit NameKey(const void *bytes) : name(static_cast<const char *>(bytes)) {}
    operator const char *() const { return name; }
    const char *name;
};

/* Name to record. Every call but create() and insert() takes a table that was never created. */
template <typename T>
class Table : public TableOwner {
public:
    T *get(const char *name) const { return static_cast<T *>(find(name)); }
    /* ght_insert's answer: 0, -1 for a name that is taken, no_memory. */
    int insert(const char *name, T *value)
    {
        return ght_insert(table_, value, name_length(name), name);
    }
    T *replace(const char *name, T *value)
    {
        return static_cast<T *>(ght_replace(table_, value, name_length(name), name));
    }
    T *remove(const char *name) { return static_cast<T *>(take_out(name)); }

    TableCursor<NameKey, T> begin() const { return TableCursor<NameKey, T>(table_); }
    std::default_sentinel_t end() const { return {}; }
};

/* A key cursor of NameSet: the names alone. */
class NameCursor {
public:
    NameCursor() = default;
    explicit NameCursor(ght_table *table) : entries_(table) {}

    const char *operator*() const { return (*entries_).first; }
    NameCursor &operator++()
    {
        ++entries_;
        return *this;
    }
    bool operator!=(std::default_sentinel_t end) const { return entries_ != end; }

private:
    TableCursor<NameKey, void> entries_;
};

/* The table whose value is always 1. */
class NameSet : public TableOwner {
public:
    bool contains(const char *name) const { return find(name) != nullptr; }
    /* True when the name is in the set afterwards, whether or not it was before. */
    bool add(const char *name)
    {
        return ght_insert(table_, member(), name_length(name), name) != no_memory;
    }
    NameCursor begin() const { return NameCursor(table_); }
    std::default_sentinel_t end() const { return {}; }

private:
    /* The constant 1 as data: never followed, only told from null. */
    static void *member() { return reinterpret_cast<void *>(1); }
};

/* Record identity to record: the key is the pointer itself, as wide as the machine's. */
template <typename Identity, typename T>
class IdentityTable : public TableOwner {
public:
    T *get(const Identity *identity) const
    {
        return table_ ? static_cast<T *>(ght_get(table_, sizeof identity, &identity)) : nullptr;
    }
    int insert(const Identity *identity, T *value)
    {
        return ght_insert(table_, value, sizeof identity, &identity);
    }
    T *remove(const Identity *identity)
    {
        return table_ ? static_cast<T *>(ght_remove(table_, sizeof identity, &identity)) : nullptr;
    }

    struct Key {
        explicit Key(const void *bytes)
        {
            if (bytes) std::memcpy(&identity, bytes, sizeof identity);
        }
        Identity *identity = nullptr;
    };
    TableCursor<Key, T> begin() const { return TableCursor<Key, T>(table_); }
    std::default_sentinel_t end() const { return {}; }
};

} // namespace vorn
