/* SPDX-License-Identifier: MIT */
#pragma once

#include <libxml/xmlmemory.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include <malloc.h>

namespace vorn::tests {

/* While alive, counts in bytes what libxml2 holds, and the most that it held. */
class HeldByLibxml2 {
public:
    HeldByLibxml2()
    {
        xmlMemGet(&free_, &malloc_, &realloc_, &strdup_);
        xmlMemSetup(give_back, take, take_more, copy);
        held = most = 0;
    }
    HeldByLibxml2(const HeldByLibxml2 &) = delete;
    ~HeldByLibxml2() { xmlMemSetup(free_, malloc_, realloc_, strdup_); }

    static inline std::ptrdiff_t held = 0;
    static inline std::ptrdiff_t most = 0;

private:
    static std::ptrdiff_t size_of(void *memory)
    {
        return static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
    }
    static void *counted(void *memory)
    {
        held += size_of(memory);
        most = std::max(most, held);
        return memory;
    }
    static void give_back(void *memory)
    {
        held -= size_of(memory);
        std::free(memory);
    }
    static void *take(std::size_t size) { return counted(std::malloc(size)); }
    static void *take_more(void *memory, std::size_t size)
    {
        held -= size_of(memory);
        return counted(std::realloc(memory, size));
    }
    static char *copy(const char *text) { return static_cast<char *>(counted(strdup(text))); }

    xmlFreeFunc free_ = nullptr;
    xmlMallocFunc malloc_ = nullptr;
    xmlReallocFunc realloc_ = nullptr;
    xmlStrdupFunc strdup_ = nullptr;
};

} // namespace vorn::tests
