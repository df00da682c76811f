/* SPDX-License-Identifier: MIT */
/* The other doors of a daemon that is short of memory, and the copies that plugins ask for. */
#include "support/raw_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "faults/faulty_device.h"
#include "faults/scarce_memory.h"

namespace {

using testing::AnyOf;
using testing::Eq;
using testing::HasSubstr;
using namespace vorn::tests;

constexpr unsigned long sane_limit = 100000;
constexpr int notify_port = 8001;
constexpr char default_file[] = "/etc/defaultconfig.xml";

class DoorsShortOfMemory : public FaultyDevice {
protected:
    void SetUp() override
    {
#ifdef VORN_SANITIZED
        GTEST_SKIP() << "the sanitizer's allocator lets no other one be preloaded";
#endif
        FaultyDevice::SetUp();
        for (const char *plugin : {"save.vorn", "copies.vorn", "rescan.vorn"})
            install_plugin(plugin);
        set_environment("LD_PRELOAD", VORN_ALLOCATION_SHIM);
        set_environment(ALLOCATION_CONTROL_VARIABLE, ScarceMemory::path());
        boot();
    }

    /* The body does one thing with each of its allocations refused in turn, then judges it. */
    void refuse_each(const std::string &title, const std::function<void()> &act,
                     const std::function<void()> &judge)
    {
        unsigned long nth = 1;
        for (refused_ = true; refused_ && nth < sane_limit && !HasFailure(); nth++) {
            SCOPED_TRACE(testing::Message() << "refusing allocation " << nth);
            new_messages();
            memory_.refuse(nth);
            act();
            EXPECT_TRUE(is_idle());
            refused_ = memory_.stop_refusing();
            judge();
        }
        report(title, nth - 2, "");
    }

    static std::string change(const std::string &label)
    {
        return "<lsql><update><Board><label>" + label + "</label></Board></update></lsql>";
    }

    static std::string copy(const std::string &what)
    {
        return "<lsql><update><Copies><" + what + ">now</" + what + "></Copies></update></lsql>";
    }

    ScarceMemory memory_;
    bool refused_ = false;
};

TEST_F(DoorsShortOfMemory, InformAHandlerOrSayWhyNot)
{
    std::string answer;
    refuse_each(
        "inform request",
        [&] {
            RawClient client("vorn_sock_inform");
            client.send(native(0) + framed("object=radio&action=rescan"));
            answer = client.receive_all();
        },
        [&] {
            const std::string messages = new_messages();
            EXPECT_THAT(answer, AnyOf(Eq("OK\n"), Eq("")));
            EXPECT_THAT(messages, HasSubstr(answer.empty() ? "Fatal error: malloc" : "rescan"));
        });
}

TEST_F(DoorsShortOfMemory, SendWholeNoticesOrNone)
{
    RawClient subscriber(notify_port);
    subscriber.send("x");
    ASSERT_TRUE(is_idle());

    const std::string end(1, '\0');
    int round = 0, lost = 0;
    refuse_each(
        "update with a subscriber", [&] { ask(change("a" + std::to_string(++round))); },
        [&] {
            const std::string mark = "<lsql origin=\"mark" + std::to_string(round) + "\"";
            ask(mark + change("b" + std::to_string(round)).substr(5));
            std::string notice = subscriber.receive_until(end);
            lost++;
            if (notice.find("origin") == std::string::npos) {
                EXPECT_THAT(notice, HasSubstr("<conf_changed>"));
                notice = subscriber.receive_until(end);
                lost--;
            }
            EXPECT_THAT(notice, HasSubstr("origin=\"mark" + std::to_string(round) + "\">"));
            EXPECT_THAT(notice, HasSubstr("</conf_changed>\n" + end));
        });
    EXPECT_LT(lost, round);
}

TEST_F(DoorsShortOfMemory, ReplaceTheDefaultWholeOrLeaveIt)
{
    ask(copy("running-to-default"));
    ASSERT_TRUE(is_idle());
    std::string before = read_file(default_file);
    ASSERT_THAT(before, HasSubstr("MD5sum: "));

    std::string answer;
    int round = 0;
    ask(change("c0"));
    refuse_each(
        "copy of the running configuration to the default",
        [&] { answer = ask(copy("running-to-default")); },
        [&] {
            const std::string now = read_file(default_file);
            const std::string messages = new_messages();
            const bool done = messages.find("copies: running-to-default 0\n") != std::string::npos;
            EXPECT_EQ(done, now != before) << messages;
            EXPECT_FALSE(is_success(answer) && messages.empty());
            EXPECT_FALSE(exists(std::string(default_file) + ".new"));
            before = now;
            ask(change("c" + std::to_string(++round)));
        });
}

} // namespace
