/* SPDX-License-Identifier: MIT */
/* Which system calls there are, and how the transfers among them are cut short. */
#include "faults/failing_kernel_calls.h"

#include <cerrno>
#include <cstddef>

#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

namespace vorn::tests {

namespace {

struct KindOfCall {
    int number;
    Call kind;
};

/* Newer architectures lack the older one of two calls that do the same. */
constexpr KindOfCall kinds[] = {
    {SYS_accept, Call::accept},    {SYS_accept4, Call::accept},
    {SYS_close, Call::close},      {SYS_clone, Call::fork},
    {SYS_clone3, Call::fork},      {SYS_fsync, Call::fsync},
    {SYS_openat, Call::open},      {SYS_ppoll, Call::poll},
    {SYS_pselect6, Call::select},  {SYS_read, Call::read},
    {SYS_recvfrom, Call::receive}, {SYS_renameat2, Call::rename},
    {SYS_sendto, Call::send},      {SYS_socket, Call::socket},
    {SYS_sync, Call::sync},        {SYS_unlinkat, Call::unlink},
    {SYS_wait4, Call::wait},       {SYS_write, Call::write},
    {SYS_bind, Call::socket},      {SYS_listen, Call::socket},
    {SYS_epoll_ctl, Call::watch},  {SYS_epoll_create1, Call::socket},
#ifdef SYS_open
    {SYS_open, Call::open},
#endif
#ifdef SYS_poll
    {SYS_poll, Call::poll},
#endif
#ifdef SYS_select
    {SYS_select, Call::select},
#endif
#ifdef SYS_rename
    {SYS_rename, Call::rename},
#endif
#ifdef SYS_renameat
    {SYS_renameat, Call::rename},
#endif
#ifdef SYS_unlink
    {SYS_unlink, Call::unlink},
#endif
#ifdef SYS_fork
    {SYS_fork, Call::fork},
#endif
#ifdef SYS_vfork
    {SYS_vfork, Call::fork},
#endif
};

ssize_t transfer(Call call, int descriptor, char &byte, int flags)
{
    switch (call) {
    case Call::read:
        return read(descriptor, &byte, 1);
    case Call::receive:
        return recv(descriptor, &byte, 1, flags);
    case Call::send:
        return send(descriptor, &byte, 1, flags);
    default:
        return write(descriptor, &byte, 1);
    }
}

bool takes_from_daemon(Call call)
{
    return call == Call::send || call == Call::write;
}

/* On descriptors, so that what it returns and errno survive closing them. */
class Borrowed {
public:
    Borrowed(pid_t owner, int number)
        : process_(static_cast<int>(syscall(SYS_pidfd_open, owner, 0))),
          descriptor_(static_cast<int>(syscall(SYS_pidfd_getfd, process_, number, 0)))
    {}
    Borrowed(const Borrowed &) = delete;
    ~Borrowed()
    {
        const int error = errno;
        close(descriptor_);
        close(process_);
        errno = error;
    }
    int get() const { return descriptor_; }

private:
    int process_;
    int descriptor_;
};

} // namespace

const char *name_of(Call call)
{
    static constexpr const char *names[] = {
        "accept", "close", "fork",   "fsync", "open",   "poll", "read",  "receive", "rename",
        "select", "send",  "socket", "sync",  "unlink", "wait", "watch", "write",   "other"};
    return names[static_cast<int>(call)];
}

Call kind_of(int number)
{
    for (const KindOfCall &each : kinds) {
        if (each.number == number) return each.kind;
    }
    return Call::other;
}

bool waits_for_somebody(Call call)
{
    return call == Call::accept || call == Call::receive || call == Call::send ||
           call == Call::poll || call == Call::select || call == Call::wait;
}

bool transfers(Call call)
{
    return call == Call::read || call == Call::receive || call == Call::send || call == Call::write;
}

unsigned short make_filter(sock_filter (&filter)[max_filter_length])
{
    unsigned short length = 0;
    filter[length++] = BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr));
    for (const KindOfCall &each : kinds) {
        filter[length++] =
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<__u32>(each.number), 0, 1);
        filter[length++] = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF);
    }
    filter[length++] = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    return length;
}

ssize_t move_one_byte(pid_t daemon, const seccomp_notif &asked)
{
    const Call call = kind_of(asked.data.nr);
    const Borrowed descriptor(daemon, static_cast<int>(asked.data.args[0]));
    char byte = 0;
    const iovec mine = {&byte, 1};
    const iovec its = {reinterpret_cast<void *>(asked.data.args[1]), 1};

    if (takes_from_daemon(call)) process_vm_readv(daemon, &mine, 1, &its, 1, 0);
    const ssize_t moved =
        transfer(call, descriptor.get(), byte, static_cast<int>(asked.data.args[3]));
    if (moved == 1 && !takes_from_daemon(call)) process_vm_writev(daemon, &mine, 1, &its, 1, 0);
    return moved;
}

} // namespace vorn::tests
