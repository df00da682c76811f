/* SPDX-License-Identifier: MIT */
/* Exchanges with clients while system calls fail, are interrupted, or move one byte at a time. */
#include "support/raw_client.h"
#include "support/reason.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <sys/resource.h>

#include "faults/failing_kernel.h"
#include "faults/faulty_device.h"

namespace {

using testing::AnyOf;
using testing::Eq;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using namespace vorn::tests;

std::string change(const std::string &label)
{
    return "<lsql><write-transaction><update><Board><label>" + label +
           "</label></Board></update></write-transaction></lsql>";
}

class FailingExchanges : public FaultyDevice {
protected:
    void SetUp() override
    {
        FaultyDevice::SetUp();
        for (const char *plugin : {"save.vorn", "copies.vorn", "rescan.vorn"})
            install_plugin(plugin);
    }

    /* The daemon ends while its calls can still be answered. */
    void TearDown() override
    {
        if (daemon_pid() > 0) shut_down();
        FaultyDevice::TearDown();
    }

    /* A little of everything that the daemon does for its clients. */
    void expect_all_to_work()
    {
        RawClient subscriber(notices_port);
        subscriber.send("x");
        await_subscription();
        const std::string label = "w" + std::to_string(++rounds_);
        EXPECT_TRUE(is_success(ask(change(label))));
        EXPECT_THAT(configuration(), HasSubstr("<label>" + label + "</label>"));
        EXPECT_THAT(read_file(vorn::test::startup_file), HasSubstr(label));
        EXPECT_THAT(subscriber.receive_until(end_of_notice),
                    AllOf(HasSubstr("<conf_changed>"), HasSubstr("</conf_changed>")));
        EXPECT_EQ(inform_once(), "OK\n");
        expect_a_new_default(label);
    }

    static void await_subscription()
    {
        ASSERT_TRUE(console_shows("Notify connection started"));
        ASSERT_TRUE(is_idle());
    }

    static std::string inform_once()
    {
        RawClient client("vorn_sock_inform");
        client.send(native(0) + framed("object=radio&action=rescan"));
        return client.receive_all();
    }

    static void expect_a_new_default(const std::string &label)
    {
        ask("<lsql><update><Copies><running-to-default>now</running-to-default></Copies></update>"
            "</lsql>");
        EXPECT_TRUE(comes_true([&] {
            return read_file("/etc/defaultconfig.xml").find(label) != std::string::npos;
        })) << console();
    }

    FailingKernel kernel_;
    int rounds_ = 0;
};

TEST_F(FailingExchanges, WorkWhenHalfOfTheWaitsAreInterrupted)
{
    kernel_.interrupt_all();
    boot({"-f", "-d"}, FailingKernel::stand_between);

    expect_all_to_work();

    EXPECT_TRUE(kernel_.stop());
    report("everything, half of the waits interrupted", 1, "all worked");
}

TEST_F(FailingExchanges, WorkWhenEveryTransferMovesOneByte)
{
    boot({"-f", "-d"}, FailingKernel::stand_between);
    kernel_.shorten_all();

    expect_all_to_work();

    EXPECT_TRUE(kernel_.stop());
    report("everything, one byte at a time", 1, "all worked");
}

TEST_F(FailingExchanges, LoadAConfigurationByteByByte)
{
    std::filesystem::remove(std::string(vorn::test::plugin_folder) + "save.vorn");
    boot({"-f"}, FailingKernel::stand_between);
    const std::string other = "<config><Radio name=\"other\"><channel>5</channel></Radio></config>";
    write_file(vorn::test::startup_file, other);
    kernel_.shorten_all();

    ask("<lsql><update><Copies><startup-to-running>now</startup-to-running></Copies></update>"
        "</lsql>");

    EXPECT_TRUE(console_shows("copies: startup-to-running 0\n"));
    EXPECT_THAT(configuration(), HasSubstr("<Radio name=\"other\"><channel>5</channel>"));
}

struct FailedCall {
    Call call;
    std::vector<int> errors;
    /* Whether the client must have its answer all the same. */
    bool is_passed_over;
};

/* A wait that fails for another reason than a signal ends the loop, and with it the daemon. */
const FailedCall failed_calls[] = {
    {Call::accept, {EINTR, ECONNABORTED, EMFILE, ENFILE, ENOMEM, ENOBUFS}, true},
    {Call::receive, {EINTR, EAGAIN, short_transfer}, true},
    {Call::receive, {ECONNRESET, ENOMEM}, false},
    {Call::send, {EINTR, EAGAIN, short_transfer}, true},
    {Call::send, {EPIPE, ECONNRESET, ENOBUFS, ENOMEM}, false},
    {Call::select, {EINTR}, true},
    {Call::close, {EINTR, EIO}, true},
};

class FailingCalls : public FailingExchanges {
protected:
    /* An exchange with each call failing in each way, until it is over before its nth call comes.
     */
    void fail_each(const char *title, const std::function<std::string()> &exchange)
    {
        boot({"-f"}, FailingKernel::stand_between);
        const std::string whole = exchange();

        for (const FailedCall &fault : failed_calls) {
            unsigned long tried = 0;
            for (const int error : fault.errors) {
                bool failed = true;
                for (unsigned long nth = 1; failed && nth < most_calls && !HasFailure(); nth++) {
                    SCOPED_TRACE(testing::Message()
                                 << name_of(fault.call) << " " << nth << ", error " << error);
                    kernel_.fail(fault.call, nth, error);
                    const std::string answer = exchange();
                    EXPECT_TRUE(is_idle());
                    failed = kernel_.stop();
                    EXPECT_THAT(answer, AnyOf(Eq(whole), Eq(fault.is_passed_over ? whole : "")));
                    EXPECT_EQ(exchange(), whole);
                    tried += failed;
                }
            }
            EXPECT_GE(tried, fault.errors.size()) << name_of(fault.call);
            report(std::string(title) + ", " + name_of(fault.call), tried,
                   fault.is_passed_over ? "answered all the same" : "answered or closed");
        }
    }
};

TEST_F(FailingCalls, EndARequestOrLetItBeAnsweredAndLeaveTheNextOneAlone)
{
    fail_each("exchange", [] { return configuration(); });
}

TEST_F(FailingCalls, EndAnInformRequestOrLetItBeAnsweredAndLeaveTheNextOneAlone)
{
    fail_each("inform request", [] { return inform_once(); });
}

TEST_F(FailingCalls, CloseAClientThatCannotBeWatchedAndServeTheNextOne)
{
    boot({"-f"}, FailingKernel::stand_between);
    const std::string whole = configuration();
    kernel_.fail(Call::watch, 1, ENOMEM);

    RawClient client(lsql_door);

    EXPECT_TRUE(client.closed_within(20));
    EXPECT_THAT(console(), Not(HasSubstr("took too long"))); /* as one that is silent would have */
    EXPECT_TRUE(kernel_.stop());
    EXPECT_EQ(configuration(), whole);
    report("silent client, watch", 1, "closed");
}

/* A call that could not send a notice loses it whole, and the subscriber hears the next one. */
TEST_F(FailingCalls, LoseNoHalfOfANotice)
{
    boot({"-f", "-d"}, FailingKernel::stand_between);
    RawClient subscriber(notices_port);
    subscriber.send("x");
    await_subscription();

    const std::string marked =
        "<lsql origin=\"mark\"><update><Board><label>marked</label></Board></update></lsql>";
    unsigned long tried = 0, lost = 0;
    for (const int error : {EINTR, EAGAIN, short_transfer, EPIPE, ECONNRESET, ENOBUFS, ENOMEM}) {
        bool failed = true;
        for (unsigned long nth = 1; failed && nth < most_calls && !HasFailure(); nth++) {
            SCOPED_TRACE(testing::Message() << "send " << nth << ", error " << error);
            kernel_.fail(Call::send, nth, error);
            ask(change("changed"));
            EXPECT_TRUE(is_idle());
            failed = kernel_.stop();
            tried += failed;

            EXPECT_TRUE(is_success(ask(marked)));
            std::string notice = subscriber.receive_until(end_of_notice);
            const bool is_lost = notice.find("origin") != std::string::npos;
            EXPECT_FALSE(is_lost && (error == EINTR || error == short_transfer));
            if (!is_lost) {
                EXPECT_THAT(notice, AllOf(StartsWith("<?xml"), HasSubstr("<conf_changed>")));
                notice = subscriber.receive_until(end_of_notice);
            }
            lost += is_lost;
            EXPECT_THAT(notice, AllOf(StartsWith("<?xml"), HasSubstr("origin=\"mark\">")));
        }
    }
    constexpr unsigned long ways_to_fail = 7, sends = 2;
    EXPECT_GE(tried, ways_to_fail * sends);
    EXPECT_LT(lost, tried);
    report("change with a subscriber, send", tried, std::to_string(lost) + " notices were lost");
}

/* Attack. */
class DaemonsWithoutDescriptors : public FailingExchanges {
protected:
    /* No more than so many beside those that are open. */
    void allow(unsigned long more)
    {
        namespace fs = std::filesystem;
        const fs::path open = "/proc/" + std::to_string(daemon_pid()) + "/fd";
        unsigned long highest = 0;
        for (const auto &entry : fs::directory_iterator(open))
            highest = std::max(highest, std::stoul(entry.path().filename()));
        const rlimit limit = {highest + 1 + more, before_.rlim_max};
        ASSERT_EQ(prlimit(daemon_pid(), RLIMIT_NOFILE, &limit, nullptr), 0);
    }

    /* Not even what the doors keep for this. */
    void allow_none()
    {
        const rlimit none = {3, before_.rlim_max};
        ASSERT_EQ(prlimit(daemon_pid(), RLIMIT_NOFILE, &none, nullptr), 0);
    }

    void allow_again() { ASSERT_EQ(prlimit(daemon_pid(), RLIMIT_NOFILE, &before_, nullptr), 0); }

    rlimit before_ = {};
};

TEST_F(DaemonsWithoutDescriptors, ServeAgainWhenTheyHaveSome)
{
    boot();
    prlimit(daemon_pid(), RLIMIT_NOFILE, nullptr, &before_);
    const std::string whole = configuration();
    allow_none();

    RawClient waiting(lsql_door);
    waiting.send(framed("<lsql><select><Board/></select></lsql>"));
    EXPECT_TRUE(
        comes_true([] { return standard_error().find(reason(EMFILE)) != std::string::npos; }));
    allow_again();

    EXPECT_TRUE(is_success(waiting.receive_all()));
    EXPECT_EQ(configuration(), whole);
}

/* The client has the one descriptor that is left, and the save none. */
TEST_F(DaemonsWithoutDescriptors, KeepTheOldFileAndSaveAgainLater)
{
    boot();
    prlimit(daemon_pid(), RLIMIT_NOFILE, nullptr, &before_);
    ask(change("saved"));
    const std::string old = read_file(vorn::test::startup_file);
    allow(1);

    EXPECT_TRUE(is_success(ask(change("unsaved"))));
    ASSERT_TRUE(is_idle());
    EXPECT_EQ(read_file(vorn::test::startup_file), old);
    EXPECT_THAT(console(), HasSubstr("vorn: Can't open /etc/config/config.xml.\n"));
    EXPECT_TRUE(only_the_startup_file_is_there());
    allow_again();

    ask(change("later"));
    EXPECT_THAT(read_file(vorn::test::startup_file), HasSubstr(">later<"));
}

} // namespace
