/* SPDX-License-Identifier: MIT */
/*
 * Bring-up, one line per step. The order is the meaning: plugins before the registries close,
 * signal handlers before the first commit, every door open before the pid file says so. A step
 * that fails is reported as fatal and, unless -e was given, the next one is taken all the same,
 * so that a device with a broken plugin or configuration comes up as far as it can.
 */
#include "core/start/startup.h"

#include "core/base/file.h"
#include "core/base/paths.h"
#include "core/base/signals_held.h"
#include "core/debug_state.h"
#include "core/plugin_page.h"
#include "core/plugin_watch.h"
#include "core/process.h"
#include "core/put_off.h"
#include "core/start/options.h"
#include "core/start/signals.h"
#include "core/start/sole_process.h"
#include "vorn/class.h"
#include "vorn/config.h"
#include "vorn/debug.h"
#include "vorn/eloop.h"
#include "vorn/inform.h"
#include "vorn/notify.h"
#include "vorn/plugin.h"
#include "vorn/provider.h"
#include "vorn/service.h"
#include "vorn/socket.h"
#include "vorn/watchdog.h"

#include <cerrno>
#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vorn {

namespace {

constexpr int tick_seconds = 2;
constexpr int keep_working_directory = 1;
constexpr int keep_descriptors = 1;
constexpr int output_stays = 2;

void fatal_if(bool broken, const char *message)
{
    if (broken) vorn_debug_fatal(message);
}

void take_options(int argc, char **argv, bool &foreground)
{
    const int level = vorn_debug_get();
    const Options options = read_options(argc, argv, level);
    if (options.debug_level != level) vorn_debug_set(options.debug_level);
    foreground = options.foreground;
}

void print_registries()
{
    if (vorn_debug_get() == 0) return;
    FILE *stream = vorn_debug_get_stream();
    vorn_classes_print(stream);
    vorn_providers_print(stream);
}

/*
 * Whoever starts the daemon may have closed or blocked anything. A file that is opened must not
 * become standard error by its number, and a signal that is held back is no signal. Without the
 * null device the root folder takes the place: what is written there goes nowhere.
 */
void put_inheritance_right()
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; descriptor++) {
        if (fcntl(descriptor, F_GETFD) != -1) continue;
        if (open(paths::null_device, O_RDWR) == -1) open("/", O_RDONLY | O_DIRECTORY);
    }
    std::signal(SIGCHLD, SIG_DFL); /* ignored, it would take the status of every command */
    hear_all_signals();
}

/*
 * What is made from here on, by whatever the daemon starts too, only its owner may write: a signal
 * goes to the process that a file names.
 */
void keep_files_to_their_owner()
{
    umask(umask(S_IWGRP | S_IWOTH) | S_IWGRP | S_IWOTH);
}

/* The log stays where it is, on the console; only standard input goes. */
void become_daemon()
{
    vorn_debug_printf("Daemonizing...\n");
    if (daemon(keep_working_directory, keep_descriptors) == -1) report_error(errno, "daemon");

    close(STDIN_FILENO);
    if (open(paths::null_device, O_RDWR) != STDIN_FILENO) {
        vorn_debug_eprintf("Couldn't assign /dev/null to STDIN.\n");
    }
    watch_on_in_background();
    vorn_debug_printf("Daemonized.\n");
}

/* The kernel reboots five seconds after a panic. Not every kernel lets itself be told. */
void set_kernel_panic_timeout()
{
    const File setting = write_regular(paths::kernel_panic);
    if (setting) std::fputs("5\n", setting.get());
}

/* A daemon that has served for as long is none that comes up in vain. */
constexpr int seconds_of_running_well = 300;

void note_running_well(void *, void *)
{
    forget_deaths();
}

void periodic_tick(void *, void *)
{
    vorn_service_poll();
    vorn_watchdog_ack();
    eloop_register_timeout(tick_seconds, 0, periodic_tick, nullptr, nullptr);
}

bool write_pid_file()
{
    const File file = write_regular(paths::pid_file);
    if (!file) return false;
    std::fprintf(file.get(), "%d\n", getpid());
    return true;
}

void run_post_init()
{
    struct stat status;
    if (stat(paths::post_init, &status) == 0) vorn_command_execl(paths::post_init, nullptr);
}

void start_migration()
{
    char program[sizeof paths::migrate];
    std::snprintf(program, sizeof program, "%s", paths::migrate);
    char *const arguments[] = {program, nullptr};
    vorn_service_execvod("ng_migrate", arguments, output_stays, nullptr);
}

} // namespace

void start_up(int argc, char **argv)
{
    bool foreground = false;

    put_inheritance_right();
    become_sole_process(argc, argv);
    keep_files_to_their_owner();
    vorn_debug_init();
    vorn_watchdog_ack();
    take_options(argc, argv, foreground);
    vorn_providers_init();
    eloop_init(nullptr);
    vorn_service_init();
    open_plugin_page(paths::plugin_page);
    watch_for_deaths();
    fatal_if(vorn_plugins_init() != 0, "Plugins were invalid.");
    fatal_if(vorn_classes_done_adding() != 0, "Classes were invalid.");
    fatal_if(vorn_providers_done_adding() != 0, "Providers were invalid.");
    print_registries();
    if (!foreground) become_daemon();
    install_direct_signal_handlers();
    fatal_if(vorn_config_init() < 0, "vorn_config_init() failed.");
    set_kernel_panic_timeout();
    fatal_if(vorn_config_copy_startup_to_running() == 1, "Unable to read config.");
    do_what_was_put_off();
    fatal_if(vorn_inform_init() == 1, "Unable to initialize inform interface.");
    fatal_if(vorn_notify_init() == 1, "Unable to initialize notify interface.");
    fatal_if(vorn_socket_api_init() == 1, "Unable to initialize socket API.");
    vorn_watchdog_ack();
    fatal_if(eloop_register_timeout(tick_seconds, 0, periodic_tick, nullptr, nullptr) != 0,
             "Unable to start the periodic tick.");
    eloop_register_timeout(seconds_of_running_well, 0, note_running_well, nullptr, nullptr);
    hand_signals_to_eloop();
    fatal_if(!write_pid_file(), "Unable to create pid file");
    vorn_debug_printf("Initialization complete.\n");
    run_post_init();
    start_migration();
}

void wind_down()
{
    unlink(paths::pid_file);
    end_in_order();
    if (reboot_requested) kill(1, SIGTERM);
}

} // namespace vorn
