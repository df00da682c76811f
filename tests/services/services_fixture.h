/* SPDX-License-Identifier: MIT */
#pragma once

#include "services/service_state.h"
#include "support/log.h"
#include "vorn/service.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <utility>

#include <sys/wait.h>

namespace vorn::tests {

/* A table of its own; what a test leaves running of its own is killed. */
class Services : public testing::Test {
protected:
    Services()
    {
        vorn_service_init();
        sig_child_received = 0;
    }
    ~Services() override
    {
        vorn_process_no_actions = 0;
        for (auto [name, service] : service_table->services) {
            if (is_child(service->pid)) {
                kill(service->pid, SIGKILL);
                waitpid(service->pid, nullptr, 0);
            }
            delete service;
        }
        delete std::exchange(service_table, nullptr);
    }

    static bool is_child(pid_t pid) { return pid > 0 && waitpid(pid, nullptr, WNOHANG) == 0; }
    static vorn_service *record(const char *name) { return service_table->services.get(name); }
    static void start_sleeper(const char *name)
    {
        ASSERT_EQ(vorn_service_execl(name, "sleep", "1000", nullptr), 0);
    }
    /* Starts something that ends at once, and waits until it is a zombie. */
    static void start_and_end(const char *name)
    {
        ASSERT_EQ(vorn_service_execl(name, "true", nullptr), 0);
        siginfo_t info;
        waitid(P_PID, static_cast<id_t>(record(name)->pid), &info, WEXITED | WNOWAIT);
    }
    static void poll_after_an_exit()
    {
        vorn_service_sig_child(SIGCHLD, nullptr, nullptr);
        vorn_service_poll();
    }
    static std::string listing()
    {
        return printed([](std::FILE *stream) { vorn_service_print(stream); });
    }

    CapturedLog log{0};
};

} // namespace vorn::tests
