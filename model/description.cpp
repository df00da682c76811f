/* SPDX-License-Identifier: MIT */
/* What plugins tell of their classes and properties, kept in as little memory as it needs. */
#include "model/description.h"

#include <cstring>
#include <utility>

namespace vorn {

namespace {

/* Before the facts: how many bytes they are. Before each: what it is, and its own bytes. */
using Size = std::uint32_t;
constexpr std::size_t head_size = 1 + sizeof(std::uint16_t);
constexpr std::size_t most_bytes = UINT16_MAX;

Size size_of(const char *block)
{
    Size size = 0;
    if (block) std::memcpy(&size, block, sizeof size);
    return size;
}

char *write_fact(char *at, Told what, const void *bytes, std::size_t size)
{
    const auto stored = static_cast<std::uint16_t>(size);
    *at = static_cast<char>(what);
    std::memcpy(at + 1, &stored, sizeof stored);
    if (size > 0) std::memcpy(at + head_size, bytes, size);
    return at + head_size + size;
}

} // namespace

std::int32_t Fact::number(std::size_t index) const
{
    std::int32_t value = 0;
    std::memcpy(&value, bytes + index * sizeof value, sizeof value);
    return value;
}

int Fact::numbers() const
{
    switch (what) {
    case Told::number:
        return 3;
    case Told::text:
    case Told::characters:
        return 2;
    case Told::order:
    case Told::input:
        return 1;
    default:
        return 0;
    }
}

double Fact::real(std::size_t index) const
{
    double value = 0;
    std::memcpy(&value, bytes + index * sizeof value, sizeof value);
    return value;
}

const char *Fact::first_word() const
{
    if (what == Told::words || what == Told::name || what == Told::numerals) return bytes;
    return what == Told::characters ? bytes + 2 * sizeof(std::int32_t) : nullptr;
}

Description::Walk::Walk(const Description &description)
    : at_(description.block_ ? description.block_.get() + sizeof(Size) : nullptr),
      end_(at_ ? at_ + size_of(description.block_.get()) : nullptr)
{}

bool Description::Walk::next(Fact &fact)
{
    if (at_ == end_) return false;
    std::uint16_t size = 0;
    std::memcpy(&size, at_ + 1, sizeof size);
    fact = {static_cast<Told>(*at_), at_ + head_size, size};
    at_ += head_size + size;
    return true;
}

const char *Description::text(Told what) const
{
    Fact fact{};
    for (Walk walk(*this); walk.next(fact);)
        if (fact.what == what) return fact.bytes;
    return nullptr;
}

std::int32_t Description::number(Told what) const
{
    Fact fact{};
    for (Walk walk(*this); walk.next(fact);)
        if (fact.what == what) return fact.number(0);
    return 0;
}

bool Description::has(Told what) const
{
    return text(what) != nullptr;
}

/* Built aside: what can't be told leaves everything as it was. */
bool Description::replace(Told gone, Told what, const void *bytes, std::size_t size)
{
    if (size > most_bytes) return false;
    std::size_t room = sizeof(Size) + head_size + size;
    Fact fact{};
    for (Walk walk(*this); walk.next(fact);)
        if (fact.what != gone) room += head_size + fact.size;
    Allocated<char> block(static_cast<char *>(noted(std::malloc(room))));
    if (!block) return false;

    char *at = block.get() + sizeof(Size);
    for (Walk walk(*this); walk.next(fact);)
        if (fact.what != gone) at = write_fact(at, fact.what, fact.bytes, fact.size);
    at = write_fact(at, what, bytes, size);
    const auto whole = static_cast<Size>(at - block.get() - sizeof(Size));
    std::memcpy(block.get(), &whole, sizeof whole);
    block_ = std::move(block);
    return true;
}

bool Description::tell(Told what, const void *bytes, std::size_t size)
{
    return replace(what, what, bytes, size);
}

bool Description::add(Told what, const void *bytes, std::size_t size)
{
    return replace(Told::nothing, what, bytes, size);
}

void Description::take_back(Told what)
{
    Fact fact{};
    char *at = block_ ? block_.get() + sizeof(Size) : nullptr;
    for (Walk walk(*this); walk.next(fact);) {
        const std::size_t whole = head_size + fact.size;
        if (fact.what == what) continue;
        std::memmove(at, fact.bytes - head_size, whole);
        at += whole;
    }
    if (!block_) return;
    const auto size = static_cast<Size>(at - block_.get() - sizeof(Size));
    std::memcpy(block_.get(), &size, sizeof size);
}

bool Description::copy(const Description &other)
{
    if (!other.block_) return true;
    const std::size_t size = sizeof(Size) + size_of(other.block_.get());
    Allocated<char> block(static_cast<char *>(noted(std::malloc(size))));
    if (!block) return false;
    std::memcpy(block.get(), other.block_.get(), size);
    block_ = std::move(block);
    return true;
}

} // namespace vorn
