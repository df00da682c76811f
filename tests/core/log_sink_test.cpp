/* SPDX-License-Identifier: MIT */
/* Lines for somebody who takes none for a while: a pipe that is read when the test says so. */
#include "core/base/file.h"
#include "core/debug_state.h"
#include "core/log_sink.h"
#include "support/c_names.h"
#include "support/log.h"
#include "vorn/debug.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include <fcntl.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

namespace {

/* The console, in the test's hand: nothing here may write to the real one. */
struct Door {
    int console = -1; /* -1: it cannot be opened */
    std::string asked;
    int flags = 0;
};

Door *door = nullptr;

} // namespace

extern "C" {
int __real_open(const char *path, int flags, ...);

int __wrap_open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const int mode = va_arg(arguments, int);
    va_end(arguments);
    if (!door || std::strcmp(path, "/dev/console") != 0) return __real_open(path, flags, mode);
    door->asked = path;
    door->flags = flags;
    return door->console;
}
}

namespace {

using testing::EndsWith;
using testing::MatchesRegex;
using testing::StartsWith;
using vorn::Fd;
using vorn::LogSink;
using vorn::Manner;

constexpr std::size_t line_length = 64;
constexpr std::size_t kept_lines = 65536 / line_length;
constexpr std::size_t pipe_room = 65536;

/* A line that tells its number. */
std::string line(std::size_t number)
{
    std::string text = std::to_string(number) + " ";
    text.resize(line_length - 1, '.');
    return text + "\n";
}

std::string lines(std::size_t first, std::size_t end)
{
    std::string text;
    for (std::size_t i = first; i < end; i++)
        text += line(i);
    return text;
}

void set_nonblocking(int descriptor)
{
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
}

/* Whatever can be read now. */
std::string taken_from(int descriptor)
{
    std::string text;
    char block[4096];
    set_nonblocking(descriptor);
    for (ssize_t count; (count = read(descriptor, block, sizeof block)) > 0;)
        text.append(block, static_cast<std::size_t>(count));
    return text;
}

std::chrono::milliseconds since(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 start);
}

/* Attack. */
class SlowLogs : public testing::Test {
protected:
    SlowLogs() { start_afresh(); }

    void start_afresh()
    {
        sink = std::make_unique<LogSink>(room[0]);
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        reader = Fd(ends[0]);
        writer = Fd(ends[1]);
        set_nonblocking(writer.get());
        sink->point_to(writer.get(), Manner::plainly);
    }

    void put(const std::string &text) { sink->put(text.data(), text.size()); }
    /* So that nothing more goes out until it is read. */
    void fill_the_pipe() { put(lines(0, pipe_room / line_length)); }
    std::string take()
    {
        std::string text;
        for (std::string more; !(more = taken_from(reader.get())).empty(); sink->drain())
            text += more;
        return text;
    }
    /* By a reader who takes it as fast as he can while another process writes it. */
    std::string read_while_put(const std::string &dump)
    {
        start_afresh();
        const pid_t child = fork();
        if (child == 0) {
            for (std::size_t begin = 0; begin < dump.size(); begin += pipe_room)
                put(dump.substr(begin, pipe_room));
            while (sink->is_waiting()) {
                sink->wait_until_ready(1000);
                sink->drain();
            }
            _exit(0);
        }
        writer = Fd();
        std::string text;
        char block[4096];
        for (ssize_t count; (count = read(reader.get(), block, sizeof block)) > 0;)
            text.append(block, static_cast<std::size_t>(count));
        waitpid(child, nullptr, 0);
        return text;
    }

    Fd reader;
    Fd writer;
    std::unique_ptr<char[][LogSink::room_size]> room{new char[1][LogSink::room_size]};
    std::unique_ptr<LogSink> sink;
};

TEST_F(SlowLogs, GoStraightToWhoeverTakesThem)
{
    put("one\n");
    put("two\n");

    EXPECT_FALSE(sink->is_waiting());
    EXPECT_EQ(take(), "one\ntwo\n");
}

TEST_F(SlowLogs, AreKeptUntilTheyAreTaken)
{
    fill_the_pipe();
    put("one\n");
    put("two\n");
    EXPECT_TRUE(sink->is_waiting());

    EXPECT_EQ(take(), lines(0, pipe_room / line_length) + "one\ntwo\n");
    EXPECT_FALSE(sink->is_waiting());
}

TEST_F(SlowLogs, AreKeptAcrossTheEndOfTheirRoom)
{
    fill_the_pipe();
    put(lines(0, kept_lines - 2));
    taken_from(reader.get());
    sink->drain();
    EXPECT_FALSE(sink->is_waiting());

    put(lines(0, 8));
    EXPECT_TRUE(sink->is_waiting());

    EXPECT_TRUE(take() == lines(0, kept_lines - 2) + lines(0, 8));
}

TEST_F(SlowLogs, SayHowManyLinesWereLostWhereTheyAreMissing)
{
    fill_the_pipe();
    put(lines(0, kept_lines + 7));
    put("after that\n");

    EXPECT_EQ(take(), lines(0, pipe_room / line_length) + lines(0, kept_lines) +
                          "vorn: Lines of the log lost: 8.\n");
    put("and then\n");
    EXPECT_EQ(take(), "and then\n");
}

TEST_F(SlowLogs, CountALineThatDoesNotFitWholeAndEndIt)
{
    fill_the_pipe();
    put(lines(0, kept_lines - 1) + "short\n");
    put(std::string(1000, 'x'));
    put("the same line\nthe next line\n");

    const std::string text = take();

    EXPECT_THAT(text, EndsWith("short\n" + std::string(line_length - 6, 'x') +
                               "\nvorn: Lines of the log lost: 2.\n"));
}

TEST_F(SlowLogs, LoseTheRestOfALineWhoseBeginIsLost)
{
    fill_the_pipe();
    put(lines(0, kept_lines));
    put("lost ");
    EXPECT_THAT(take(), EndsWith("vorn: Lines of the log lost: 1.\n"));

    put("is lost\nthis is not\n");

    EXPECT_EQ(take(), "this is not\n");
}

TEST_F(SlowLogs, TellOfEachLossAfterThoseBefore)
{
    for (int round = 0; round < 3; round++) {
        fill_the_pipe();
        put(lines(0, kept_lines + 3));
        EXPECT_THAT(take(), EndsWith("vorn: Lines of the log lost: 3.\n"));
    }
}

TEST_F(SlowLogs, HoldTheirWriterUpForAMomentOnceAndNotAgain)
{
    fill_the_pipe();
    const auto start = std::chrono::steady_clock::now();

    put(lines(0, kept_lines));
    for (std::size_t i = 0; i < 100; i++)
        put(line(i));

    EXPECT_LT(since(start).count(), 9000); /* a moment for each of them would be ten seconds */
}

/* How often the thread has given up the processor by itself: it waited. */
long waits()
{
    struct rusage usage = {};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
}

/*
 * As many short waits as he likes would be one without an end: six hundred of them. Where the
 * writer is kept from running, as on a busy machine, the reader keeps up with him, who waits for
 * nothing then.
 */
TEST_F(SlowLogs, HoldTheirWriterUpNoLongerForAReaderWhoTakesALittleNowAndThen)
{
    const std::string dump = lines(0, 40 * kept_lines);
    std::atomic<bool> is_over = false;
    std::atomic<std::size_t> taken = 0;
    std::thread slow_reader([&] {
        char block[4096];
        for (ssize_t count; !is_over && (count = read(reader.get(), block, sizeof block)) > 0;) {
            taken += static_cast<std::size_t>(count);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });

    const long before = waits();

    put(dump);

    EXPECT_TRUE(taken < dump.size() / 2 || waits() - before < 200)
        << taken << " " << waits() - before;
    is_over = true;
    slow_reader.join();
}

TEST_F(SlowLogs, AreWholeForAReaderWhoIsOnlyBusy)
{
    const std::string dump = lines(0, 20 * kept_lines);
    std::string text;

    /* On a busy machine he may not get the processor for longer than the writer waits. */
    for (int attempt = 0; attempt < 10 && text != dump; attempt++)
        text = read_while_put(dump);

    EXPECT_TRUE(text == dump) << text.size() << " of " << dump.size();
}

TEST_F(SlowLogs, LeaveErrnoAlone)
{
    fill_the_pipe();
    errno = ENOTTY;

    put("x\n");

    EXPECT_EQ(errno, ENOTTY);
}

TEST_F(SlowLogs, ThatNobodyWillEverTakeAreDropped)
{
    std::signal(SIGPIPE, SIG_IGN);
    fill_the_pipe();
    put("kept\n");
    reader = Fd();

    put("dropped\n");

    EXPECT_FALSE(sink->is_waiting());
    std::signal(SIGPIPE, SIG_DFL);
}

TEST_F(SlowLogs, AskFirstWhereTheModeIsNotTheirs)
{
    fcntl(writer.get(), F_SETFL, fcntl(writer.get(), F_GETFL) & ~O_NONBLOCK);
    sink->point_to(writer.get(), Manner::when_ready);

    fill_the_pipe();
    put("kept\n");

    EXPECT_TRUE(sink->is_waiting());
    EXPECT_THAT(take(), EndsWith("kept\n"));
}

TEST_F(SlowLogs, AreWrittenInPiecesThatMakeNobodyWaitWhereTheModeIsNotTheirs)
{
    fcntl(writer.get(), F_SETFL, fcntl(writer.get(), F_GETFL) & ~O_NONBLOCK);
    sink->point_to(writer.get(), Manner::when_ready);

    put(lines(0, 2 * pipe_room / line_length));

    EXPECT_TRUE(sink->is_waiting());
    EXPECT_THAT(take(), StartsWith(lines(0, pipe_room / line_length)));
}

TEST_F(SlowLogs, WaitForASocketToo)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    reader = Fd(ends[0]);
    writer = Fd(ends[1]);
    sink->point_to(writer.get(), Manner::as_a_socket);
    while (!sink->is_waiting())
        put(line(0));

    put("last\n");

    EXPECT_THAT(take(), EndsWith("last\n"));
}

/* A terminal whose other end is in the test's hand. */
class StoppedTerminals : public SlowLogs {
protected:
    StoppedTerminals()
    {
        int master = -1;
        int slave = -1;
        EXPECT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
        termios mode;
        tcgetattr(slave, &mode);
        cfmakeraw(&mode);
        tcsetattr(slave, TCSANOW, &mode);
        reader = Fd(master);
        writer = Fd(slave);
        set_nonblocking(slave);
        sink->point_to(slave, Manner::plainly);
    }
};

TEST_F(StoppedTerminals, GetTheirLinesWhenTheyGoOn)
{
    tcflow(writer.get(), TCOOFF);
    put("while it is stopped\n");
    EXPECT_TRUE(sink->is_waiting());

    tcflow(writer.get(), TCOON);
    sink->drain();

    EXPECT_EQ(take(), "while it is stopped\n");
}

/* Standard error, led to where a test wants it. */
class ErrorOutput : public SlowLogs {
protected:
    ErrorOutput() : original(dup(STDERR_FILENO))
    {
        fcntl(writer.get(), F_SETFL, fcntl(writer.get(), F_GETFL) & ~O_NONBLOCK);
        dup2(writer.get(), STDERR_FILENO);
    }
    ~ErrorOutput() override
    {
        dup2(original.get(), STDERR_FILENO);
        vorn::standard_error_sink.point_to(-1, Manner::plainly);
    }

    static void report(const std::string &text)
    {
        vorn::write_to_standard_error(text.data(), text.size());
    }

    Fd original;
};

TEST_F(ErrorOutput, NeverMakesItsWriterWait)
{
    for (int i = 0; i < 3; i++)
        report(lines(0, kept_lines));

    EXPECT_TRUE(vorn::standard_error_sink.is_waiting());
}

TEST_F(ErrorOutput, KeepsItsModeForThoseWhoShareIt)
{
    report("x\n");

    EXPECT_EQ(fcntl(STDERR_FILENO, F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(ErrorOutput, KeepsWhatWaitsFromOneReportToTheNext)
{
    report(lines(0, pipe_room / line_length));
    report("one\n");
    report("two\n");

    std::string text;
    for (std::string more; !(more = taken_from(reader.get())).empty(); vorn::write_waiting_logs())
        text += more;

    EXPECT_TRUE(text == lines(0, pipe_room / line_length) + "one\ntwo\n") << text.size();
}

/* In a child, since the daemon never closes what it opened. */
TEST_F(ErrorOutput, IsOpenedOnceMoreWhereItCouldMakeSomebodyWait)
{
    const pid_t child = fork();
    if (child == 0) {
        vorn::open_standard_error();
        report("x\n");
        const int own = vorn::standard_error_sink.descriptor();
        _exit(own != STDERR_FILENO && (fcntl(own, F_GETFL) & O_NONBLOCK) != 0 ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);

    EXPECT_EQ(status, 0);
    EXPECT_EQ(taken_from(reader.get()), "x\n");
}

TEST_F(ErrorOutput, CostsNoTimeAtTheEndWhenNothingWasReported)
{
    std::chrono::milliseconds quickest{1000};
    /* Whoever is kept from running, as on a busy machine, has another try. */
    for (int tries = 0; tries < 5 && quickest.count() >= 500; tries++) {
        const auto start = std::chrono::steady_clock::now();
        vorn::finish_logs();
        quickest = std::min(quickest, since(start));
    }

    EXPECT_LT(quickest.count(), 500);
}

/* Attack. In a child, which a bound ends that would not be kept. */
TEST_F(ErrorOutput, IsWaitedForAtTheEndForASecondAtMost)
{
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        report(lines(0, kept_lines + pipe_room / line_length));
        vorn::finish_logs();
        _exit(vorn::standard_error_sink.is_waiting() ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);

    EXPECT_EQ(status, 0);
    EXPECT_LT(since(start).count(), 20000);
}

TEST_F(ErrorOutput, GoesWhereItLeadsNow)
{
    report("before\n");
    EXPECT_EQ(taken_from(reader.get()), "before\n");
    {
        vorn::tests::CapturedStandardError elsewhere;
        report("then\n");
        EXPECT_EQ(elsewhere.text(), "then\n");
    }
}

TEST_F(ErrorOutput, GoesWhereItLeadsNowThoughThatIsOfTheSameKind)
{
    report("before\n");
    EXPECT_EQ(taken_from(reader.get()), "before\n");
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const Fd other_reader(ends[0]);
    const Fd other_writer(ends[1]);
    dup2(other_writer.get(), STDERR_FILENO);

    report("then\n");

    dup2(writer.get(), STDERR_FILENO);
    fcntl(other_reader.get(), F_SETFL, O_NONBLOCK);
    EXPECT_EQ(taken_from(other_reader.get()), "then\n");
}

TEST_F(ErrorOutput, MayBeClosed)
{
    close(STDERR_FILENO);

    report("to nobody\n");

    EXPECT_FALSE(vorn::standard_error_sink.is_waiting());
}

/* The log without a stream, and a console that the test provides or withholds. */
class OpenedLogs : public testing::Test {
protected:
    OpenedLogs()
    {
        vorn::debug_state = {};
        door = &mine;
    }
    ~OpenedLogs() override
    {
        door = nullptr;
        std::fclose(vorn::debug_state.stream);
        vorn::debug_state = before;
        vorn::console_sink.point_to(-1, vorn::Manner::plainly);
    }

    Door mine;
    vorn::tests::CapturedStandardError errors; /* a file, which needs no second descriptor */
    vorn::DebugState before = vorn::debug_state;
};

TEST_F(OpenedLogs, GoToTheConsoleWhichNoChildInheritsAndNobodyWaitsFor)
{
    const vorn::File console(std::tmpfile());
    mine.console = fileno(console.get());

    vorn_debug_init();
    vorn_debug_printf("hello\n");

    EXPECT_EQ(mine.asked, "/dev/console");
    EXPECT_EQ(mine.flags & (O_ACCMODE | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK | O_NOCTTY),
              O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    EXPECT_EQ(vorn::tests::text_of(mine.console), "vorn: hello\n");
}

TEST_F(OpenedLogs, TakeWhatIsPrintedToTheirStream)
{
    const vorn::File console(std::tmpfile());
    mine.console = fileno(console.get());
    vorn_debug_init();

    std::fprintf(vorn_debug_get_stream(), "a table, ");
    vorn_debug_printf("a line\n");

    EXPECT_EQ(vorn::tests::text_of(mine.console), "a table, vorn: a line\n");
}

TEST_F(OpenedLogs, GoToStandardErrorWithoutAConsole)
{
    vorn_debug_init();
    vorn_debug_printf("hello\n");

    EXPECT_EQ(mine.asked, "/dev/console");
    EXPECT_EQ(errors.text(), "vorn: hello\n");
}

} // namespace
