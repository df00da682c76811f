/* SPDX-License-Identifier: MIT */
/*
 * An instance has few values, so they lie side by side in one block and are found by looking at
 * one after the other: that is quicker than hashing, takes a fraction of the memory of a table,
 * and lets a copy be a reference to the block.
 *
 * A block is: its head, a slot for each value, room, and at its end what it holds of texts. Slots
 * grow forwards and holdings backwards, so that one number says whether there is room for more.
 * Blocks are made anew when they grow; texts are outside of them, and stay where they are.
 */
#include "model/values.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace vorn {

namespace {

constexpr unsigned int most_expected = 32; /* a class may have many more that are never set */

/* A longer text is alone: the room of a text that was replaced is lost until the piece is freed. */
constexpr std::size_t most_in_piece = 64;

/* Texts side by side. They never move and are freed together, by the last of their holders. */
struct Piece {
    std::uint32_t holders;
    std::uint32_t used;
    std::uint32_t room;

    char *texts() { return reinterpret_cast<char *>(this + 1); }
    std::size_t bytes() const { return sizeof *this + room; }
};

/* A value: the number of its property, and where its text is. */
struct Slot {
    std::uint16_t property;  /* compared the most often, so that nothing else is in it */
    std::uint16_t text : 15; /* its place in the piece; or which of those that are alone it is */
    std::uint16_t is_alone : 1;

    static constexpr std::uint32_t most_texts = 1U << 15;

    static Slot of(const vorn_property &property, bool is_alone, std::uint32_t text)
    {
        Slot slot;
        slot.property = static_cast<std::uint16_t>(property.number);
        slot.text = text & (most_texts - 1);
        slot.is_alone = is_alone;
        return slot;
    }
};
static_assert(most_numbered == Slot::most_texts, "a text that is alone has a number, too");

/* What a slot can say. */
constexpr std::uint32_t longest_piece = Slot::most_texts - 1;

void let_go(Piece *piece)
{
    if (piece && --piece->holders == 0) std::free(piece);
}

Piece *make_piece(std::uint32_t room)
{
    void *memory = noted(std::malloc(sizeof(Piece) + room));
    return memory ? new (memory) Piece{1, 0, room} : nullptr;
}

std::size_t whole_places(std::size_t bytes)
{
    return (bytes + sizeof(void *) - 1) / sizeof(void *) * sizeof(void *);
}

const char *name_of(const Slot &slot)
{
    return numbered_properties[slot.property]->name.get();
}

} // namespace

struct Values::Block {
    std::uint32_t holders;
    std::uint32_t count;
    std::uint32_t alone;         /* texts */
    std::uint32_t has_piece : 1; /* at the very end; the texts that are alone are before it */
    std::uint32_t room : 31;     /* bytes after the head */

    Slot *slots() { return reinterpret_cast<Slot *>(this + 1); }
    Slot *end() { return slots() + count; }
    void *edge() { return reinterpret_cast<char *>(this + 1) + room; }
    Piece *&piece_place() { return static_cast<Piece **>(edge())[-1]; }
    Piece *piece() { return has_piece ? piece_place() : nullptr; }
    SharedText &text_alone(std::uint32_t index)
    {
        return static_cast<SharedText *>(edge())[-1 - static_cast<int>(has_piece + index)];
    }
    const char *text_of(const Slot &slot)
    {
        return slot.is_alone ? text_alone(slot.text).get() : piece()->texts() + slot.text;
    }
    Slot *find(const vorn_property &property);
    std::size_t needs() const
    {
        return count * sizeof(Slot) + (has_piece + alone) * sizeof(void *);
    }
    std::size_t bytes() const { return sizeof *this + room; }

    static Block *make(std::size_t room)
    {
        void *memory = noted(std::malloc(sizeof(Block) + room));
        return memory ? new (memory) Block{1, 0, 0, 0, static_cast<std::uint32_t>(room)} : nullptr;
    }
    /* The same, with one more holder for each text; a piece that nothing is in any more stays out.
     */
    Block *copy(std::size_t copied_room);
    bool append(const vorn_property &property, const char *text, std::size_t size, Slot *replaced);
    void put_last(Slot *replaced, Slot slot);
};

Slot *Values::Block::find(const vorn_property &property)
{
    Slot *slot = slots();
    while (slot != end() && slot->property != property.number)
        slot++;
    return slot;
}

Values::Block *Values::Block::copy(std::size_t copied_room)
{
    Block *made = make(copied_room);
    if (!made) return nullptr;
    made->count = count;
    made->alone = alone;
    made->has_piece = has_piece && count > alone;
    std::copy_n(slots(), count, made->slots());
    if (made->has_piece) {
        made->piece_place() = piece();
        piece()->holders++;
    }
    for (std::uint32_t i = 0; i < alone; i++)
        new (&made->text_alone(i)) SharedText(text_alone(i));
    return made;
}

void Values::Block::put_last(Slot *replaced, Slot slot)
{
    if (replaced != end()) {
        std::copy(replaced + 1, end(), replaced);
        count--;
    }
    new (end()) Slot(slot);
    count++;
}

/* Puts a text into the piece, if nobody else holds that and there is room for it. */
bool Values::Block::append(const vorn_property &property, const char *text, std::size_t size,
                           Slot *replaced)
{
    Piece *own = piece();
    if (!own || holders > 1 || own->holders > 1) return false;
    if (size > most_in_piece || size > own->room - own->used) return false;
    if (replaced != end() ? replaced->is_alone : needs() + sizeof(Slot) > room) return false;

    std::memmove(own->texts() + own->used, text, size);
    put_last(replaced, Slot::of(property, false, own->used));
    own->used += static_cast<std::uint32_t>(size);
    return true;
}

void ExpectedValues::add(const char *text)
{
    const std::size_t size = std::strlen(text) + 1;
    count_++;
    if (size > most_in_piece) {
        alone_++;
    } else {
        piece_ += static_cast<std::uint32_t>(size);
    }
}

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
    for (std::uint32_t i = 0; i < block_->alone; i++)
        std::destroy_at(&block_->text_alone(i));
    let_go(block_->piece());
    std::free(block_);
}

const char *Values::get(const vorn_property &property) const
{
    if (!block_) return nullptr;
    for (const Slot *slot = block_->slots(); slot != block_->end(); slot++) {
        if (slot->property == property.number) return block_->text_of(*slot);
    }
    return nullptr;
}

const char *Values::get(const char *name) const
{
    if (!block_) return nullptr;
    for (const Slot *slot = block_->slots(); slot != block_->end(); slot++) {
        const char *own = name_of(*slot);
        if (own == name || std::strcmp(own, name) == 0) return block_->text_of(*slot);
    }
    return nullptr;
}

/* A single text gains nothing from a piece of its own. */
bool Values::expect(const ExpectedValues &expected)
{
    if (expected.count_ - expected.alone_ < 2) return true;

    Block *made = Block::make(
        whole_places(expected.count_ * sizeof(Slot) + (1 + expected.alone_) * sizeof(void *)));
    if (!made) return false;
    Piece *piece = make_piece(std::min(expected.piece_, longest_piece));
    if (!piece) {
        std::free(made);
        return false;
    }
    made->has_piece = 1;
    made->piece_place() = piece;
    block_ = made;
    return true;
}

/* Makes the block this holder's alone, with so much room or, if that is too little, as wanted. */
bool Values::own(std::size_t needed, std::size_t wanted)
{
    if (block_ && block_->holders == 1 && block_->room >= needed) return true;

    const std::size_t room = whole_places(std::max(needed, wanted));
    Block *made = block_ ? block_->copy(room) : Block::make(room);
    if (!made) return false;
    const Values before(std::move(*this));
    block_ = made;
    return true;
}

bool Values::set(const vorn_property &property, const char *text, unsigned int expected)
{
    constexpr std::size_t usual = sizeof(Slot) + sizeof(SharedText);
    const std::size_t size = std::strlen(text) + 1;
    if (block_ && block_->append(property, text, size, block_->find(property))) return true;

    SharedText made = SharedText::of(text);
    if (!made) return false;
    Slot *found = block_ ? block_->find(property) : nullptr;
    const bool is_new = !block_ || found == block_->end();
    const bool takes_place = !is_new && found->is_alone;
    const std::size_t needed = (block_ ? block_->needs() : 0) + (is_new ? sizeof(Slot) : 0) +
                               (takes_place ? 0 : sizeof(SharedText));
    const std::size_t wanted = !block_  ? std::clamp(expected, 1U, most_expected) * usual
                               : is_new ? block_->room + block_->room / 2
                                        : needed;
    if (!own(needed, wanted)) return false;

    found = block_->find(property);
    const std::uint32_t index = takes_place ? found->text : block_->alone;
    if (takes_place) {
        block_->text_alone(index) = std::move(made);
    } else {
        new (&block_->text_alone(index)) SharedText(std::move(made));
        block_->alone++;
    }
    block_->put_last(found, Slot::of(property, true, index));
    return true;
}

unsigned int Values::size() const
{
    return block_ ? block_->count : 0;
}

std::size_t Values::own_bytes() const
{
    if (!block_ || block_->holders > 1) return 0;
    std::size_t bytes = block_->bytes();
    Piece *piece = block_->piece();
    if (piece && piece->holders == 1) bytes += piece->bytes();
    for (std::uint32_t i = 0; i < block_->alone; i++) {
        const SharedText &text = block_->text_alone(i);
        if (text.holders() == 1) bytes += text.bytes();
    }
    return bytes;
}

std::size_t Values::bytes_beside(const Values *others) const
{
    Block *other = others ? others->block_ : nullptr;
    if (!block_ || other == block_) return 0;
    std::size_t bytes = block_->bytes();
    Piece *piece = block_->piece();
    if (piece && !(other && other->piece() == piece)) bytes += piece->bytes();
    for (const Slot *slot = block_->slots(); slot != block_->end(); slot++) {
        if (!slot->is_alone) continue;
        const SharedText &text = block_->text_alone(slot->text);
        const char *same = others ? others->get(*numbered_properties[slot->property]) : nullptr;
        if (same != text.get()) bytes += text.bytes();
    }
    return bytes;
}

NamedText Values::Cursor::operator*() const
{
    auto *block = const_cast<Block *>(block_);
    const Slot &slot = block->slots()[index_];
    return {NameKey(name_of(slot)), block->text_of(slot)};
}

} // namespace vorn
