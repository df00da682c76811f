/* SPDX-License-Identifier: MIT */
/* Calls that plugins make, each with its allocations refused in turn. */
#include "support/raw_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "faults/scarce_device.h"

namespace {

using testing::AnyOf;
using testing::HasSubstr;
using namespace vorn::tests;

struct Inform {
    std::string name;
    std::string appetite;
};

class CallsShortOfMemory : public ScarceDevice {
protected:
    void SetUp() override
    {
        ScarceDevice::SetUp();
        if (IsSkipped()) return;
        install_plugin("calls.vorn");
        boot();
        whole_ = configuration();
    }

    static std::string inform_about(const std::string &parameters)
    {
        RawClient client("vorn_sock_inform");
        client.send(native(0) + framed(parameters));
        return client.receive_all();
    }

    std::vector<Inform> all_calls()
    {
        EXPECT_EQ(inform_about("object=calls"), "OK\n");
        std::istringstream lines(new_messages());
        std::vector<Inform> calls;
        for (std::string line; std::getline(lines, line);) {
            const auto at = line.find("calls: name ");
            if (at == std::string::npos) continue;
            std::istringstream words(line.substr(at + 12));
            std::string name, fate;
            words >> name >> fate;
            calls.push_back({name, fate});
        }
        return calls;
    }

    /*
     * Somebody is always at the door: for the first one there the daemon sets a timer that is over
     * a moment after the last has gone, which some requests would come in time for and some not.
     */
    void keep_the_door_busy()
    {
        using namespace std::chrono;
        constexpr seconds before_its_deadline{3};
        if (silent_ && steady_clock::now() - silent_since_ < before_its_deadline) return;
        auto next = std::make_unique<RawClient>("vorn_sock_inform");
        EXPECT_TRUE(is_idle());
        silent_ = std::move(next);
        silent_since_ = steady_clock::now();
        EXPECT_TRUE(is_idle());
    }

    /* What the plugin says became of it; "" when the request itself found no memory. */
    std::string make(const Inform &call, unsigned long nth)
    {
        keep_the_door_busy();
        new_messages();
        memory_.refuse(nth);
        inform_about("object=call&name=" + call.name);
        EXPECT_TRUE(is_idle());
        refused_ = memory_.stop_refusing();
        const std::string messages = new_messages();
        const auto at = messages.find("calls: ");
        return at == std::string::npos ? ""
                                       : messages.substr(at + 7, messages.find('\n', at) - at - 7);
    }

    /* How many allocations there were to refuse. */
    unsigned long refuse_each(const Inform &call)
    {
        EXPECT_EQ(make(call, 0), "done");
        unsigned long nth = 1;
        for (; nth < most_allocations && !HasFailure(); nth++) {
            SCOPED_TRACE(testing::Message() << call.name << ", refusing allocation " << nth);
            const std::string outcome = make(call, nth);
            const bool refused = refused_;
            EXPECT_THAT(outcome, AnyOf("done", "refused", ""));
            EXPECT_EQ(configuration(), whole_);
            if (!refused) {
                EXPECT_EQ(outcome, "done");
                break;
            }
            EXPECT_TRUE(call.appetite == "keeps" || leaks_nothing([&] {
                            make(call, nth);
                            return 0L;
                        }));
        }
        return nth - 1;
    }

    std::string whole_;
    bool refused_ = false;
    std::unique_ptr<RawClient> silent_;
    std::chrono::steady_clock::time_point silent_since_;
};

TEST_F(CallsShortOfMemory, DoWhatTheyPromiseOrAnswerWhatTheyPromiseThen)
{
    const std::vector<Inform> calls = all_calls();
    ASSERT_GT(calls.size(), 40u);
    const unsigned long of_the_request = refuse_each({"nothing", "takes-none"});

    for (const Inform &call : calls) {
        if (HasFailure() || call.name == "nothing") continue;
        const unsigned long tried = refuse_each(call) - of_the_request;
        EXPECT_EQ(tried == 0, call.appetite == "takes-none") << call.name << ": " << tried;
        report(call.name, tried, "");
    }
}

} // namespace
