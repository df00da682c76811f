/* SPDX-License-Identifier: MIT */
/*
 * Everything at once and in any order, for as long as it is told to. What must hold after each step
 * is what a client sees: the daemon serves, it ends when it is asked to, and a boot finds the last
 * change that was acknowledged.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <deque>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "attacked_device.h"

namespace {

using testing::HasSubstr;
using vorn::tests::attack_time;
using vorn::tests::framed;
using vorn::tests::inform_door;
using vorn::tests::lsql_door;
using vorn::tests::native;
using vorn::tests::notices_port;
using vorn::tests::RawClient;
using vorn::tests::stream_door;

unsigned int seed()
{
    const char *given = std::getenv("VORN_ATTACK_SEED");
    return given ? static_cast<unsigned int>(std::strtoul(given, nullptr, 10))
                 : std::random_device()();
}

std::string repeated(const std::string &piece, std::size_t count)
{
    std::string text;
    text.reserve(piece.size() * count);
    for (std::size_t i = 0; i < count; i++)
        text += piece;
    return text;
}

class MixedAttacks : public vorn::tests::AttackedDevice {
protected:
    std::size_t up_to(std::size_t largest)
    {
        return std::uniform_int_distribution<std::size_t>(0, largest)(random_);
    }

    std::string noise(std::size_t longest)
    {
        std::string text(up_to(longest), '\0');
        for (char &byte : text)
            byte = static_cast<char>(up_to(255));
        return text;
    }

    /* Requests that are large, deep, cut short, no XML, or want something impossible. */
    std::string hostile_request()
    {
        const std::size_t size = up_to(20000);
        const std::string pieces[] = {
            "<!DOCTYPE a [<!ENTITY % b '&#37;b;'>%b;]><lsql/>",
            "<lsql>" + repeated("<select><Radio properties='all'/></select>", size / 10) +
                "</lsql>",
            "<lsql>" + repeated("<and>", size),
            "<lsql " + repeated("a='' ", size) + "/>",
            "<lsql><insert><Radio name='" + repeated("&quot;", size) + "'/></insert></lsql>",
            "<lsql origin='" + repeated("o", size) + "'><delete><Acl/></delete></lsql>",
            "<lsql><write-transaction>" + repeated("<insert><Acl name='a'/></insert>", size / 20) +
                "<delete><Acl/></delete></write-transaction></lsql>",
            "<lsql><select><Radio/></select><where>" + repeated("<not>", size / 100) +
                repeated("</not>", size / 100) + "</where></lsql>",
            "<lsql><update><Radio><mode>" + noise(100) + "</mode></Radio></update></lsql>",
            noise(size),
            "<get_conf/>",
        };
        const std::string request = pieces[up_to(std::size(pieces) - 1)];
        return up_to(4) == 0 ? request.substr(0, up_to(request.size())) : request;
    }

    void ask()
    {
        RawClient client(lsql_door);
        client.send(framed(hostile_request()));
        if (up_to(3) > 0) client.receive_all();
    }

    /* More than two would be waited for by a daemon that waits for its first reply to be taken. */
    void ask_on()
    {
        RawClient client(stream_door);
        client.send(numbered(hostile_request()) + numbered(hostile_request()));
        if (up_to(3) == 0) return;
        client.half_close();
        client.receive_all();
    }

    void inform()
    {
        RawClient client(inform_door);
        const std::string body = "object=radio&" + repeated("a=b&", up_to(1000)) + noise(100);
        client.send(native(up_to(9) == 0 ? 1 : 0) +
                    native(static_cast<std::uint32_t>(body.size())) + body);
        if (up_to(3) > 0) client.receive_all();
    }

    void subscribe()
    {
        subscribers_.push_back(std::make_unique<RawClient>(notices_port));
        subscribers_.back()->send(up_to(3) == 0 ? noise(1000) : "x");
        if (subscribers_.size() > 10) subscribers_.pop_front();
    }

    void signal()
    {
        constexpr int signals[] = {SIGHUP, SIGCHLD, SIGPIPE, SIGWINCH};
        kill(daemon_pid(), signals[up_to(std::size(signals) - 1)]);
    }

    void change()
    {
        const std::string wanted = std::to_string(up_to(13));
        ASSERT_THAT(answer_to(change_of(wanted)), HasSubstr("<rc>0</rc>"));
        acknowledged_ = wanted;
    }

    void restart()
    {
        const bool asked = up_to(1) == 0;
        kill(daemon_pid(), asked ? SIGTERM : SIGKILL);
        ASSERT_EQ(exit_status(), asked ? 0 : -SIGKILL);
        subscribers_.clear();
        boot();
        ASSERT_THAT(channel(), HasSubstr("<channel>" + acknowledged_ + "</channel>"));
    }

    void take_a_step()
    {
        const std::size_t choice = up_to(19);
        if (choice < 5) return ask();
        if (choice < 8) return ask_on();
        if (choice < 11) return inform();
        if (choice < 13) return subscribe();
        if (choice < 16) return signal();
        if (choice < 19) return change();
        restart();
    }

private:
    unsigned int seed_ = seed();
    std::mt19937 random_{seed_};
    testing::ScopedTrace trace_{__FILE__, __LINE__,
                                "VORN_ATTACK_SEED=" + std::to_string(seed_) + " repeats this"};
    std::deque<std::unique_ptr<RawClient>> subscribers_;
    std::string acknowledged_ = "6";
};

TEST_F(MixedAttacks, AreSurvived)
{
    boot();

    const auto end = std::chrono::steady_clock::now() + attack_time();
    while (std::chrono::steady_clock::now() < end && !HasFatalFailure())
        take_a_step();

    change();
    restart();
}

} // namespace
