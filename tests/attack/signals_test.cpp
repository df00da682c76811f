/* SPDX-License-Identifier: MIT */
/*
 * Signals at moments that nobody chose: into boots, into saves, and more of them than can be
 * counted, on a device with hardly a descriptor. VORN_ATTACK_ROUNDS asks for so many rounds instead
 * of a time.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "attacked_device.h"

namespace {

using testing::AnyOf;
using testing::HasSubstr;
using vorn::tests::attack_time;
using vorn::tests::framed;
using vorn::tests::inform_door;
using vorn::tests::lsql_door;
using vorn::tests::RawClient;

/* Whether another round is asked for. */
class Rounds {
public:
    bool go_on()
    {
        const char *wanted = std::getenv("VORN_ATTACK_ROUNDS");
        round_++;
        return wanted ? round_ <= std::strtoul(wanted, nullptr, 10)
                      : std::chrono::steady_clock::now() < end_;
    }

private:
    std::chrono::steady_clock::time_point end_ = std::chrono::steady_clock::now() + attack_time();
    unsigned long round_ = 0;
};

class AttacksWithSignals : public vorn::tests::AttackedDevice {
protected:
    /* The moment is the attack: there is nothing to wait for. */
    void let_a_moment_pass(int longest_us)
    {
        std::uniform_int_distribution<int> moment(0, longest_us);
        std::this_thread::sleep_for(std::chrono::microseconds(moment(random_)));
    }

    /* A signal just before the loop waits is seen after that wait, which a client ends. */
    int end_by(int signal_number)
    {
        kill(daemon_pid(), signal_number);
        const RawClient unheard(lsql_door);
        return exit_status();
    }

    /* Whether the daemon has a handler for it, as the kernel tells. */
    static bool catches(pid_t daemon, int signal_number)
    {
        const std::string status = read_file("/proc/" + std::to_string(daemon) + "/status");
        const std::size_t at = status.find("SigCgt:");
        if (at == std::string::npos) return false;
        return std::stoull(status.substr(at + 7), nullptr, 16) >> (signal_number - 1) & 1;
    }

    /* Enough for the load to take a while. */
    static void configure_many(int radios)
    {
        std::string text = "<config>";
        for (int i = 0; i < radios; i++) {
            text += "<Radio name=\"r" + std::to_string(i) + "\"><channel>6</channel></Radio>";
        }
        write_file("/etc/config/config.xml", text + "</config>");
    }

private:
    std::mt19937 random_{std::random_device()()};
};

TEST_F(AttacksWithSignals, TerminationsInTheMiddleOfSavesTearNothing)
{
    configure_many(50);
    std::string kept = "6";
    std::string asked_for = "6";
    int channel_number = 0;

    for (Rounds rounds; rounds.go_on() && !HasFailure();) {
        boot();
        ASSERT_THAT(channel(), AnyOf(HasSubstr("<channel>" + kept + "</channel>"),
                                     HasSubstr("<channel>" + asked_for + "</channel>")));
        kept = std::to_string(1 + channel_number++ % 6);
        asked_for = std::to_string(7 + channel_number % 6);
        ASSERT_THAT(answer_to(change_of(kept)), HasSubstr("<rc>0</rc>"));

        RawClient client(lsql_door);
        client.send(framed(change_of(asked_for)));
        let_a_moment_pass(3000);

        EXPECT_EQ(end_by(SIGTERM), 0);
    }
    EXPECT_FALSE(exists("/etc/config/config.xml.new")) << "left beside the file";
}

TEST_F(AttacksWithSignals, HangupsInTheMiddleOfBootsAreServed)
{
    configure_many(2000);

    for (Rounds rounds; rounds.go_on() && !HasFailure();) {
        start({"-f"});
        let_a_moment_pass(30000);
        kill(daemon_pid(), SIGHUP);

        /* Before the handlers are there a signal does what it does to any program. */
        siginfo_t end = {};
        ASSERT_TRUE(comes_true([&] {
            waitid(P_PID, static_cast<id_t>(daemon_pid()), &end, WEXITED | WNOHANG | WNOWAIT);
            return end.si_pid != 0 || exists("/var/run/vorn.pid");
        }));
        if (end.si_pid != 0) {
            EXPECT_EQ(exit_status(), -SIGHUP);
        } else {
            expect_service();
            EXPECT_EQ(end_by(SIGTERM), 0);
        }
        std::remove("/var/run/vorn.pid"); /* SIGTERM leaves it */
    }
}

TEST_F(AttacksWithSignals, TerminationsInTheMiddleOfBootsEndThemAndTearNothing)
{
    configure_many(200);

    for (Rounds rounds; rounds.go_on() && !HasFailure();) {
        start({"-f"});
        let_a_moment_pass(15000);
        /* SIGTERM has a handler before, one that only notes it; this one's comes last. */
        const bool is_heard = catches(daemon_pid(), SIGUSR1);
        const int status = end_by(SIGTERM);
        EXPECT_TRUE(status == 0 || (status == -SIGTERM && !is_heard)) << status;
    }
    boot();
    expect_service();
}

void allow_few_descriptors()
{
    const rlimit few = {16, 16};
    setrlimit(RLIMIT_NOFILE, &few);
}

TEST_F(AttacksWithSignals, StormsWithHardlyADescriptorAreServed)
{
    install_plugin("alarms.vorn");
    boot({"-f"}, allow_few_descriptors);
    const pid_t daemon = daemon_pid();
    const pid_t storm = fork();
    if (storm == 0) {
        for (;;) {
            for (const int signal_number : {SIGCHLD, SIGALRM, SIGWINCH, SIGPIPE})
                kill(daemon, signal_number);
        }
    }

    for (Rounds rounds; rounds.go_on() && !HasFailure();)
        expect_service();
    kill(storm, SIGKILL);
    waitpid(storm, nullptr, 0);

    expect_service();
    EXPECT_EQ(inform("alarms"), "OK\n");
}

} // namespace
