/* SPDX-License-Identifier: MIT */
/* Services that keep ending, by a clock that is later than that of any other test. */
#include "services/service_endings.h"
#include "vorn/service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "fake_calls.h"

namespace vorn::tests {

namespace {

using testing::Contains;
using testing::Not;

constexpr std::int64_t minute_us = 60000000;

class FailingServices : public testing::Test {
protected:
    FailingServices()
    {
        static std::int64_t later_us = 1000000 * minute_us;
        later_us += 100 * minute_us;
        calls.now_us = later_us;
        calls.leap_us = 1;
    }

    static void end(const std::string &name, int times = 3)
    {
        for (int i = 0; i < times; i++)
            note_ending(name.c_str());
    }
    void wait(std::int64_t time_us) { calls.now_us += time_us; }
    static std::vector<std::string> told()
    {
        std::vector<std::string> names;
        while (const char *name = vorn_service_get_failing(static_cast<unsigned int>(names.size())))
            names.emplace_back(name);
        return names;
    }

    FakeCalls calls;
};

} // namespace

TEST_F(FailingServices, AreThoseThatEndedThreeTimes)
{
    end("twice", 2);
    end("thrice");
    end("more often", 7);

    EXPECT_THAT(told(), Contains("thrice"));
    EXPECT_THAT(told(), Contains("more often"));
    EXPECT_THAT(told(), Not(Contains("twice")));
}

TEST_F(FailingServices, EndedThriceWithinTenMinutes)
{
    end("slow", 1);
    wait(6 * minute_us);
    end("slow", 1);
    wait(3 * minute_us);
    end("slow", 1);
    EXPECT_THAT(told(), Contains("slow"));

    wait(2 * minute_us);
    EXPECT_THAT(told(), Not(Contains("slow")));
    end("slow", 1);
    EXPECT_THAT(told(), Contains("slow"));
}

TEST_F(FailingServices, AreTheLatestSixteenThatEnded)
{
    for (int i = 0; i < 17; i++)
        end("service " + std::to_string(i));
    EXPECT_EQ(told().size(), 16u);
    EXPECT_THAT(told(), Not(Contains("service 0")));

    end("service 1", 1);
    end("another");
    EXPECT_THAT(told(), Contains("service 1"));
    EXPECT_THAT(told(), Not(Contains("service 2")));
}

TEST_F(FailingServices, AreKnownByAsMuchOfALongNameAsThereIsRoomFor)
{
    end(std::string(100, 'n'));

    EXPECT_THAT(told(), Contains(std::string(63, 'n')));
}

} // namespace vorn::tests
