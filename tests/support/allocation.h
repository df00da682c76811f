/* SPDX-License-Identifier: MIT */
#pragma once

#include <functional>
#include <iosfwd>

namespace vorn::tests {

/*
 * Runs the body again and again, failing its first allocation, then its second, and so on, until
 * one run needs no failure any more. Only allocations made by the code linked into the test
 * program count (malloc, calloc, realloc, strdup); those inside libxml2 and the C library don't.
 * Fails when there were fewer allocations to refuse than the least that is expected: a body that
 * never gets as far as to allocate shows nothing.
 */
void FailEachAllocation(const std::function<void()> &body, unsigned long least = 1);

/* The same for what is promised to work without asking for memory. */
void NeedsNoAllocation(const std::function<void()> &body);

/* How many allocations the body makes, of those that would count. */
unsigned long CountAllocations(const std::function<void()> &body);

/*
 * Inside the body: whether this run has had its allocation refused yet. The answer is looked up
 * when it is compared, since the arguments of EXPECT_EQ(call(), AllocationFailed()) are evaluated
 * in any order.
 */
struct AllocationVerdict {
    operator bool() const;
};
inline AllocationVerdict AllocationFailed()
{
    return {};
}
void PrintTo(const AllocationVerdict &verdict, std::ostream *stream);

/* While alive, allocations neither count nor fail: for arranging and checking inside a body. */
class AllocationsAllowed {
public:
    AllocationsAllowed();
    ~AllocationsAllowed();

private:
    bool counted_;
};

} // namespace vorn::tests
