/* SPDX-License-Identifier: MIT */
/* The other doors of a daemon that is short of memory, and the copies that plugins ask for. */
#include "support/raw_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "faults/scarce_device.h"

namespace {

using testing::AnyOf;
using testing::Eq;
using testing::HasSubstr;
using namespace vorn::tests;

constexpr char rescue_file[] = "/etc/rescueconfig.xml";

class DoorsShortOfMemory : public ScarceDevice {
protected:
    void SetUp() override
    {
        ScarceDevice::SetUp();
        if (IsSkipped()) return;
        for (const char *plugin : {"save.vorn", "copies.vorn", "rescan.vorn"})
            install_plugin(plugin);
        boot();
    }

    /* One thing to do, and the judge of what came of it. */
    struct Round {
        std::function<void()> act;
        std::function<void()> judge;
        /* Whether it has just kept what others may hold, on purpose. */
        std::function<bool()> keeps = [] { return false; };
    };

    /*
     * Each allocation is refused in turn. Every round says the same words, since the parser
     * remembers those that are new to it.
     */
    void refuse_each(const std::string &title, const Round &round)
    {
        refuse_one(0, round);
        unsigned long nth = 1;
        for (bool refused = true; refused && nth < most_allocations && !HasFailure(); nth++) {
            SCOPED_TRACE(testing::Message() << "refusing allocation " << nth);
            refused = refuse_one(nth, round);
            EXPECT_TRUE(round.keeps() || leaks_nothing([&] {
                            refuse_one(nth, round);
                            return 0L;
                        }));
        }
        /* A subscriber's stream takes two; its place in the loop is there already, or is made. */
        constexpr unsigned long least = 2;
        EXPECT_GE(nth - 2, least) << title;
        report(title, nth - 2, "nothing is leaked");
    }

    /* Whether there was anything to refuse. */
    bool refuse_one(unsigned long nth, const Round &round)
    {
        new_messages();
        memory_.refuse(nth);
        round.act();
        EXPECT_TRUE(is_idle());
        const bool refused = memory_.stop_refusing();
        round.judge();
        return refused;
    }

    static std::string change(const std::string &label)
    {
        return "<lsql><update><Board><label>" + label + "</label></Board></update></lsql>";
    }

    static std::string copy(const std::string &what)
    {
        return "<lsql><update><Copies><" + what + ">now</" + what + "></Copies></update></lsql>";
    }
};

TEST_F(DoorsShortOfMemory, InformAHandlerOrSayWhyNot)
{
    std::string answer;
    const auto inform = [&] {
        RawClient client("vorn_sock_inform");
        client.send(native(0) + framed("object=radio&action=rescan"));
        answer = client.receive_all();
    };
    const auto judge = [&] {
        const std::string messages = new_messages();
        EXPECT_THAT(answer, AnyOf(Eq("OK\n"), Eq("")));
        EXPECT_THAT(messages, HasSubstr(answer.empty() ? "Fatal error: malloc" : "rescan"));
    };
    refuse_each("inform request", {inform, judge});
}

const std::string marked =
    "<lsql origin=\"mark\"><update><Board><label>b</label></Board></update></lsql>";

TEST_F(DoorsShortOfMemory, SendWholeNoticesOrNone)
{
    RawClient subscriber(notices_port);
    subscriber.send("x");
    ASSERT_TRUE(is_idle());

    int rounds = 0, lost = 0;
    const auto judge = [&] {
        ask(marked);
        std::string notice = subscriber.receive_until(end_of_notice);
        rounds++;
        lost++;
        if (notice.find("origin") == std::string::npos) {
            EXPECT_THAT(notice, HasSubstr("<conf_changed>"));
            notice = subscriber.receive_until(end_of_notice);
            lost--;
        }
        EXPECT_THAT(notice, HasSubstr("origin=\"mark\">"));
        EXPECT_THAT(notice, HasSubstr("</conf_changed>\n" + end_of_notice));
    };
    refuse_each("update with a subscriber", {[] { ask(change("a")); }, judge});
    EXPECT_LT(lost, rounds);
}

/* One that is not served is told so by the end of its connection, and the log. */
TEST_F(DoorsShortOfMemory, TakeASubscriberOrSayWhyNot)
{
    std::optional<RawClient> subscriber;
    const auto subscribe = [&] {
        subscriber.emplace(notices_port);
        subscriber->send("x");
    };
    const auto judge = [&] {
        ask(change("a"));
        ask(marked);
        const std::string heard = subscriber->receive_until("origin=\"mark\">");
        EXPECT_THAT(heard, AnyOf(HasSubstr("origin=\"mark\">"), Eq("")));
        EXPECT_TRUE(!heard.empty() || !(new_messages() + standard_error()).empty());
        subscriber.reset();
    };
    refuse_each("subscriber that comes and goes", {subscribe, judge});
}

TEST_F(DoorsShortOfMemory, ReplaceTheDefaultWholeOrLeaveIt)
{
    ask(copy("running-to-default"));
    ASSERT_TRUE(is_idle());
    std::string before = read_file(default_file);
    ASSERT_THAT(before, HasSubstr("MD5sum: "));

    std::string answer;
    const auto change_something = [&] {
        ask(change(before.find(">c0<") == std::string::npos ? "c0" : "c1"));
    };
    const auto judge = [&] {
        const std::string now = read_file(default_file);
        const std::string messages = new_messages();
        const bool done = messages.find("copies: running-to-default 0\n") != std::string::npos;
        EXPECT_EQ(done, now != before) << messages;
        EXPECT_FALSE(is_success(answer) && messages.empty());
        EXPECT_FALSE(exists(std::string(default_file) + ".new"));
        before = now;
        change_something();
    };
    change_something();
    refuse_each("copy of the running configuration to the default",
                {[&] { answer = ask(copy("running-to-default")); }, judge});
}

TEST_F(DoorsShortOfMemory, ServeAStartupFileWholeOrWhatTheyServed)
{
    ask(change("new"));
    const std::string loaded = configuration();
    shut_down();
    std::filesystem::remove(std::string(vorn::test::plugin_folder) + "save.vorn");
    boot();
    ask(change("old"));
    const std::string old = configuration();

    bool done = false;
    const auto judge = [&] {
        const std::string now = configuration();
        const std::string messages = new_messages();
        done = messages.find("copies: startup-to-running 0\n") != std::string::npos;
        EXPECT_EQ(now, done ? loaded : old) << messages;
        ask(change("old"));
    };
    refuse_each("load of the startup file",
                {[&] { ask(copy("startup-to-running")); }, judge, [&] { return done; }});
}

class StartupFilesShortOfMemory : public DoorsShortOfMemory {
protected:
    void copy_from(const std::string &source, const std::string &document)
    {
        std::string before, answer;
        const auto save_something = [&] {
            ask(change("saved"));
            ask(change("again"));
            before = read_file(vorn::test::startup_file);
        };
        const auto judge = [&] {
            const std::string now = read_file(vorn::test::startup_file);
            const std::string messages = new_messages();
            EXPECT_THAT(now, AnyOf(Eq(document), Eq(read_file(rescue_file)), Eq(before)));
            EXPECT_TRUE(now == document || !is_success(answer) || !messages.empty());
            EXPECT_TRUE(only_the_startup_file_is_there());
            save_something();
        };
        save_something();
        refuse_each("copy of the " + source + " to the startup file",
                    {[&] { answer = ask(copy(source + "-to-startup")); }, judge});
    }
};

TEST_F(StartupFilesShortOfMemory, AreReplacedByTheDefaultOrTheRescueOrLeft)
{
    const std::string factory = "<config><Board><label>factory</label></Board></config>\n";
    write_file("/tmp/factory", factory);
    write_file(default_file, "Version: 1\nLength: " + std::to_string(factory.size()) +
                                 "\nMD5sum: " + shell("md5sum < /tmp/factory | cut -c1-32") + "\n" +
                                 factory);
    copy_from("default", factory);
}

TEST_F(StartupFilesShortOfMemory, AreReplacedByTheRescueOrLeft)
{
    copy_from("rescue", read_file(rescue_file));
}

} // namespace
