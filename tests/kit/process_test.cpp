/* SPDX-License-Identifier: MIT */
/* A process that is to be ended is known by more than its number. */
#include <gtest/gtest.h>

#include <csignal>

#include <sys/wait.h>
#include <unistd.h>

#include "process.h"

namespace {

class Children : public testing::Test {
protected:
    void SetUp() override
    {
        child_ = fork();
        if (child_ == 0) {
            pause();
            _exit(0);
        }
        ASSERT_GT(child_, 0);
    }
    void TearDown() override { end(); }

    void end()
    {
        if (child_ <= 0) return;
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
        child_ = 0;
    }

    pid_t child_ = 0;
};

TEST_F(Children, HaveOneBirthUntilTheyAreReaped)
{
    const pid_t number = child_;
    const unsigned long long birth = supervise_birth(number);
    EXPECT_NE(birth, 0);
    EXPECT_EQ(supervise_birth(number), birth);

    end();

    EXPECT_EQ(supervise_birth(number), 0);
}

TEST_F(Children, AreTheOnlyOnesWhoseBirthIsTold)
{
    EXPECT_EQ(supervise_birth(getpid()), 0);
    EXPECT_EQ(supervise_birth(getppid()), 0);
    EXPECT_EQ(supervise_birth(0), 0);
}

} // namespace
