/* SPDX-License-Identifier: MIT */
/* Calls that have to do with files, processes and sockets. */
#include "vorn/vorn.h"

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "calls.h"

static enum outcome get_startup_as_xml(void)
{
    char *text = vorn_config_get_startup_as_xml();
    enum outcome outcome = REFUSED;

    if (text != NULL && strstr(text, "<error>") == NULL) {
        outcome = strstr(text, "</config>") != NULL ? DONE : BROKEN;
    }
    free(text);
    return outcome;
}

/* There is no default, which is said by a text made for it. */
static enum outcome copy_rescue_to_default(void)
{
    return vorn_config_copy_rescue_to_default() == 1 ? DONE : BROKEN;
}

static enum outcome notify_object_change(void)
{
    vorn_notify_object_change("calls", "Radio", "r0", "channel", "1");
    return DONE;
}

static enum outcome command_execlod(void)
{
    const int status = vorn_command_execlod("true", (char *)NULL, 0, (char *)NULL);

    return status == -1 ? REFUSED : status == 0 ? DONE : BROKEN;
}

static enum outcome service_execlod(void)
{
    return done_if(vorn_service_execlod("passing", "true", (char *)NULL, 0, (char *)NULL) == 0);
}

/*
 * What is known of a service that ended by itself is dropped with the next tick, and made anew by
 * the start after it; what is known of one that was stopped stays.
 */
static enum outcome service_execvfd(void)
{
    char *const arguments[] = {(char *)"sleep", (char *)"1000", NULL};
    const enum outcome outcome = done_if(vorn_service_execvfd("heard", arguments, -1, NULL) == 0);

    vorn_service_stop("heard", SIGKILL, 1000000);
    return outcome;
}

static enum outcome service_get_pid(void)
{
    return done_if(vorn_service_get_pid("lasting") > 0);
}

static enum outcome service_get_exit_status(void)
{
    return done_if(vorn_service_get_exit_status() == -1);
}

static enum outcome service_is_running(void)
{
    return done_if(vorn_service_is_running("lasting"));
}

/* What is there already can't be opened again, which is said by a text made for it. */
static enum outcome get_tcp(void)
{
    return vorn_socket_get_tcp(8001, 1) == -1 ? DONE : BROKEN;
}

static enum outcome get_unix(void)
{
    return vorn_socket_get_unix("vorn_sock_lsql", VORN_SOCKET_ABSTRACT) == -1 ? DONE : BROKEN;
}

static enum outcome set_nonblock(void)
{
    return vorn_socket_set_nonblock(-1) == 1 ? DONE : BROKEN;
}

static enum outcome set_block(void)
{
    return vorn_socket_set_block(-1) == 1 ? DONE : BROKEN;
}

static int count_file(char *output, int size, const char *path, const char *label, const void *user)
{
    (void)size;
    (void)path;
    (void)label;
    (void)user;
    output[0]++;
    return 0;
}

static enum outcome dir_walk(void)
{
    char count[2] = "";

    vorn_util_dir_walk("/etc/config/*", count, sizeof count, "", count_file, NULL);
    return done_if(count[0] == 1);
}

static enum outcome findpid(void)
{
    return done_if(vorn_util_findpid("vorn") > 0);
}

static enum outcome nothing(void)
{
    return DONE;
}

const struct call system_calls[] = {
    {"nothing", nothing, TAKES_NONE},
    {"vorn_config_get_startup_as_xml", get_startup_as_xml, FREES},
    {"vorn_config_copy_rescue_to_default", copy_rescue_to_default, FREES},
    {"vorn_notify_object_change", notify_object_change, FREES},
    {"vorn_command_execlod", command_execlod, FREES},
    {"vorn_service_execlod", service_execlod, FREES},
    {"vorn_service_execvfd", service_execvfd, TAKES_NONE},
    {"vorn_service_get_pid", service_get_pid, TAKES_NONE},
    {"vorn_service_get_exit_status", service_get_exit_status, TAKES_NONE},
    {"vorn_service_is_running", service_is_running, TAKES_NONE},
    {"vorn_socket_get_tcp", get_tcp, FREES},
    {"vorn_socket_get_unix", get_unix, FREES},
    {"vorn_socket_set_nonblock", set_nonblock, FREES},
    {"vorn_socket_set_block", set_block, FREES},
    {"vorn_util_dir_walk", dir_walk, FREES},
    {"vorn_util_findpid", findpid, FREES},
    {NULL, NULL, FREES},
};

void prepare_system_calls(void)
{
    vorn_service_execl("lasting", "sleep", "1000", (char *)NULL);
}
