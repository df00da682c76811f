/* SPDX-License-Identifier: MIT */
/* A disk that takes its time: everybody waits for as long as it takes, and nothing else comes of
 * it. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>

#include "faults/failing_kernel.h"
#include "faults/faulty_device.h"

namespace {

using testing::HasSubstr;
using namespace std::chrono_literals;
using namespace vorn::tests;

constexpr auto time_to_flush = 400ms;
constexpr auto time_for_a_call = 100ms;

/* Attack. */
class SlowDisks : public FaultyDevice {
protected:
    void SetUp() override
    {
        FaultyDevice::SetUp();
        install_plugin("save.vorn");
        boot({"-f"}, FailingKernel::stand_between);
    }

    static std::string change(const std::string &label)
    {
        return "<lsql><write-transaction><update><Board><label>" + label +
               "</label></Board></update></write-transaction></lsql>";
    }

    FailingKernel kernel_;
};

TEST_F(SlowDisks, HoldUpWhoeverComesMeanwhileForAsLongAsTheyTakeAndLoseNothing)
{
    kernel_.slow_down(Call::fsync, time_to_flush);
    const auto start = std::chrono::steady_clock::now();

    auto saving = std::async(std::launch::async, [] { return ask(change("slow")); });
    auto asking = std::async(std::launch::async, [] { return configuration(); });

    EXPECT_TRUE(is_success(saving.get()));
    EXPECT_THAT(asking.get(), HasSubstr("Board"));
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took, 2 * time_to_flush) << "the file, then its folder";
    EXPECT_LT(took, 20s);
    EXPECT_THAT(read_file(vorn::test::startup_file), HasSubstr("<label>slow</label>"));
    EXPECT_TRUE(only_the_startup_file_is_there());
    kernel_.stop();
    EXPECT_TRUE(is_success(ask(change("quick"))));
}

/* What a save, and whoever reads what it wrote, asks of the disk beside that. */
/* Attack. */
class SlowCalls : public SlowDisks, public testing::WithParamInterface<Call> {};

TEST_P(SlowCalls, HoldUpASaveAndLoseNothing)
{
    kernel_.slow_down(GetParam(), time_for_a_call);
    const auto start = std::chrono::steady_clock::now();

    auto saving = std::async(std::launch::async, [] { return ask(change("slow")); });
    auto reading = std::async(std::launch::async, [] { return ask("<get_conf/>"); });

    EXPECT_TRUE(is_success(saving.get()));
    EXPECT_THAT(reading.get(), HasSubstr("<config>"));
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took, time_for_a_call);
    EXPECT_LT(took, 20s);
    EXPECT_THAT(ask("<get_conf/>"), HasSubstr("<label>slow</label>"));
    EXPECT_TRUE(only_the_startup_file_is_there());
    kernel_.stop();
    EXPECT_TRUE(is_success(ask(change("quick"))));
}

TEST_P(SlowCalls, HoldUpABootAndLoseNothing)
{
    ASSERT_TRUE(is_success(ask(change("kept"))));
    shut_down();

    kernel_.slow_down(GetParam(), 5ms);
    boot({"-f"}, FailingKernel::stand_between);

    EXPECT_THAT(configuration(), HasSubstr("<label>kept</label>"));
    kernel_.stop();
}

INSTANTIATE_TEST_SUITE_P(Of, SlowCalls,
                         testing::Values(Call::open, Call::read, Call::write, Call::rename,
                                         Call::unlink, Call::close, Call::sync),
                         [](const auto &each) { return name_of(each.param); });

} // namespace
