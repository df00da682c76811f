/* SPDX-License-Identifier: MIT */
#include "services/process_number.h"

#include <gtest/gtest.h>

#include <csignal>
#include <ctime>

#include <sys/wait.h>
#include <unistd.h>

namespace {

/* A process that waits until it is killed. */
class ProcessNumbers : public testing::Test {
protected:
    ProcessNumbers() : child(fork())
    {
        if (child == 0) {
            for (;;)
                pause();
        }
    }
    ~ProcessNumbers() override { end(); }

    void end()
    {
        if (child <= 0) return;
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        child = 0;
    }

    pid_t child;
};

TEST_F(ProcessNumbers, AreThoseOfProcessesBornAtATime)
{
    struct timespec now = {};
    clock_gettime(CLOCK_BOOTTIME, &now);
    const long ticks_each_second = sysconf(_SC_CLK_TCK);
    const auto now_ticks = static_cast<unsigned long long>(now.tv_sec * ticks_each_second);

    const unsigned long long birth = vorn::birth_of(child);

    EXPECT_LE(birth, now_ticks + static_cast<unsigned long long>(ticks_each_second));
    EXPECT_GT(birth, now_ticks - static_cast<unsigned long long>(60 * ticks_each_second));
    EXPECT_TRUE(vorn::is_the_one_born(child, birth));
    EXPECT_FALSE(vorn::is_the_one_born(child, birth - 1));
    EXPECT_TRUE(vorn::is_the_one_born(child, 0)) << "when nobody knows its birth";
}

TEST_F(ProcessNumbers, AreNobodysOnceItsProcessIsGone)
{
    const pid_t number = child;
    const unsigned long long birth = vorn::birth_of(number);
    EXPECT_TRUE(vorn::is_our_child(number));
    end();

    EXPECT_FALSE(vorn::is_our_child(number));
    EXPECT_FALSE(vorn::is_the_one_born(number, birth));
    EXPECT_EQ(vorn::birth_of(number), 0u);
    EXPECT_EQ(vorn::process_state(number), '\0');
}

} // namespace
