/* SPDX-License-Identifier: MIT */
/*
 * Starting children, and waiting for those that are commands. What it protects: a command's
 * status reaches whoever ran it, whatever else is being reaped meanwhile, and a child inherits
 * nothing of the daemon but what it was meant to.
 */
#include "services/command.h"

#include "core/base/paths.h"
#include "core/base/signals_held.h"
#include "core/base/text.h"
#include "core/guard.h"
#include "core/log_sink.h"
#include "core/put_off.h"
#include "services/argument_vector.h"
#include "vorn/debug.h"
#include "vorn/service.h"

#include <cerrno>
#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vorn {

namespace {

constexpr int not_executed = 127;
constexpr int highest_descriptor = 1023;

/* Of SIGTERM, since a fork failed. */
using SignalHandler = void (*)(int);
constinit SignalHandler lost_handler = nullptr;

/* Continues the line that the start of a child began. */
void continue_line(const char *pattern, ...) VORN_PRINTF(1, 2);
void continue_line(const char *pattern, ...)
{
    if (!shows_commands()) return;
    std::va_list arguments;
    va_start(arguments, pattern);
    std::vfprintf(vorn_debug_get_stream(), pattern, arguments);
    va_end(arguments);
    std::fflush(vorn_debug_get_stream());
}

void show_start(char *const arguments[])
{
    vorn_debug_1printf("Running \"");
    for (int i = 0; arguments[i]; i++)
        continue_line("%s%s", i > 0 ? " " : "", arguments[i]);
    continue_line("\" ");
}

void reset_signals()
{
    for (const int sig : {SIGCHLD, SIGTERM, SIGINT, SIGHUP})
        std::signal(sig, SIG_DFL);
    hear_all_signals();
}

void enter_directory(const char *directory, const char *program)
{
    if (!directory || chdir(directory) == 0) return;
    vorn_debug_perror(Line<161>("Unable to change directories to \"%s\" while executing \"%s\"",
                                directory, program)
                          .get());
}

/* Without a null device the descriptor is closed: better none than the daemon's. */
void put_in_place(int null_device, int descriptor)
{
    if (null_device == descriptor) return;
    close(descriptor);
    dup2(null_device, descriptor);
}

void redirect(Output output)
{
    const int null_device = open(paths::null_device, O_RDWR);

    put_in_place(null_device, STDIN_FILENO);
    if (output.descriptor >= 0) {
        dup2(output.descriptor, STDOUT_FILENO);
        dup2(output.descriptor, STDERR_FILENO);
    } else if (output.mode == output_discarded ||
               (output.mode == output_when_debugging && !shows_commands())) {
        put_in_place(null_device, STDOUT_FILENO);
        put_in_place(null_device, STDERR_FILENO);
    }
    if (null_device > STDERR_FILENO) close(null_device);
}

[[noreturn]] void become(char *const arguments[], Output output, const char *directory)
{
    forget_waiting_logs();
    reset_signals();
    enter_directory(directory, arguments[0]);
    redirect(output);
    for (int i = STDERR_FILENO + 1; i <= highest_descriptor; i++)
        close(i);
    setsid();
    execvp(arguments[0], arguments);

    vorn_debug_perror(Line<81>("Unable to execute \"%s\"", arguments[0]).get());
    finish_logs();
    _exit(not_executed);
}

int wait_for(pid_t pid)
{
    int status = 0;
    pid_t reaped;

    if (pid == -1) return -1;
    const AtRest at_rest;
    do {
        reaped = waitpid(pid, &status, 0);
    } while (reaped == -1 && errno == EINTR);

    if (reaped == -1) {
        const int error = errno;
        continue_line("-> errno = %d\n", error);
        return -1;
    }
    continue_line("-> status = %d\n", status);
    return status;
}

} // namespace

bool shows_commands()
{
    return vorn_debug_get() > 0;
}

pid_t vorn_command_spawn(char *const arguments[], Output output, const char *directory)
{
    if (shows_commands()) show_start(arguments);
    if (vorn_process_no_actions) {
        continue_line("-> (no actions) ");
        return 0;
    }

    pid_t pid;
    {
        /* The handlers, which would end every service, are the daemon's and not the child's. */
        const SignalsHeld held;
        const auto on_termination = std::signal(SIGTERM, SIG_DFL);
        pid = fork();
        if (pid == 0) become(arguments, output, directory);
        if (pid != -1) {
            std::signal(SIGTERM, on_termination);
        } else if (on_termination != SIG_DFL) {
            lost_handler = on_termination;
        }
    }
    if (pid == -1) { /* until the next tick: who can't fork is left fast */
        vorn_debug_perror("fork");
        return -1;
    }
    continue_line("-> pid = %d ", static_cast<int>(pid));
    return pid;
}

/* Somebody may have set another one since, as the end of the boot does. */
void hear_termination_again()
{
    struct sigaction now;
    if (!lost_handler) return;
    if (sigaction(SIGTERM, nullptr, &now) == 0 && now.sa_handler == SIG_DFL) {
        std::signal(SIGTERM, lost_handler);
    }
    lost_handler = nullptr;
}

} // namespace vorn

using namespace vorn;

int vorn_command_execl(const char *program, ...)
{
    Arguments more;
    va_start(more.list, program);
    const ArgumentVector arguments(program, more);
    va_end(more.list);
    return arguments.get() ? vorn_command_execv(arguments.get()) : -1;
}

int vorn_command_execlod(const char *program, ...)
{
    Arguments more;
    va_start(more.list, program);
    const ArgumentVector arguments(program, more);
    int status = -1;
    if (arguments.get()) {
        const int output_mode = va_arg(more.list, int);
        const char *directory = va_arg(more.list, const char *);
        status = vorn_command_execvod(arguments.get(), output_mode, directory);
    }
    va_end(more.list);
    return status;
}

int vorn_command_execv(char *const arguments[])
{
    return vorn_command_execvod(arguments, output_when_debugging, nullptr);
}

int vorn_command_execvod(char *const arguments[], int output_mode, const char *directory)
{
    if (absent(arguments, "arguments") || absent(arguments[0], "program")) return -1;

    /* The reaper, in signal context during the boot load, would take what the wait is after. */
    const SignalsHeld held(SIGCHLD);
    return wait_for(vorn_command_spawn(arguments, {.mode = output_mode}, directory));
}
