/* SPDX-License-Identifier: MIT */
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <sys/types.h>

namespace vorn::tests {

/*
 * Looks at every system call of a process, and keeps those that change something outside of it:
 * that run a program, write to a file or a device, make, remove or rename one, change the kernel's
 * network, signal or speak to another process. What it answers on sockets that were opened before
 * is its business, and so is the log.
 */
class CallsOfAProcess {
public:
    explicit CallsOfAProcess(pid_t process);
    CallsOfAProcess(const CallsOfAProcess &) = delete;
    ~CallsOfAProcess();

    /* Ends the looking; the process has to make some call for it. */
    void end(const std::function<void()> &has_it_make_a_call);
    /* What changed something, one line each. */
    std::vector<std::string> acts;
    unsigned long calls = 0; /* all of them */

private:
    void trace();
    bool attach();
    void look_at_stop(int status);
    void look_at_call(std::uint64_t number, const std::uint64_t arguments[6]);
    void keep(const char *what, const std::string &more);
    std::string text_at(std::uint64_t address) const;
    std::string descriptor(std::uint64_t number) const;

    pid_t process_;
    std::atomic<bool> is_to_end_ = false;
    std::atomic<bool> has_begun_ = false;
    std::thread thread_;
};

} // namespace vorn::tests
