/* SPDX-License-Identifier: MIT */
/*
 * Whom the daemon must not wait for: a console that is stopped, a reader of its errors who does not
 * read, a parent that left it in a strange state, a machine without descriptors.
 */
#include "core/base/file.h"
#include "support/raw_client.h"
#include "support/reason.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <pty.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include "bare_device.h"

namespace {

using testing::HasSubstr;
using vorn::Fd;
using vorn::tests::BareDevice;
using vorn::tests::framed;
using vorn::tests::lsql_door;
using vorn::tests::RawClient;
using vorn::tests::reason;

constexpr char pid_file[] = "/var/run/vorn.pid";

int seconds_since(std::chrono::steady_clock::time_point start)
{
    using std::chrono::duration_cast;
    return static_cast<int>(
        duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start).count());
}

std::string read_now(int descriptor)
{
    std::string text;
    char block[4096];
    for (ssize_t count; (count = read(descriptor, block, sizeof block)) > 0;)
        text.append(block, static_cast<std::size_t>(count));
    return text;
}

/* Each is quoted in a line of a thousand bytes. */
void send_what_is_no_xml(int times)
{
    for (int i = 0; i < times; i++)
        RawClient(lsql_door).send(framed(std::string(70000, 'x')));
}

/* The console is a terminal that somebody stopped. */
/* Attack. */
class StoppedConsoles : public BareDevice {
protected:
    void SetUp() override
    {
        BareDevice::SetUp();
        char name[64];
        int master = -1;
        int slave = -1;
        ASSERT_EQ(openpty(&master, &slave, name, nullptr, nullptr), 0);
        master_ = Fd(master);
        slave_ = Fd(slave);
        termios mode;
        tcgetattr(slave, &mode);
        cfmakeraw(&mode);
        tcsetattr(slave, TCSANOW, &mode);
        fcntl(master, F_SETFL, O_NONBLOCK);
        ASSERT_EQ(mount(name, "/dev/console", nullptr, MS_BIND, nullptr), 0);
        ASSERT_EQ(tcflow(slave, TCOOFF), 0);
    }

    Fd master_;
    Fd slave_;
};

TEST_F(StoppedConsoles, KeepNobodyWaitingAndGetTheirLinesWhenTheyGoOn)
{
    start({"-f"});
    ASSERT_TRUE(comes_true([] { return exists(pid_file); }));
    const auto start = std::chrono::steady_clock::now();

    send_what_is_no_xml(100);
    RawClient last(lsql_door); /* after all of them, at the same door */
    last.send(framed("<lsql/>"));
    EXPECT_THAT(last.receive_all(), HasSubstr("<rc>1</rc>"));
    EXPECT_LT(seconds_since(start), 9); /* a moment for each of them would be ten */

    ASSERT_EQ(tcflow(slave_.get(), TCOON), 0);
    std::string text;
    EXPECT_TRUE(comes_true([&] {
        text += read_now(master_.get());
        return text.find("Lines of the log lost: ") != std::string::npos;
    })) << text.size();
    EXPECT_THAT(text, HasSubstr("vorn: Initialization complete.\n"));
    EXPECT_THAT(text, HasSubstr("xxx... (70000 bytes)\n"));
}

TEST_F(StoppedConsoles, DoNotKeepTheDaemonFromEnding)
{
    start({"-f"});
    ASSERT_TRUE(comes_true([] { return exists(pid_file); }));
    send_what_is_no_xml(100);

    kill(daemon_pid(), SIGTERM);

    EXPECT_EQ(exit_status(), 0);
}

constexpr char errors[] = "/tmp/errors";

/* Standard error is a pipe that is full, and whose reader sleeps. */
void report_to_a_full_pipe()
{
    dup2(open(errors, O_RDWR), STDERR_FILENO);
}

/* Attack. */
TEST_F(BareDevice, ThatReportsToAFullPipeKeepsNobodyWaiting)
{
    ASSERT_EQ(mkfifo(errors, 0600), 0);
    const int reader = open(errors, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    const std::string filling(4096, '.');
    while (write(reader, filling.data(), filling.size()) > 0)
        continue;

    boot({"-f"}, report_to_a_full_pipe);

    EXPECT_THAT(lsql("<lsql/>"), HasSubstr("<rc>1</rc>"));
    std::string text;
    EXPECT_TRUE(comes_true([&] {
        text += read_now(reader);
        return text.find("vorn: /dev/vorn_watchdog_ack stat: ") != std::string::npos;
    }));
    close(reader);
}

/* As a careless parent leaves it. */
void close_and_block_everything()
{
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    std::signal(SIGCHLD, SIG_IGN);
    for (int descriptor = 0; descriptor <= 2; descriptor++)
        close(descriptor);
}

/* Attack. */
TEST_F(BareDevice, WorksAsEverWhateverItsParentClosedAndBlocked)
{
    install_plugin("commands.vorn");
    install_plugin("early.vorn");
    write_file("/etc/config/config.xml", "<config><Commands><run>exit 3</run></Commands></config>");

    boot({"-f"}, close_and_block_everything);

    EXPECT_TRUE(console_shows("vorn: early: run 768\n"));
    EXPECT_TRUE(console_shows("vorn: commands: run 768\n"));
    const std::string folder = "/proc/" + std::to_string(daemon_pid());
    for (const char *descriptor : {"0", "1", "2"})
        EXPECT_EQ(shell("readlink " + folder + "/fd/" + descriptor), "/dev/null\n");
    EXPECT_EQ(shell("grep SigBlk " + folder + "/status"), "SigBlk:\t0000000000000000\n");
    lsql("<lsql><update><Commands><serve>exec sleep 1000</serve></Commands></update></lsql>");
    std::string service;
    ASSERT_TRUE(comes_true([&] { return !(service = shell("pgrep -x sleep")).empty(); }));
    service.pop_back();
    EXPECT_EQ(shell("grep SigBlk /proc/" + service + "/status"), "SigBlk:\t0000000000000000\n");
}

void allow_few_descriptors()
{
    const rlimit few = {16, 16};
    setrlimit(RLIMIT_NOFILE, &few);
}

/* A device on which a process may have sixteen descriptors. */
/* Attack. */
class FewDescriptors : public BareDevice {
protected:
    /* How often the loop's door has failed to take a client. */
    static int refusals() { return count(standard_error(), "vorn: do_sockapi accept: "); }
};

TEST_F(FewDescriptors, SufficeForRequestsHoweverManySubscribe)
{
    boot({"-f"}, allow_few_descriptors);
    std::vector<std::unique_ptr<RawClient>> subscribers;
    for (int i = 0; i < 32; i++)
        subscribers.push_back(std::make_unique<RawClient>(8001));
    ASSERT_TRUE(subscribers.back()->closed_within(20));

    EXPECT_THAT(lsql("<lsql/>"), HasSubstr("<rc>1</rc>"));
    EXPECT_EQ(refusals(), 0);
}

TEST_F(FewDescriptors, LetTheLoopRestWhenNobodyCanBeTaken)
{
    boot();
    ASSERT_THAT(lsql("<lsql/>"),
                HasSubstr("<rc>1</rc>")); /* what a start opens is closed by then */
    rlimit before = {};
    ASSERT_EQ(prlimit(daemon_pid(), RLIMIT_NOFILE, nullptr, &before), 0);
    const rlimit none_left = {3, before.rlim_max}; /* nor is there room where the reserve is */
    ASSERT_EQ(prlimit(daemon_pid(), RLIMIT_NOFILE, &none_left, nullptr), 0);
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 3; i++)
        clients.push_back(std::make_unique<RawClient>(lsql_door));

    ASSERT_TRUE(comes_true([] { return refusals() >= 2; })) << standard_error();

    EXPECT_LT(refusals(), 5) << "the loop spins";
    EXPECT_THAT(standard_error(), HasSubstr(reason(EMFILE)));
    ASSERT_EQ(prlimit(daemon_pid(), RLIMIT_NOFILE, &before, nullptr), 0); /* leaks are looked for */
}

} // namespace
