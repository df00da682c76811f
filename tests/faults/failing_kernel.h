/* SPDX-License-Identifier: MIT */
#pragma once

#include <chrono>
#include <mutex>
#include <random>
#include <string>
#include <thread>

#include <sys/types.h>

struct seccomp_notif;
struct seccomp_notif_resp;

namespace vorn::tests {

enum class Call {
    accept,
    close,
    fork,
    fsync,
    open,
    poll,
    read,
    receive,
    rename,
    select,
    send,
    socket, /* and what makes a listener of one */
    sync,
    unlink,
    wait,
    watch,
    write,
    other,
};

const char *name_of(Call call);

/* More calls of one kind than anything makes: who fails each in turn stops there. */
inline constexpr unsigned long most_calls = 1000;

/* In the place of an error: the call moves one byte, where it was asked for more. */
constexpr int short_transfer = -1;

/*
 * Stands between the daemon and the kernel: every call of these kinds that the daemon makes, from
 * whatever library, is held until this has let it pass, shortened it, or refused it with an error.
 * What is written to the log always passes, and so does what the daemon's children do. Flushing to
 * this machine's disk is left out: it takes long, and nobody here cuts the power.
 */
class FailingKernel {
public:
    FailingKernel();
    FailingKernel(const FailingKernel &) = delete;
    ~FailingKernel();

    /* To be run in the process that becomes the daemon. */
    static void stand_between();

    /* From now on the nth call of that kind fails, and no other. */
    void fail(Call call, unsigned long nth, int error);
    /* Half of the calls that wait for somebody are interrupted, in no regular order. */
    void interrupt_all();
    /* Every transfer through a socket or a file moves one byte. */
    void shorten_all();
    /* Every call of that kind passes, but takes so long. */
    void slow_down(Call call, std::chrono::milliseconds time);
    /* All calls pass again; whether one has failed. */
    bool stop();

private:
    enum class Mode { pass, fail_one, interrupt_all, shorten_all, slow_down };

    void serve();
    void take_daemon(int listener);
    void answer(int notifications);
    void decide(int notifications, const seccomp_notif &asked, seccomp_notif_resp &given);
    int verdict_on(Call call);
    std::chrono::milliseconds time_of(Call call);
    bool is_log(const seccomp_notif &asked) const;

    std::mutex mutex_;
    Mode mode_ = Mode::pass;
    Call call_ = Call::other;
    unsigned long countdown_ = 0;
    int error_ = 0;
    bool failed_ = false;
    std::chrono::milliseconds time_{};
    std::minstd_rand chance_; /* the same one in every run */
    pid_t daemon_ = 0;
    int notifications_ = -1;
    int listener_;
    int end_;
    std::thread thread_;
};

} // namespace vorn::tests
