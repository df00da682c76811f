/* SPDX-License-Identifier: MIT */
/*
 * The runner. After each test it looks for what the test left behind: open descriptors and
 * children. A test that hangs is ended by the alarm after VORN_HANGING_SECONDS, or as many as
 * VORN_TEST_SECONDS in the environment says: not every tool lets it run at its own speed.
 */
#include "support/descriptors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>

#include <sys/wait.h>
#include <unistd.h>

namespace {

unsigned int limit_seconds()
{
    const char *limit = std::getenv("VORN_TEST_SECONDS");
    return limit ? static_cast<unsigned int>(std::strtoul(limit, nullptr, 10))
                 : VORN_HANGING_SECONDS;
}

class Hygiene : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo &) override
    {
        descriptors_ = vorn::tests::open_descriptors();
        alarm(limit_seconds());
    }

    void OnTestEnd(const testing::TestInfo &) override
    {
        alarm(0);
        EXPECT_EQ(vorn::tests::open_descriptors(), descriptors_) << "left descriptors open";
        EXPECT_TRUE(waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD) << "left a child";
    }

    int descriptors_ = 0;
};

} // namespace

int main(int argc, char **argv)
{
    testing::InitGoogleMock(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new Hygiene);
    return RUN_ALL_TESTS();
}
