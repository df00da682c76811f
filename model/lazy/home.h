/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "vorn/instance.h"

#include <cstdint>
#include <utility>

namespace vorn {

/* What is about to happen to an instance of a store. */
enum class StoreEvent { write, arrival, departure };

/*
 * Someone whose picture of a store rests on the store staying as it is: a change set, which can
 * say what everything was before, or a copy that has not copied everything yet. It is asked
 * before anything changes, and saves what it needs. Answering false (no memory) prevents the
 * change.
 */
struct Witness {
    bool (*before_change)(Witness &witness, StoreEvent event, vorn_instance &instance);
    /* After an arrival; null for who does not care. False takes the instance out again. */
    bool (*arrived)(Witness &witness, vorn_instance &instance);
    /* Before a whole class goes at once. */
    bool (*before_drop)(Witness &witness);
    /* A copy takes an original's place, as if it had been there; null for who does not care. */
    void (*succeeded)(Witness &witness, const vorn_instance &original, const vorn_instance &copy);
    Witness *next = nullptr;
};

/*
 * How the instances of one store are listened to. A store of any size is watched and unwatched by
 * writing this record alone: it holds for each instance whose own listener is older.
 */
struct InstanceHome {
    vorn_instance_listener_fn listener = nullptr;
    void *listener_data = nullptr;
    std::uint64_t since = 0; /* on the clock of listeners */
    Witness *witnesses = nullptr;

    void add(Witness &witness) { witness.next = std::exchange(witnesses, &witness); }
    void remove(const Witness &witness);
    bool ask(StoreEvent event, vorn_instance &instance) const;
    void tell_of_succession(const vorn_instance &original, const vorn_instance &copy) const;
};

/* Counts the times at which listeners were set for a whole store. */
extern std::uint64_t listener_clock;

/*
 * The place of one class in one store. Its instances refer to it and count as its holders, since
 * either may end first: a store is deleted without its instances, and they without their store.
 */
struct Shelf : Record {
    std::uint32_t holders = 1;
    InstanceHome *home = nullptr;    /* null once the store is gone */
    std::uint64_t new_life_from = 0; /* instances' own listeners that are older do not count */
};

/* A counted reference to a shelf. */
class OnShelf {
public:
    OnShelf() = default;
    /* Takes over a reference that is counted. */
    explicit OnShelf(Shelf *shelf) : shelf_(shelf) {}
    /* One more reference to a shelf that belongs to nobody. */
    explicit OnShelf(Shelf &shelf) : shelf_(&shelf) { shelf.holders++; }
    OnShelf(const OnShelf &other) : shelf_(other.shelf_)
    {
        if (shelf_) shelf_->holders++;
    }
    OnShelf &operator=(OnShelf other) noexcept
    {
        std::swap(shelf_, other.shelf_);
        return *this;
    }
    ~OnShelf()
    {
        if (shelf_ && --shelf_->holders == 0) delete shelf_;
    }

    Shelf *operator->() const { return shelf_; }
    explicit operator bool() const { return shelf_ != nullptr; }
    bool operator==(const OnShelf &other) const { return shelf_ == other.shelf_; }
    bool is(const Shelf &shelf) const { return shelf_ == &shelf; }
    /* The home of a store that still exists. */
    InstanceHome *home() const { return shelf_ ? shelf_->home : nullptr; }

private:
    Shelf *shelf_ = nullptr;
};

} // namespace vorn
