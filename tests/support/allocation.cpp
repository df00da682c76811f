/* SPDX-License-Identifier: MIT */
/* The allocator that fails on demand: malloc and its family are wrapped at link time. */
#include "support/allocation.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>

namespace {

bool counting = false;
bool refused = false;
unsigned long countdown = 0;

/* For the table that ./dev oom prints. */
void report(unsigned long refused_allocations)
{
    if (!std::getenv("VORN_REPORT_ALLOCATIONS")) return;
    const testing::TestInfo *test = testing::UnitTest::GetInstance()->current_test_info();
    std::cout << "row\t" << test->test_suite_name() << "." << test->name() << "\t"
              << refused_allocations << "\t" << std::endl;
}

bool refuse()
{
    if (!counting || refused) return false;
    if (--countdown > 0) return false;
    refused = true;
    errno = ENOMEM;
    return true;
}

} // namespace

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *memory, size_t size);
char *__real_strdup(const char *text);

void *__wrap_malloc(size_t size)
{
    return refuse() ? nullptr : __real_malloc(size);
}
void *__wrap_calloc(size_t count, size_t size)
{
    return refuse() ? nullptr : __real_calloc(count, size);
}
void *__wrap_realloc(void *memory, size_t size)
{
    return refuse() ? nullptr : __real_realloc(memory, size);
}
char *__wrap_strdup(const char *text)
{
    return refuse() ? nullptr : __real_strdup(text);
}
}

namespace vorn::tests {

void FailEachAllocation(const std::function<void()> &body, unsigned long least)
{
    constexpr unsigned long sane_limit = 100000;

    for (unsigned long nth = 1; nth < sane_limit; nth++) {
        SCOPED_TRACE(testing::Message() << "failing allocation " << nth);
        countdown = nth;
        refused = false;
        counting = true;
        body();
        counting = false;
        if (!refused) {
            EXPECT_GE(nth - 1, least) << "allocations were there to be refused";
            return report(nth - 1);
        }
        if (testing::Test::HasFatalFailure()) return;
    }
    FAIL() << "the body never ran without a refused allocation";
}

void NeedsNoAllocation(const std::function<void()> &body)
{
    FailEachAllocation(
        [&] {
            body();
            EXPECT_FALSE(refused) << "it asks for memory";
        },
        0);
}

unsigned long CountAllocations(const std::function<void()> &body)
{
    constexpr unsigned long more_than_any = ~0UL;
    countdown = more_than_any;
    refused = false;
    counting = true;
    body();
    counting = false;
    return more_than_any - countdown;
}

AllocationVerdict::operator bool() const
{
    return refused;
}

void PrintTo(const AllocationVerdict &verdict, std::ostream *stream)
{
    *stream << (verdict ? "an allocation failed" : "no allocation failed");
}

AllocationsAllowed::AllocationsAllowed() : counted_(counting)
{
    counting = false;
}

AllocationsAllowed::~AllocationsAllowed()
{
    counting = counted_;
}

} // namespace vorn::tests
