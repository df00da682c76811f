/* SPDX-License-Identifier: MIT */
/* Maps the file through which the daemon's preloaded allocator takes its orders. */
#include "faults/scarce_memory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace vorn::tests {

ScarceMemory::ScarceMemory()
{
    const int file = open(path(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    EXPECT_EQ(ftruncate(file, sizeof *control_), 0);
    void *mapped = mmap(nullptr, sizeof *control_, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    EXPECT_NE(mapped, MAP_FAILED);
    control_ = static_cast<allocation_control *>(mapped);
}

ScarceMemory::~ScarceMemory()
{
    munmap(control_, sizeof *control_);
}

const char *ScarceMemory::path()
{
    return "/tmp/allocation.control";
}

void ScarceMemory::refuse(unsigned long nth)
{
    control_->refused = 0;
    control_->made = 0;
    control_->refuse_at = nth;
}

void ScarceMemory::refuse_all()
{
    control_->refuse_all = 1;
}

bool ScarceMemory::stop_refusing()
{
    control_->refuse_all = 0;
    control_->refuse_at = 0;
    return control_->refused != 0;
}

unsigned long ScarceMemory::made() const
{
    return control_->made;
}

long ScarceMemory::live() const
{
    return control_->live;
}

} // namespace vorn::tests
