/* SPDX-License-Identifier: MIT */
/* The kernel's notifications of system calls (seccomp), received by a thread of the test. */
#include "faults/failing_kernel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include "faults/failing_kernel_calls.h"

namespace vorn::tests {

namespace {

constexpr char door[] = "failing_kernel";

int socket_with_address(sockaddr_un &address, socklen_t &length)
{
    address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, door, sizeof door - 1);
    length = offsetof(sockaddr_un, sun_path) + sizeof door;
    return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
}

/* One descriptor travels along with one byte. */
struct DescriptorMessage {
    DescriptorMessage()
    {
        header.msg_iov = &piece;
        header.msg_iovlen = 1;
        header.msg_control = room;
        header.msg_controllen = sizeof room;
    }
    char byte = 'x';
    iovec piece = {&byte, 1};
    alignas(cmsghdr) char room[CMSG_SPACE(sizeof(int))] = {};
    msghdr header = {};
};

bool send_descriptor(int connection, int descriptor)
{
    DescriptorMessage message;
    cmsghdr *control = CMSG_FIRSTHDR(&message.header);
    control->cmsg_level = SOL_SOCKET;
    control->cmsg_type = SCM_RIGHTS;
    control->cmsg_len = CMSG_LEN(sizeof descriptor);
    std::memcpy(CMSG_DATA(control), &descriptor, sizeof descriptor);
    return sendmsg(connection, &message.header, 0) == 1;
}

int receive_descriptor(int connection)
{
    DescriptorMessage message;
    int descriptor = -1;
    if (recvmsg(connection, &message.header, MSG_CMSG_CLOEXEC) != 1) return -1;
    if (const cmsghdr *control = CMSG_FIRSTHDR(&message.header)) {
        std::memcpy(&descriptor, CMSG_DATA(control), sizeof descriptor);
    }
    return descriptor;
}

/*
 * Notifications of every call that has a kind; all others pass at once. A signal that comes while
 * one is being answered waits: a call begun again would move its bytes twice.
 */
int filter_calls()
{
    constexpr unsigned int flags =
        SECCOMP_FILTER_FLAG_NEW_LISTENER | SECCOMP_FILTER_FLAG_WAIT_KILLABLE_RECV;
    sock_filter filter[max_filter_length];
    const unsigned short length = make_filter(filter);
    const sock_fprog program = {length, filter};
    return static_cast<int>(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, flags, &program));
}

/* As if the call had closed it all the same, which is what Linux does. */
void close_in_daemon(int notifications, const seccomp_notif &asked)
{
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    seccomp_notif_addfd exchange = {};
    exchange.id = asked.id;
    exchange.flags = SECCOMP_ADDFD_FLAG_SETFD;
    exchange.srcfd = static_cast<__u32>(nothing);
    exchange.newfd = static_cast<__u32>(asked.data.args[0]);
    exchange.newfd_flags = O_CLOEXEC;
    ioctl(notifications, SECCOMP_IOCTL_NOTIF_ADDFD, &exchange);
    close(nothing);
}

} // namespace

FailingKernel::FailingKernel()
{
    sockaddr_un address;
    socklen_t length;
    listener_ = socket_with_address(address, length);
    end_ = eventfd(0, EFD_CLOEXEC);
    EXPECT_EQ(bind(listener_, reinterpret_cast<sockaddr *>(&address), length), 0);
    EXPECT_EQ(listen(listener_, 1), 0);
    thread_ = std::thread([this] { serve(); });
}

FailingKernel::~FailingKernel()
{
    const std::uint64_t one = 1;
    EXPECT_EQ(write(end_, &one, sizeof one), static_cast<ssize_t>(sizeof one));
    thread_.join();
    close(end_);
    close(listener_);
    if (notifications_ >= 0) close(notifications_);
}

void FailingKernel::stand_between()
{
    sockaddr_un address;
    socklen_t length;
    const int connection = socket_with_address(address, length);
    if (connect(connection, reinterpret_cast<sockaddr *>(&address), length) != 0) _exit(126);
    const int notifications = filter_calls();
    if (notifications < 0 || !send_descriptor(connection, notifications)) _exit(126);
    close(notifications);
    close(connection);
}

void FailingKernel::fail(Call call, unsigned long nth, int error)
{
    const std::lock_guard lock(mutex_);
    mode_ = Mode::fail_one;
    call_ = call;
    countdown_ = nth;
    error_ = error;
    failed_ = false;
}

void FailingKernel::interrupt_all()
{
    const std::lock_guard lock(mutex_);
    mode_ = Mode::interrupt_all;
    failed_ = false;
}

void FailingKernel::shorten_all()
{
    const std::lock_guard lock(mutex_);
    mode_ = Mode::shorten_all;
    failed_ = false;
}

void FailingKernel::slow_down(Call call, std::chrono::milliseconds time)
{
    const std::lock_guard lock(mutex_);
    mode_ = Mode::slow_down;
    call_ = call;
    time_ = time;
}

bool FailingKernel::stop()
{
    const std::lock_guard lock(mutex_);
    mode_ = Mode::pass;
    return failed_;
}

void FailingKernel::serve()
{
    for (;;) {
        pollfd ready[] = {{end_, POLLIN, 0}, {listener_, POLLIN, 0}, {notifications_, POLLIN, 0}};
        if (poll(ready, std::size(ready), -1) < 0) continue;
        if (ready[0].revents) return;
        if (ready[1].revents) {
            take_daemon(listener_);
        } else if (ready[2].revents & POLLIN) {
            answer(notifications_);
        } else if (ready[2].revents) {
            close(notifications_);
            notifications_ = -1;
        }
    }
}

void FailingKernel::take_daemon(int listener)
{
    const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (notifications_ >= 0) close(notifications_);
    notifications_ = receive_descriptor(connection);
    daemon_ = 0;
    close(connection);
}

void FailingKernel::answer(int notifications)
{
    seccomp_notif asked = {};
    if (ioctl(notifications, SECCOMP_IOCTL_NOTIF_RECV, &asked) != 0) return;
    if (daemon_ == 0) daemon_ = static_cast<pid_t>(asked.pid);

    seccomp_notif_resp given = {};
    given.id = asked.id;
    decide(notifications, asked, given);
    ioctl(notifications, SECCOMP_IOCTL_NOTIF_SEND, &given);
}

void FailingKernel::decide(int notifications, const seccomp_notif &asked, seccomp_notif_resp &given)
{
    const Call call = kind_of(asked.data.nr);
    const bool counts = static_cast<pid_t>(asked.pid) == daemon_ && !is_log(asked);
    const int verdict = counts ? verdict_on(call) : 0;
    if (counts) std::this_thread::sleep_for(time_of(call));

    if (verdict == short_transfer && asked.data.args[2] > 1) {
        const ssize_t moved = move_one_byte(daemon_, asked);
        given.val = std::max<ssize_t>(moved, 0);
        given.error = moved < 0 ? -errno : 0;
    } else if (verdict > 0) {
        if (call == Call::close) close_in_daemon(notifications, asked);
        given.error = -verdict;
    } else if (call != Call::fsync && call != Call::sync) {
        given.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
    }
}

std::chrono::milliseconds FailingKernel::time_of(Call call)
{
    const std::lock_guard lock(mutex_);
    return mode_ == Mode::slow_down && call == call_ ? time_ : std::chrono::milliseconds(0);
}

/* 0 to let it pass. */
int FailingKernel::verdict_on(Call call)
{
    const std::lock_guard lock(mutex_);
    int verdict = 0;
    if (mode_ == Mode::fail_one && call == call_ && countdown_ > 0 && --countdown_ == 0) {
        verdict = error_;
    } else if (mode_ == Mode::interrupt_all && waits_for_somebody(call)) {
        verdict = chance_() % 2 == 0 ? EINTR : 0;
    } else if (mode_ == Mode::shorten_all && transfers(call)) {
        verdict = short_transfer;
    }
    failed_ = failed_ || verdict != 0;
    return verdict;
}

bool FailingKernel::is_log(const seccomp_notif &asked) const
{
    if (kind_of(asked.data.nr) != Call::write) return false;
    const std::string link =
        "/proc/" + std::to_string(daemon_) + "/fd/" + std::to_string(asked.data.args[0]);
    char target[256] = "";
    if (readlink(link.c_str(), target, sizeof target - 1) < 0) return false;
    return std::strstr(target, "console") || std::strstr(target, "stderr");
}

} // namespace vorn::tests
