/* SPDX-License-Identifier: MIT */
/* Start-ups in which something is wrong: all of it is reported, and little of it is final. */
#include "support/raw_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <link.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include "bare_device.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using vorn::tests::BareDevice;
using vorn::tests::Listener;

namespace fs = std::filesystem;

struct Obstacle {
    const char *name;
    const char *plugin;
    Listener (*arrange)();
    const char *message;
};

Listener without_any_configuration()
{
    fs::remove("/etc/config/config.xml");
    return Listener();
}

Listener with_a_folder_for_a_pid_file()
{
    fs::create_directory("/var/run/vorn.pid");
    return Listener();
}

/* Whoever opens it waits for somebody who writes. */
Listener with_a_pipe_for_a_plugin()
{
    mkfifo("/usr/lib/vorn/plugins/pipe.vorn", 0600);
    return Listener();
}

Listener with_nothing_more()
{
    return Listener();
}

Listener with_the_inform_socket_taken()
{
    return Listener("vorn_sock_inform");
}

Listener with_the_notify_port_taken()
{
    return Listener(8001);
}

Listener with_the_lsql_socket_taken()
{
    return Listener("vorn_sock_lsql");
}

const Obstacle obstacles[] = {
    {"APluginThatIsNone", "without_entry.vorn", with_nothing_more, "Plugins were invalid."},
    {"APluginThatIsAPipe", "board.vorn", with_a_pipe_for_a_plugin, "Plugins were invalid."},
    {"AnInvalidClass", "broken_class.vorn", with_nothing_more, "Classes were invalid."},
    {"ALoopOfProviders", "provider_loop.vorn", with_nothing_more, "Providers were invalid."},
    {"NoConfiguration", nullptr, without_any_configuration, "Unable to read config."},
    {"NoInformSocket", nullptr, with_the_inform_socket_taken,
     "Unable to initialize inform interface."},
    {"NoNotifyPort", nullptr, with_the_notify_port_taken, "Unable to initialize notify interface."},
    {"NoLsqlSocket", nullptr, with_the_lsql_socket_taken, "Unable to initialize socket API."},
    {"NoPidFile", nullptr, with_a_folder_for_a_pid_file, "Unable to create pid file"},
};

/* Attack. */
class Obstacles : public BareDevice, public testing::WithParamInterface<Obstacle> {
protected:
    void SetUp() override
    {
        BareDevice::SetUp();
        if (GetParam().plugin) install_plugin(GetParam().plugin);
        taken_ = GetParam().arrange();
    }

    /* Not through a door: one of them may be shut. */
    void await_loop()
    {
        kill(daemon_pid(), SIGWINCH);
        EXPECT_TRUE(console_shows("vorn: Debug level is now 1.\n"));
    }

    static std::string message()
    {
        return std::string("vorn: Fatal error: ") + GetParam().message + "\n";
    }

private:
    Listener taken_;
};

TEST_P(Obstacles, AreReportedAndPassed)
{
    start({"-f"});

    EXPECT_TRUE(console_shows(message() + "vorn: Attempting to continue operation.\n"));
    EXPECT_TRUE(console_shows("vorn: Initialization complete.\n"));
    await_loop();
}

TEST_P(Obstacles, EndTheProcessWhenTheyMust)
{
    start({"-f", "-e"});

    EXPECT_EQ(exit_status(), 1);
    EXPECT_THAT(console(), EndsWith(message() + "vorn: Exiting due to fatal error.\n"));
}

INSTANTIATE_TEST_SUITE_P(At, Obstacles, testing::ValuesIn(obstacles),
                         [](const auto &each) { return std::string(each.param.name); });

using BrokenStarts = BareDevice;

TEST_F(BrokenStarts, GoOnWithoutPlugins)
{
    fs::remove("/usr/lib/vorn/plugins");

    boot();

    EXPECT_THAT(standard_error(),
                HasSubstr("vorn: Unable to open plugins directory \"/usr/lib/vorn/plugins/\": "
                          "No such file or directory\n"));
    EXPECT_THAT(console(), HasSubstr("vorn: Fatal error: Plugins were invalid.\n"
                                     "vorn: Attempting to continue operation.\n"));
}

TEST_F(BrokenStarts, LoadTheOtherPluginsAllTheSame)
{
    install_plugin("without_entry.vorn");
    install_plugin("board.vorn");
    write_file("/usr/lib/vorn/plugins/text.so", "no shared object");

    boot({"-f", "-d"});

    EXPECT_THAT(console(), HasSubstr("vorn: Unable to load plugin "
                                     "\"/usr/lib/vorn/plugins/text.so\": "));
    EXPECT_THAT(console(), HasSubstr("vorn: Plugin does not contain vorn_plugin_init: "));
    EXPECT_THAT(console(), HasSubstr("vorn: Fatal error: Plugins were invalid.\n"));
    EXPECT_THAT(console(), HasSubstr("vorn: board: changed"));
}

/* Where the last part that the loader maps ends: the linker's own tables after it are not missed.
 */
std::size_t mapped_length_of(const std::string &library)
{
    const char *bytes = library.data();
    const auto *head = reinterpret_cast<const ElfW(Ehdr) *>(bytes);
    std::size_t end = 0;
    for (unsigned int i = 0; i < head->e_phnum; i++) {
        ElfW(Phdr) part;
        std::memcpy(&part, bytes + head->e_phoff + i * sizeof part, sizeof part);
        if (part.p_type == PT_LOAD) end = std::max<std::size_t>(end, part.p_offset + part.p_filesz);
    }
    return end;
}

TEST_F(BrokenStarts, LeaveOutAPluginThatLacksItsLastMappedByteAlone)
{
    install_plugin("board.vorn");
    const std::string whole = read_file("/usr/lib/vorn/plugins/board.vorn");
    const std::size_t length = mapped_length_of(whole);
    ASSERT_GT(length, 0U);
    write_file("/usr/lib/vorn/plugins/cut.vorn", whole.substr(0, length - 1));

    boot({"-f", "-d"});

    EXPECT_THAT(console(), HasSubstr("vorn: Unable to load plugin "
                                     "\"/usr/lib/vorn/plugins/cut.vorn\": the file is cut off\n"));
    EXPECT_THAT(console(), HasSubstr("vorn: board: changed"));
}

TEST_F(BrokenStarts, LoadAPluginThatHasAllThatIsMapped)
{
    install_plugin("board.vorn");
    const std::string whole = read_file("/usr/lib/vorn/plugins/board.vorn");
    write_file("/usr/lib/vorn/plugins/board.vorn", whole.substr(0, mapped_length_of(whole)));

    boot({"-f", "-d"});

    EXPECT_THAT(console(), HasSubstr("vorn: board: changed"));
    /* By force: what looks for leaks at an orderly end reads the tables that the file lacks. */
    kill(daemon_pid(), SIGKILL);
    EXPECT_EQ(exit_status(), -SIGKILL);
}

TEST_F(BrokenStarts, RefuseAPluginBuiltForAnotherInterface)
{
    install_plugin("old_version.vorn");

    boot();

    EXPECT_THAT(console(), HasSubstr("vorn: Plugin \"old_version.vorn\" version \"1.1\" "
                                     "is unsupported.\n"));
    EXPECT_THAT(console(), Not(HasSubstr("accepted all the same")));
    EXPECT_THAT(console(), Not(HasSubstr("Fatal")));
}

TEST_F(BrokenStarts, NameEveryProviderOfALoop)
{
    install_plugin("provider_loop.vorn");

    boot({"-f", "-d"});

    EXPECT_THAT(console(), HasSubstr("vorn: Loop detected in providers order: b, a, b.\n"));
}

TEST_F(BrokenStarts, ServeAnEmptyConfigurationWhenNoneCanBeRead)
{
    fs::remove("/etc/config/config.xml");
    install_plugin("board.vorn");

    boot();

    EXPECT_EQ(lsql("<lsql><insert><Radio name=\"r0\"/></insert></lsql>"),
              "<?xml version=\"1.0\"?>\n<lsql_result><rc>0</rc><counter>1</counter>"
              "</lsql_result>\n");
    EXPECT_THAT(console(), HasSubstr("vorn: board: changed r0\n"));
}

/* What follows runs in the daemon-to-be: fork and its kin fail there from now on. */
void forbid_forks()
{
#ifdef SYS_fork
    constexpr auto other_call = SYS_fork; // which some C libraries prefer
#else
    constexpr auto other_call = SYS_clone;
#endif
    sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, other_call, 1, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EAGAIN),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {sizeof filter / sizeof *filter, filter};
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) _exit(126);
}

/* Attack. */
class StartsWithoutForks : public BareDevice {
protected:
    /* Leak checking needs a process of its own, so the end must not be an orderly one. */
    void end_by_signal(int signal_number)
    {
        kill(daemon_pid(), signal_number);
        EXPECT_EQ(exit_status(), -signal_number);
    }
    bool catches(int signal_number)
    {
        const std::string status = read_file("/proc/" + std::to_string(daemon_pid()) + "/status");
        const std::string caught = status.substr(status.find("SigCgt:") + 7);
        return (std::stoul(caught, nullptr, 16) >> (signal_number - 1) & 1) != 0;
    }
};

TEST_F(StartsWithoutForks, StayInTheForeground)
{
    start({}, forbid_forks);
    await_service();

    EXPECT_THAT(standard_error(), HasSubstr("daemon: Resource temporarily unavailable\n"));
    EXPECT_THAT(console(), HasSubstr("vorn: Daemonizing...\nvorn: Daemonized.\n"));
    EXPECT_EQ(read_file("/var/run/vorn.pid"), std::to_string(daemon_pid()) + "\n");
    end_by_signal(SIGKILL);
}

TEST_F(StartsWithoutForks, ReportEachChildThatCannotBeStarted)
{
    write_script("/etc/post-init", "true");
    start({"-f", "-d"}, forbid_forks);
    await_service();

    EXPECT_THAT(console(), HasSubstr("vorn: Running \"/etc/post-init\" "
                                     "vorn: Running \"/usr/bin/ng_migrate\" \n"));
    EXPECT_THAT(standard_error(), HasSubstr("vorn: fork: Resource temporarily unavailable\n"
                                            "vorn: fork: Resource temporarily unavailable\n"));
    end_by_signal(SIGKILL);
}

/* The tick puts the handler back that a failed fork took. */
TEST_F(StartsWithoutForks, EndInOrderAfterTheNextTick)
{
    set_environment("ASAN_OPTIONS", "detect_leaks=0");
    start({"-f"}, forbid_forks);
    await_service();
    ASSERT_EQ(count(standard_error(), "vorn: fork: "), 1u);

    ASSERT_TRUE(comes_true([&] { return catches(SIGTERM); }));
    kill(daemon_pid(), SIGTERM);

    EXPECT_EQ(exit_status(), 0);
    EXPECT_THAT(console(), EndsWith("vorn: Exit due to signal 15.\n"));
}

using Loops = BareDevice;

TEST_F(Loops, ThatCannotWaitEndTheDaemonWithoutAReboot)
{
    install_plugin("closed_socket.vorn");

    start({"-f"});

    EXPECT_EQ(exit_status(), 1);
    EXPECT_THAT(console(), EndsWith("vorn: Initialization complete.\n"));
    EXPECT_THAT(standard_error(), EndsWith("select: Bad file descriptor\n"));
    EXPECT_FALSE(exists("/var/run/vorn.pid"));
}

} // namespace
