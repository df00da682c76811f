/* SPDX-License-Identifier: MIT */
/*
 * Services: children with a name, which run until they are told to stop. A record comes into
 * being with the first use of a name. A start makes it running, whatever became of the start; a
 * stop makes it stopping, or stopped at once when no actions are taken. The poll after a child's
 * exit looks for each process: a stopping service whose process is gone is stopped and stays; any
 * other one is dropped and its exit function called. What it protects: no process is taken for a
 * service, or signalled, because it has the number that a service had.
 */
#include "core/base/file.h"
#include "core/base/result.h"
#include "core/base/signals_held.h"
#include "core/base/text.h"
#include "core/guard.h"
#include "core/put_off.h"
#include "services/argument_vector.h"
#include "services/command.h"
#include "services/monotonic_clock.h"
#include "services/process_number.h"
#include "services/service_endings.h"
#include "services/service_state.h"
#include "vorn/debug.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

volatile int sig_child_received = 0;

namespace vorn {

constinit ServiceTable *service_table = nullptr;

namespace {

constexpr unsigned int service_buckets = 64;
constexpr int nothing_to_do = 0;
constexpr int stopped_or_signalled = 1;
constexpr int time_limit_passed = -1;
constexpr int termination_limit_us = 5000000;
constexpr int kill_limit_us = 1000000;
constexpr pid_t no_process = -1;
constexpr int unknown_status = -1;

/* How the service ended whose exit function runs. */
constinit int status_told = unknown_status;

vorn_service *find_service(const char *name)
{
    return name && service_table ? service_table->services.get(name) : nullptr;
}

vorn_service *require_service(const char *name)
{
    if (vorn_service *service = find_service(name)) return service;
    if (!service_table) return nullptr;

    Owned<vorn_service> service = make<vorn_service>();
    const SignalsHeld held; /* whose handlers walk the table */
    if (!service || service_table->services.insert(name, service.get()) != 0) return nullptr;
    return service.release();
}

/*
 * A number is good for as long as its process is not reaped, by whomever; then it may be anybody's.
 * A failed fork leaves -1, which kill would take for every process there is; it names none. 0,
 * what a start without actions leaves, is the daemon's own group and always answers. What was
 * started before the daemon went into the background is no child, and known by its birth.
 */
bool process_exists(const vorn_service &service)
{
    if (service.reaped || service.pid == no_process) return false;
    if (service.pid <= 0) return kill(service.pid, 0) == 0;
    if (service.starter == getpid()) return is_our_child(service.pid);
    return is_the_one_born(service.pid, service.birth);
}

void note_end(vorn_service &service, int status)
{
    service.status = status;
    service.reaped = true;
}

/*
 * Polls without sleeping: the limits are short, and nothing else may happen before a service is
 * known to be gone. An error means that it is no child, of this process or any more.
 */
bool ends_within(vorn_service &service, std::int64_t limit_us)
{
    const AtRest at_rest;
    const std::int64_t start = now_us();
    for (;;) {
        int status = unknown_status;
        const pid_t reaped = waitpid(service.pid, &status, WNOHANG);
        if (reaped == service.pid) note_end(service, status);
        if (reaped != 0 && !process_exists(service)) return true;
        if (now_us() - start > limit_us) return false;
    }
}

void note_reaped(pid_t pid, int status)
{
    if (!service_table) return;
    for (auto [name, service] : service_table->services) {
        if (service->pid == pid && !service->reaped) note_end(*service, status);
    }
}

/* One piece of memory: the pointers, their null, and the texts after it. */
Allocated<char *> copy_of_vector(char *const arguments[])
{
    std::size_t count = 0;
    std::size_t bytes = 0;
    for (; arguments[count]; count++)
        bytes += std::strlen(arguments[count]) + 1;

    const std::size_t table_size = (count + 1) * sizeof(char *);
    Allocated<char *> copy(static_cast<char **>(noted(std::malloc(table_size + bytes))));
    if (!copy) return copy;
    char *text = reinterpret_cast<char *>(copy.get()) + table_size;
    for (std::size_t i = 0; i < count; i++) {
        copy.get()[i] = text;
        text = stpcpy(text, arguments[i]) + 1;
    }
    copy.get()[count] = nullptr;
    return copy;
}

/* Empty when memory or descriptors are gone. The descriptor may be closed by its owner. */
Owned<PlannedStart> plan_start(char *const arguments[], Output output, const char *directory)
{
    Owned<PlannedStart> plan = make<PlannedStart>();
    if (!plan) return plan;
    plan->arguments = copy_of_vector(arguments);
    plan->directory = copy_of(directory);
    plan->output_mode = output.mode;
    if (output.descriptor >= 0) {
        plan->output = Fd(fcntl(output.descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
        if (!plan->output) return {};
    }
    if (!plan->arguments || (directory && !plan->directory)) return {};
    return plan;
}

/*
 * No signal strikes between the birth of a process and its number's being noted: the reaper would
 * miss it, and a termination leave it behind.
 */
void spawn(vorn_service &service, char *const arguments[], Output output, const char *directory)
{
    const SignalsHeld held;
    const pid_t pid = vorn_command_spawn(arguments, output, directory);
    if (pid > 0) note_reaped(pid, unknown_status); /* whoever had that number before */
    service.pid = pid;
    service.starter = getpid();
    service.birth = pid > 0 ? birth_of(pid) : 0;
    service.reaped = false;
    service.status = unknown_status;
    service.state = ServiceState::running;
    if (!shows_commands()) return;
    std::fputc('\n', vorn_debug_get_stream());
    std::fflush(vorn_debug_get_stream());
}

void start_again(vorn_service &service)
{
    const PlannedStart &plan = *service.planned;
    const Output output = {plan.output_mode, plan.output.get()};
    spawn(service, plan.arguments.get(), output, plan.directory.get());
    if (service.pid != no_process) service.planned.reset();
}

/*
 * A start whose fork failed is tried again with every tick. Once another child has ended, the owner
 * of an exit function is told instead, and decides; so he is when nothing of the start is known,
 * because memory was gone too.
 */
bool is_kept(vorn_service &service, bool child_ended)
{
    if (service.state == ServiceState::running && service.pid == no_process) {
        if (!service.planned || (child_ended && service.exited_fn)) return false;
        start_again(service);
        return true;
    }
    return !child_ended || process_exists(service);
}

const char *word_for(ServiceState state)
{
    switch (state) {
    case ServiceState::stopped:
        return "stopped";
    case ServiceState::running:
        return "running";
    case ServiceState::stopping:
        return "stopping";
    }
    return "";
}

/* The remark on the callback is the wrong way round; people's log filters know it that way. */
void drop_service(const char *name, vorn_service *gone)
{
    vorn_debug_1printf("Service %s with pid %d is no longer running. %s.\n", name,
                       static_cast<int>(gone->pid),
                       gone->exited_fn ? "Service has no callback" : "Running callback");

    if (gone->state == ServiceState::running) note_ending(name);
    Owned<vorn_service> dropped;
    {
        const SignalsHeld held;
        dropped.reset(service_table->services.remove(name));
    }
    status_told = dropped->status;
    if (dropped->exited_fn) {
        const InPlugin watched(dropped->owner, Callback::service);
        dropped->exited_fn(dropped->exited_data);
    }
    status_told = unknown_status;
}

int start_service(const char *name, char *const arguments[], Output output, const char *directory)
{
    if (absent(name, "name")) return failed;
    if (absent(arguments, "arguments") || absent(arguments[0], "program")) return failed;
    vorn_service *service = require_service(name);
    if (!service) return failed;

    service->planned.reset();
    spawn(*service, arguments, output, directory);
    if (service->pid == no_process) service->planned = plan_start(arguments, output, directory);
    return ok;
}

int stop(const char *name, vorn_service &service, int signal_number, int limit_us)
{
    const pid_t pid = service.pid;
    vorn_debug_1printf("Sending signal %d to service %s with pid %d.\n", signal_number, name,
                       static_cast<int>(pid));
    service.state = ServiceState::stopping;
    if (vorn_process_no_actions) {
        vorn_debug_1printf("(no actions)\n");
        service.state = ServiceState::stopped;
        return nothing_to_do;
    }

    /* Anything but a real process id would reach the daemon's own group, or everybody. */
    if (pid <= 0 || !process_exists(service)) return stopped_or_signalled;
    kill(pid, signal_number);
    if (limit_us == 0 || ends_within(service, limit_us)) return stopped_or_signalled;

    vorn_debug_1printf("Timeout while sending signal %d to service %s with pid %d.\n",
                       signal_number, name, static_cast<int>(pid));
    return time_limit_passed;
}

/* One that was told to stop and did not would outlive the daemon, and be there twice afterwards. */
bool may_outlive_the_daemon(const vorn_service &service)
{
    return service.state == ServiceState::running ||
           (service.state == ServiceState::stopping && service.pid > 0 && process_exists(service));
}

/* Runs in signal context too, which may have struck into an allocation: nothing is freed. */
void stop_for_shutdown(const char *name, vorn_service &service)
{
    vorn_debug_1printf("Stopping %s (%d)...\n", name, static_cast<int>(service.pid));
    if (stop(name, service, SIGTERM, termination_limit_us) == time_limit_passed) {
        stop(name, service, SIGKILL, kill_limit_us);
    }
}

} // namespace

} // namespace vorn

using namespace vorn;

void vorn_service_init()
{
    if (service_table) return;
    Owned<ServiceTable> table = make<ServiceTable>();
    if (!table || !table->services.create(service_buckets)) return;
    service_table = table.release();
}

int vorn_service_set_exited_fn(const char *name, vorn_service_exited_fn exited, void *data)
{
    if (absent(name, "name")) return failed;
    vorn_service *service = require_service(name);
    if (!service) return failed;
    service->exited_fn = exited;
    service->owner = current_plugin();
    service->exited_data = data;
    return ok;
}

int vorn_service_execl(const char *name, const char *program, ...)
{
    Arguments more;
    va_start(more.list, program);
    const ArgumentVector arguments(program, more);
    va_end(more.list);
    return arguments.get() ? vorn_service_execv(name, arguments.get()) : -1;
}

int vorn_service_execlod(const char *name, const char *program, ...)
{
    Arguments more;
    va_start(more.list, program);
    const ArgumentVector arguments(program, more);
    int result = -1;
    if (arguments.get()) {
        const int output_mode = va_arg(more.list, int);
        const char *directory = va_arg(more.list, const char *);
        result = vorn_service_execvod(name, arguments.get(), output_mode, directory);
    }
    va_end(more.list);
    return result;
}

int vorn_service_execv(const char *name, char *const arguments[])
{
    return vorn_service_execvod(name, arguments, output_when_debugging, nullptr);
}

int vorn_service_execvod(const char *name, char *const arguments[], int output_mode,
                         const char *directory)
{
    return start_service(name, arguments, {.mode = output_mode}, directory);
}

int vorn_service_execvfd(const char *name, char *const arguments[], int output,
                         const char *directory)
{
    return start_service(name, arguments, {.descriptor = output}, directory);
}

int vorn_service_is_running(const char *name)
{
    if (absent(name, "name")) return 0;
    const vorn_service *service = find_service(name);
    if (!service || service->state != ServiceState::running) return 0;
    if (!process_exists(*service)) return 0;

    const char state = process_state(service->pid);
    return state != '\0' && state != 'Z';
}

int vorn_service_get_pid(const char *name)
{
    const vorn_service *service = find_service(name);
    if (!service || service->state == ServiceState::stopped) return 0;
    return service->pid > 0 ? static_cast<int>(service->pid) : 0;
}

int vorn_service_get_exit_status()
{
    return status_told;
}

int vorn_service_stop(const char *name, int signal_number, int limit_us)
{
    vorn_service *service = find_service(name);
    if (!service || service->state == ServiceState::stopped) return nothing_to_do;

    service->planned.reset();
    return stop(name, *service, signal_number, limit_us);
}

void vorn_service_shutdown()
{
    if (!service_table) return;
    for (auto [name, service] : service_table->services) {
        if (may_outlive_the_daemon(*service)) stop_for_shutdown(name, *service);
    }
}

/* Runs in signal context while the daemon comes up, hence the care for errno. */
void vorn_service_sig_child(int, void *, void *)
{
    const int error = errno;
    int status = unknown_status;
    for (pid_t reaped; (reaped = waitpid(-1, &status, WNOHANG)) > 0;)
        note_reaped(reaped, status);
    sig_child_received = 1;
    errno = error;
}

/*
 * A service that an exit function starts again comes last in the table and is not looked at until
 * the next poll: one that can't be started must not keep this poll going for ever.
 */
void vorn_service_poll()
{
    if (!service_table) return;

    const bool child_ended = sig_child_received != 0;
    sig_child_received = 0;
    unsigned int known = service_table->services.size();
    for (auto [name, service] : service_table->services) {
        if (known-- == 0) break;
        if (is_kept(*service, child_ended)) continue;
        if (service->state == ServiceState::stopping) {
            service->state = ServiceState::stopped;
        } else {
            drop_service(name, service);
        }
    }
    hear_termination_again();
}

void vorn_service_print(FILE *stream)
{
    if (absent(stream, "stream")) return;

    std::fprintf(stream, "%-20s %-10s %5s\n", "Service", "State", "PID");
    if (!service_table) return;
    for (auto [name, service] : service_table->services) {
        std::fprintf(stream, "%-20s %-10s %5d\n", static_cast<const char *>(name),
                     word_for(service->state), static_cast<int>(service->pid));
    }
}
