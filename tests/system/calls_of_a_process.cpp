/* SPDX-License-Identifier: MIT */
#include "calls_of_a_process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <linux/netlink.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vorn::tests {

namespace {

constexpr int stop_of_call = SIGTRAP | 0x80;

/* As the kernel tells it; C libraries do not agree on a name for it. */
struct CallInfo {
    enum : std::uint8_t { entry = 1 };
    std::uint8_t op;
    std::uint8_t unused[3];
    std::uint32_t architecture;
    std::uint64_t instruction;
    std::uint64_t stack;
    std::uint64_t number;
    std::uint64_t arguments[6];
};

/* Calls that act whatever their arguments are. */
constexpr struct {
    long number;
    const char *name;
} deeds[] = {
    {SYS_execve, "execve"},
    {SYS_execveat, "execveat"},
    {SYS_clone, "clone"},
    {SYS_clone3, "clone3"},
#ifdef SYS_fork
    {SYS_fork, "fork"},
    {SYS_vfork, "vfork"},
    {SYS_creat, "creat"},
    {SYS_unlink, "unlink"},
    {SYS_rename, "rename"},
    {SYS_mkdir, "mkdir"},
    {SYS_rmdir, "rmdir"},
    {SYS_link, "link"},
    {SYS_symlink, "symlink"},
    {SYS_chmod, "chmod"},
#endif
    {SYS_unlinkat, "unlinkat"},
    {SYS_renameat2, "renameat2"},
    {SYS_mkdirat, "mkdirat"},
    {SYS_linkat, "linkat"},
    {SYS_symlinkat, "symlinkat"},
    {SYS_fchmod, "fchmod"},
    {SYS_fchmodat, "fchmodat"},
    {SYS_truncate, "truncate"},
    {SYS_ftruncate, "ftruncate"},
    {SYS_fsync, "fsync"},
    {SYS_mount, "mount"},
    {SYS_umount2, "umount2"},
    {SYS_sethostname, "sethostname"},
#ifdef SYS_clock_settime
    {SYS_clock_settime, "clock_settime"},
#endif
#ifdef SYS_clock_settime64
    {SYS_clock_settime64, "clock_settime"},
#endif
    {SYS_kill, "kill"},
    {SYS_tgkill, "tgkill"},
    {SYS_pwrite64, "pwrite"},
};

template <typename T>
bool read_from(pid_t process, std::uint64_t address, T &value)
{
    iovec here = {&value, sizeof value};
    iovec there = {reinterpret_cast<void *>(address), sizeof value};
    return process_vm_readv(process, &here, 1, &there, 1, 0) == sizeof value;
}

bool writes(std::uint64_t flags)
{
    return (flags & O_ACCMODE) != O_RDONLY || (flags & (O_CREAT | O_TRUNC)) != 0;
}

bool only_asks(std::uint64_t request)
{
    constexpr std::uint64_t questions[] = {SIOCGIFINDEX, SIOCGIFFLAGS, SIOCGIFADDR,
                                           SIOCGIFCONF,  TCGETS,       FIONREAD};
    return std::find(std::begin(questions), std::end(questions), request) != std::end(questions);
}

/* The kernel's messages of routing come in fours: new, delete, get, set. */
bool is_question(const nlmsghdr &head)
{
    return (head.nlmsg_type & 3) == 2;
}

} // namespace

CallsOfAProcess::CallsOfAProcess(pid_t process) : process_(process), thread_([this] { trace(); })
{
    while (!has_begun_)
        std::this_thread::yield();
}

CallsOfAProcess::~CallsOfAProcess()
{
    is_to_end_ = true;
    if (thread_.joinable()) thread_.join();
}

void CallsOfAProcess::end(const std::function<void()> &has_it_make_a_call)
{
    is_to_end_ = true;
    has_it_make_a_call();
    thread_.join();
}

bool CallsOfAProcess::attach()
{
    int status = 0;
    return ptrace(PTRACE_SEIZE, process_, nullptr, PTRACE_O_TRACESYSGOOD) == 0 &&
           ptrace(PTRACE_INTERRUPT, process_, nullptr, nullptr) == 0 &&
           waitpid(process_, &status, __WALL) == process_ &&
           ptrace(PTRACE_SYSCALL, process_, nullptr, nullptr) == 0;
}

void CallsOfAProcess::trace()
{
    const bool is_attached = attach();
    EXPECT_TRUE(is_attached) << strerror(errno);
    has_begun_ = true;
    for (int status = 0; is_attached && waitpid(process_, &status, __WALL) == process_;) {
        if (!WIFSTOPPED(status)) return;
        look_at_stop(status);
        const bool is_signal = WSTOPSIG(status) != stop_of_call && status >> 16 == 0;
        const long signal = is_signal ? WSTOPSIG(status) : 0;
        if (is_to_end_) {
            ptrace(PTRACE_DETACH, process_, nullptr, signal);
            return;
        }
        ptrace(PTRACE_SYSCALL, process_, nullptr, signal);
    }
}

void CallsOfAProcess::look_at_stop(int status)
{
    CallInfo info = {};
    if (WSTOPSIG(status) != stop_of_call || is_to_end_) return;
    if (ptrace(PTRACE_GET_SYSCALL_INFO, process_, sizeof info, &info) <= 0) return;
    if (info.op != CallInfo::entry) return;
    calls++;
    look_at_call(info.number, info.arguments);
}

void CallsOfAProcess::keep(const char *what, const std::string &more)
{
    acts.push_back(std::string(what) + " " + more);
}

std::string CallsOfAProcess::text_at(std::uint64_t address) const
{
    char text[256] = "";
    for (std::size_t i = 0; i + 1 < sizeof text && read_from(process_, address + i, text[i]); i++)
        if (text[i] == '\0') break;
    return text;
}

std::string CallsOfAProcess::descriptor(std::uint64_t number) const
{
    char target[256] = "";
    const std::string link =
        "/proc/" + std::to_string(process_) + "/fd/" + std::to_string(static_cast<int>(number));
    readlink(link.c_str(), target, sizeof target - 1);
    return target;
}

void CallsOfAProcess::look_at_call(std::uint64_t number, const std::uint64_t arguments[6])
{
    const long call = static_cast<long>(number);
    for (const auto &each : deeds)
        if (each.number == call) keep(each.name, text_at(arguments[0]));
#ifdef SYS_open
    if (call == SYS_open && writes(arguments[1])) keep("open", text_at(arguments[0]));
#endif
    if (call == SYS_openat && writes(arguments[2])) keep("openat", text_at(arguments[1]));
    if (call == SYS_ioctl && !only_asks(arguments[1])) keep("ioctl", descriptor(arguments[0]));
    if (call == SYS_write || call == SYS_writev) {
        const std::string target = descriptor(arguments[0]);
        const bool is_log = target == "/dev/console" || target == "/tmp/vorn.stderr";
        if (!is_log && !target.starts_with("socket:")) keep("write", target);
    }
    if (call == SYS_connect) {
        sockaddr address = {};
        read_from(process_, arguments[1], address.sa_family);
        if (address.sa_family != AF_NETLINK) keep("connect", descriptor(arguments[0]));
    }
    if (call == SYS_sendto && arguments[4] != 0) {
        nlmsghdr head = {};
        sockaddr address = {};
        read_from(process_, arguments[1], head);
        read_from(process_, arguments[4], address.sa_family);
        if (address.sa_family != AF_NETLINK || !is_question(head)) keep("sendto", "");
    }
    if (call == SYS_sendmsg || call == SYS_sendmmsg) keep("sendmsg", descriptor(arguments[0]));
}

} // namespace vorn::tests
