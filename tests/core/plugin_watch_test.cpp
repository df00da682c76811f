/* SPDX-License-Identifier: MIT */
/* The signals that end the daemon, or tell it that it hangs. In children, whose signals they are.
 */
#include "core/plugin_page.h"
#include "core/plugin_watch.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <initializer_list>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace vorn;

const int almost_too_late = SIGRTMAX - 2;

/* Whether what is done in a child of its own is answered with true. */
template <typename Work>
bool holds_in_child(Work work)
{
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        _exit(work() ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}

TEST(PluginWatches, HaveAStackOfTheirOwnForWhoHasNoneLeft)
{
    EXPECT_TRUE(holds_in_child([] {
        watch_for_deaths();
        stack_t there = {};
        return sigaltstack(nullptr, &there) == 0 && (there.ss_flags & SS_DISABLE) == 0;
    }));
}

/* In a process that watches for the first time. */
bool strikes_after(std::initializer_list<int> patiences)
{
    return holds_in_child([&] {
        sigset_t hanging;
        sigemptyset(&hanging);
        sigaddset(&hanging, almost_too_late);
        sigprocmask(SIG_BLOCK, &hanging, nullptr);
        for (const int seconds : patiences)
            watch_for_hanging(seconds);
        const struct timespec most = {50, 0};
        return sigtimedwait(&hanging, nullptr, &most) == almost_too_late;
    });
}

constexpr int over_at_once = 10;

TEST(PluginWatches, StrikeWhenTheFirstPatienceEnds)
{
    EXPECT_TRUE(strikes_after({over_at_once}));
}

TEST(PluginWatches, StrikeWhenTheLastPatienceEndsWhateverWasSetBefore)
{
    EXPECT_TRUE(strikes_after({1000, over_at_once}));
}

TEST(PluginWatches, InterruptNoCallAndNeedNoRoomOnAStack)
{
    EXPECT_TRUE(holds_in_child([] {
        watch_for_hanging(1000);
        struct sigaction now = {};
        sigaction(almost_too_late, nullptr, &now);
        return (now.sa_flags & SA_RESTART) != 0 && (now.sa_flags & SA_ONSTACK) != 0;
    }));
}

/* It shares the page, and is not the daemon. */
TEST(PluginWatches, TakeTheEndOfAChildForNobodys)
{
    char name[] = "/tmp/vorn-watch-XXXXXX";
    const std::string folder = mkdtemp(name);
    EXPECT_TRUE(holds_in_child([&] {
        open_plugin_page((folder + "/page").c_str());
        watch_for_deaths();
        const InPlugin watched(1, Callback::commit);
        const std::uint32_t before = *code_under_way;
        holds_in_child([] { return std::raise(SIGTERM) != 0; });
        return before != 0 && *code_under_way == before;
    }));
    std::filesystem::remove_all(folder);
}

} // namespace
