/* SPDX-License-Identifier: MIT */
/* Subscribers that do not read what they are sent. */
#include "api/sockets/notify_sender.h"
#include "core/base/memory.h"
#include "core/eloop_state.h"
#include "support/allocation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include <sys/socket.h>

#include "fake_calls.h"
#include "notify_fixture.h"

namespace {

using vorn::Fd;
using vorn::notify_connection;
using vorn::tests::FakeCalls;
using vorn::tests::message;
using vorn::tests::Notices;
using vorn::tests::Subscriber;

/* Attack. */
using SlowSubscribers = Notices;

/* Whole messages only, each with its separator. */
void expect_whole_messages(const std::string &text)
{
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t end = text.find('\0', at);
        ASSERT_NE(end, std::string::npos) << "half a message at the end";
        const std::string one = text.substr(at, end + 1 - at);
        ASSERT_EQ(one.compare(0, 21, "<?xml version=\"1.0\"?>"), 0) << one;
        ASSERT_EQ(one.compare(one.size() - 2, 2, std::string("\n\0", 2)), 0) << one;
        at = end + 1;
    }
}

TEST_F(SlowSubscribers, FindWholeMessagesWhenTheyReadAgain)
{
    Subscriber subscriber(1);
    subscriber.say("x");
    const std::string origin(3000, 'o');

    std::string text;
    for (int round = 0; round < 20; round++) {
        for (int i = 0; i < 50; i++)
            vorn_notify_conf_change(origin.c_str());
        text += subscriber.heard();
    }
    vorn_notify_conf_change(nullptr);
    text += subscriber.heard();
    vorn_notify_conf_change(nullptr);
    text += subscriber.heard();

    expect_whole_messages(text);
    EXPECT_TRUE(notify_connection[0].in_use);
}

TEST_F(SlowSubscribers, LoseTheirSlotWhenAnObjectsChangeCannotBeSent)
{
    Subscriber subscriber(1);
    subscriber.say("x");
    const std::string value(3000, 'v');

    for (int i = 0; i < 200 && notify_connection[0].in_use; i++) {
        vorn_notify_object_change(nullptr, "c", nullptr, "p", value.c_str());
    }

    EXPECT_FALSE(notify_connection[0].in_use);
    EXPECT_EQ(eloop_unregister_read_sock(subscriber.fd), 0) << "the connection stays registered";
}

TEST_F(SlowSubscribers, MaySubscribeAgainAndStillFindWholeMessages)
{
    Subscriber subscriber(1);
    subscriber.say("x");
    const std::string value(3000, 'v');
    for (int i = 0; i < 200; i++) {
        vorn_notify_object_change(nullptr, "c", nullptr, "p", value.c_str());
    }

    subscriber.say("again");
    std::string text = subscriber.heard();
    vorn_notify_conf_change(nullptr);
    text += subscriber.heard();
    vorn_notify_conf_change(nullptr);
    text += subscriber.heard();

    expect_whole_messages(text);
    EXPECT_NE(text.find("<conf_changed>"), std::string::npos);
}

TEST_F(SlowSubscribers, ThatAreGoneCostNothing)
{
    Subscriber subscriber;
    subscriber.say("x");
    subscriber.own = Fd();

    vorn_notify_conf_change(nullptr);
    EXPECT_TRUE(notify_connection[0].in_use);
    vorn_notify_object_change(nullptr, "c", nullptr, "p", "v");

    EXPECT_FALSE(notify_connection[0].in_use);
}

/* Runs the loop's next timeout, whenever it may be due. */
void pass_time()
{
    ASSERT_NE(vorn::eloop_data.timeout, nullptr);
    const vorn::Owned<vorn::EloopTimeout> due(vorn::eloop_data.timeout);
    vorn::eloop_data.timeout = due->next;
    due->handler(due->eloop_data, due->user_data);
}

/* Larger than the smallest buffer, so that only a part goes out at once. */
std::string half_taken()
{
    return std::string(100000, 'o');
}

TEST_F(SlowSubscribers, GetTheRestOfAMessageWithoutAnotherChange)
{
    Subscriber subscriber(1);
    subscriber.say("x");
    const std::string origin = half_taken();
    vorn_notify_conf_change(origin.c_str());
    pass_time();
    ASSERT_NE(vorn::eloop_data.timeout, nullptr) << "nothing was read yet";

    std::string text = subscriber.heard();
    while (vorn::eloop_data.timeout) {
        pass_time();
        text += subscriber.heard();
    }

    EXPECT_EQ(text, message("<conf_changed origin=\"" + origin + "\">2</conf_changed>"));
}

TEST_F(SlowSubscribers, MissTheMessagesBetweenTwoParts)
{
    Subscriber subscriber(1);
    subscriber.say("x");
    vorn_notify_conf_change(half_taken().c_str());
    vorn_notify_conf_change("missed");
    vorn_notify_conf_change("missed");

    std::string text = subscriber.heard();
    while (vorn::eloop_data.timeout) {
        pass_time();
        text += subscriber.heard();
    }
    vorn_notify_conf_change("heard");
    text += subscriber.heard();

    EXPECT_EQ(text, message("<conf_changed origin=\"" + half_taken() + "\">2</conf_changed>") +
                        message("<conf_changed origin=\"heard\">5</conf_changed>"));
}

TEST_F(SlowSubscribers, GetNoMessageInsideAnotherHoweverTheyRead)
{
    Subscriber subscriber(1);
    subscriber.say("x");
    vorn_notify_conf_change(half_taken().c_str());
    std::string text;
    FakeCalls calls;
    calls.after_send = [&] { text += subscriber.heard(); };

    vorn_notify_conf_change("missed");

    text += subscriber.heard();
    EXPECT_EQ(text.find("missed"), std::string::npos);
}

TEST_F(SlowSubscribers, AreOwedNothingOfAMessageThatNeverBegan)
{
    Subscriber subscriber;
    subscriber.say("x");
    const std::string filling(1000, 'f');
    while (send(subscriber.fd, filling.data(), filling.size(), MSG_DONTWAIT) > 0)
        continue;

    vorn_notify_conf_change(nullptr);

    EXPECT_EQ(vorn::eloop_data.timeout, nullptr);
}

TEST_F(SlowSubscribers, AreOwedNothingOnceTheyAreGone)
{
    Subscriber subscriber(1);
    subscriber.say("x");
    vorn_notify_conf_change(half_taken().c_str());

    subscriber.own = Fd();
    vorn::notify_read(subscriber.fd, nullptr, subscriber.stream);
    subscriber.ended();

    EXPECT_EQ(vorn::eloop_data.timeout, nullptr);
}

TEST_F(SlowSubscribers, AreOwedNoMoreThanAMebibyteInAll)
{
    std::vector<std::unique_ptr<Subscriber>> subscribers;
    for (int i = 0; i < 8; i++) {
        subscribers.push_back(std::make_unique<Subscriber>(1));
        subscribers.back()->say("x");
    }
    const std::string origin = half_taken() + std::string(400000, 'o');

    vorn_notify_conf_change(origin.c_str());

    std::size_t ended = 0;
    for (const auto &subscriber : subscribers) {
        const std::string text = subscriber->heard();
        char byte;
        if (recv(subscriber->own.get(), &byte, 1, MSG_DONTWAIT) == 0) ended++;
    }
    EXPECT_GE(ended, 5u);
    EXPECT_LT(ended, 8u);
    EXPECT_THAT(log.text(), testing::HasSubstr("More than 1048576 bytes to be sent to "
                                               "subscribers.\n"));
}

TEST_F(SlowSubscribers, AreOwedAMebibyteButNotOneByteMore)
{
    const auto taken_of = [&](std::size_t length) {
        Subscriber subscriber(1);
        vorn::send_message(subscriber.fd, std::string(length - 1, 'o').c_str());
        return subscriber.heard().size();
    };
    constexpr std::size_t mebibyte = 1048576;
    const std::size_t room = taken_of(mebibyte);
    log.take();

    EXPECT_EQ(taken_of(room + mebibyte), room);
    EXPECT_THAT(log.take(), testing::Not(testing::HasSubstr("More than")));
    EXPECT_EQ(taken_of(room + mebibyte + 1), room);
    EXPECT_THAT(log.text(), testing::HasSubstr("More than 1048576 bytes to be sent"));
}

TEST_F(SlowSubscribers, HearNoMoreWithoutTheMemoryToFinishAMessage)
{
    const std::string origin = half_taken();
    vorn::tests::FailEachAllocation([&] {
        std::unique_ptr<Subscriber> subscriber;
        {
            const vorn::tests::AllocationsAllowed allowed;
            subscriber = std::make_unique<Subscriber>(1);
            subscriber->say("x");
        }
        vorn_notify_conf_change(origin.c_str());

        const vorn::tests::AllocationsAllowed allowed;
        const std::string text = subscriber->heard();
        char byte;
        const ssize_t next = recv(subscriber->own.get(), &byte, 1, MSG_DONTWAIT);
        if (vorn::tests::AllocationFailed()) {
            EXPECT_EQ(next, text.empty() ? -1 : 0) << "half a message, and no end";
            EXPECT_EQ(vorn::eloop_data.timeout, nullptr);
        } else {
            EXPECT_EQ(next, -1);
            EXPECT_NE(vorn::eloop_data.timeout, nullptr);
        }
        subscriber.reset();
    });
}

} // namespace
