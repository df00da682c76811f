/* SPDX-License-Identifier: MIT */
/* A program that a keeper looks after ends, whatever it has started itself. */
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "vorn-plugin/patience.h"

extern "C" {
#include "kept.h"
}

namespace {

constexpr std::int64_t second_us = 1000000;

/* Of a shell, so that it can have children of its own. */
class KeptPrograms : public testing::Test {
protected:
    KeptPrograms()
    {
        run_.output = output_;
        run_.room = sizeof output_;
        run_.pipe = -1;
        prctl(PR_SET_CHILD_SUBREAPER, 1);
    }
    ~KeptPrograms() override
    {
        kept_give_up(&run_);
        kill(-run_.keeper, SIGKILL);
        await_all();
        prctl(PR_SET_CHILD_SUBREAPER, 0);
    }

    /* The keeper, and what has become a child of this process since its own parent ended. */
    void await_all() const
    {
        while (waitpid(-run_.keeper, nullptr, 0) > 0)
            continue;
    }

    testing::AssertionResult ends(const char *script, int limit_ms)
    {
        const char *const arguments[] = {"sh", "-c", script, nullptr};
        const kept_plan plan = {arguments, feed_, 0, limit_ms};
        if (kept_start(&run_, &plan) != 0) return testing::AssertionFailure() << output_;
        if (kept_await(&run_, patience_now_us() + 90 * second_us)) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure() << "it goes on";
    }

    void (*feed_)(int input) = nullptr;
    char output_[256];
    kept run_ = {};
};

TEST_F(KeptPrograms, TellWhatTheySayAndHowTheyEnd)
{
    ASSERT_TRUE(ends("echo one; echo two >&2; exit 3", 60000));

    EXPECT_STREQ(output_, "one\ntwo\n");
    EXPECT_EQ(WEXITSTATUS(run_.status), 3);
}

/* What they say may come from anybody, such as the names of networks. */
TEST_F(KeptPrograms, CannotTellForTheirKeeperHowTheyEnd)
{
    ASSERT_TRUE(ends("printf 'one\\0010\\ntwo\\00100000000 0\\nthree\\001'; exit 3", 60000));

    EXPECT_STREQ(output_, "one?0\ntwo?00000000 0\nthree?");
    EXPECT_EQ(WEXITSTATUS(run_.status), 3);
}

TEST_F(KeptPrograms, LoseNothingBehindWhatLooksLikeTheirKeepers)
{
    ASSERT_TRUE(ends("printf '\\0010123456789abcdef0123456789\\nend\\n'", 60000));

    EXPECT_STREQ(output_, "?0123456789abcdef0123456789\nend\n");
    EXPECT_EQ(run_.status, 0);
}

TEST_F(KeptPrograms, EndWithThemselvesAndNotWithWhatTheyStarted)
{
    ASSERT_TRUE(ends("sleep 1000 & echo done", 60000));

    EXPECT_STREQ(output_, "done\n");
    EXPECT_EQ(run_.status, 0);
}

TEST_F(KeptPrograms, AreKilledWithWhatTheyStarted)
{
    ASSERT_TRUE(ends("sleep 1000; echo never", 50));

    EXPECT_STREQ(output_, "no answer within 50 ms");
    EXPECT_NE(run_.status, 0);
    await_all(); /* for ever, if something goes on */
}

TEST_F(KeptPrograms, AreKilledThoughTheyDoNotReadTheirInput)
{
    feed_ = [](int input) {
        static const char much[1 << 20] = {};
        const ssize_t count = write(input, much, sizeof much);
        (void)count;
    };

    ASSERT_TRUE(ends("sleep 1000", 50));

    EXPECT_STREQ(output_, "no answer within 50 ms");
}

} // namespace
