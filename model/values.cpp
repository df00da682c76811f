/* SPDX-License-Identifier: MIT */
/*
 * An instance has few values, so they lie side by side in one block and are found by looking at
 * one after the other: that is quicker than hashing, takes a fraction of the memory of a table,
 * and lets a copy be a reference to the block.
 */
#include "model/values.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace vorn {

struct alignas(Value) Values::Block {
    std::uint32_t holders;
    std::uint32_t count;
    std::uint32_t room;

    Value *values() { return reinterpret_cast<Value *>(this + 1); }
    Value *end() { return values() + count; }
};

namespace {

constexpr unsigned int most_expected = 32; /* a class may have many more that are never set */

bool is_named(const Value &value, const char *name)
{
    const char *own = value.property->name.get();
    return own == name || std::strcmp(own, name) == 0;
}

} // namespace

Values::Values(const Values &other) : block_(other.block_)
{
    if (block_) block_->holders++;
}

Values::Values(Values &&other) noexcept : block_(std::exchange(other.block_, nullptr))
{}

Values &Values::operator=(Values other) noexcept
{
    std::swap(block_, other.block_);
    return *this;
}

Values::~Values()
{
    if (!block_ || --block_->holders > 0) return;
    std::destroy_n(block_->values(), block_->count);
    std::free(block_);
}

const char *Values::get(const vorn_property &property) const
{
    if (!block_) return nullptr;
    const Value *end = block_->end();
    const Value *found =
        std::find_if(block_->values(), block_->end(),
                     [&property](const Value &each) { return each.property == &property; });
    return found == end ? nullptr : found->text.get();
}

const char *Values::get(const char *name) const
{
    if (!block_) return nullptr;
    for (const Value *value = block_->values(); value != block_->end(); value++) {
        if (is_named(*value, name)) return value->text.get();
    }
    return nullptr;
}

Values::Block *Values::make_block(unsigned int room)
{
    void *memory = noted(std::malloc(sizeof(Block) + room * sizeof(Value)));
    return memory ? new (memory) Block{1, 0, room} : nullptr;
}

/* Makes the block this holder's alone, with at least that much room. */
bool Values::own(unsigned int room)
{
    if (block_ && block_->holders == 1 && block_->room >= room) return true;

    Block *made = make_block(room);
    if (!made) return false;
    if (block_) {
        std::uninitialized_copy_n(block_->values(), block_->count, made->values());
        made->count = block_->count;
    }
    const Values before(std::move(*this));
    block_ = made;
    return true;
}

bool Values::set(const vorn_property &property, SharedText text, unsigned int expected)
{
    const unsigned int count = size();
    unsigned int room = block_ ? block_->room : std::clamp(expected, 1U, most_expected);
    if (count == room && !get(property)) room += room;
    if (!own(room)) return false;

    Value *replaced = std::find_if(block_->values(), block_->end(), [&property](const Value &each) {
        return each.property == &property;
    });
    if (replaced != block_->end()) {
        std::rotate(replaced, replaced + 1, block_->end());
        block_->end()[-1].text = std::move(text);
    } else {
        new (block_->end()) Value{&property, std::move(text)};
        block_->count++;
    }
    return true;
}

unsigned int Values::size() const
{
    return block_ ? block_->count : 0;
}

std::size_t Values::own_bytes() const
{
    if (!block_ || block_->holders > 1) return 0;
    std::size_t bytes = sizeof(Block) + block_->room * sizeof(Value);
    for (const Value *value = block_->values(); value != block_->end(); value++)
        if (value->text.holders() == 1) bytes += value->text.bytes();
    return bytes;
}

std::size_t Values::bytes_beside(const Values *others) const
{
    if (!block_ || (others && others->block_ == block_)) return 0;
    std::size_t bytes = sizeof(Block) + block_->room * sizeof(Value);
    for (const Value *value = block_->values(); value != block_->end(); value++) {
        const char *text = value->text.get();
        if (!others || others->get(*value->property) != text) bytes += value->text.bytes();
    }
    return bytes;
}

NamedText Values::Cursor::operator*() const
{
    return {NameKey(value_->property->name.get()), value_->text.get()};
}

Values::Cursor Values::begin() const
{
    return Cursor(block_ ? block_->values() : nullptr);
}

Values::Cursor Values::end() const
{
    return Cursor(block_ ? block_->end() : nullptr);
}

} // namespace vorn
