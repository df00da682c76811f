/* SPDX-License-Identifier: MIT */
#include "core/base/memory.h"

namespace vorn {

constinit unsigned long refused_allocations = 0;

void *Record::operator new(std::size_t size) noexcept
{
    return noted(std::malloc(size));
}

void Record::operator delete(void *memory) noexcept
{
    std::free(memory);
}

} // namespace vorn
