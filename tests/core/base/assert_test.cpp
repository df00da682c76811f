/* SPDX-License-Identifier: MIT */
#include "core/base/assert.h"
#include "core/base/file.h"
#include "core/base/signals_held.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/* Of a process whose assertion fails while no signal is heard. */
int end_of_a_failure(int standard_error)
{
    const pid_t child = fork();
    if (child == 0) {
        const rlimit no_core = {0, 0};
        setrlimit(RLIMIT_CORE, &no_core);
        dup2(standard_error, STDERR_FILENO);
        const vorn::SignalsHeld held;
        vorn::assert_that(false, "1 == 2", "file.cpp", 7, "void f()");
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

TEST(Assertions, AbortAndSayWhy)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const vorn::Fd reader(ends[0]);
    const vorn::Fd writer(ends[1]);

    EXPECT_EQ(WTERMSIG(end_of_a_failure(writer.get())), SIGABRT);

    char text[200];
    const ssize_t length = read(reader.get(), text, sizeof text);
    ASSERT_GT(length, 0);
    EXPECT_EQ(std::string(text, static_cast<std::size_t>(length)),
              "file.cpp:7: void f(): Assertion `1 == 2' failed.\n");
}

TEST(Assertions, AbortAlsoWhenNobodyTakesWhatTheySay)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const vorn::Fd reader(ends[0]);
    const vorn::Fd writer(ends[1]);
    const std::string filling(4096, '.');
    fcntl(writer.get(), F_SETFL, O_NONBLOCK);
    while (write(writer.get(), filling.data(), filling.size()) > 0)
        continue;
    fcntl(writer.get(), F_SETFL, 0);

    EXPECT_EQ(WTERMSIG(end_of_a_failure(writer.get())), SIGABRT);
}

} // namespace
