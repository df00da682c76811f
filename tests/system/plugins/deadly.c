/* SPDX-License-Identifier: MIT */
/*
 * Ends the daemon, or keeps it from going on, in the function that /tmp/deadly names: "commit
 * crash" or "refresh hang". It has one of every kind.
 */
#include "vorn/vorn.h"

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

static const char class_name[] = "Deadly";
static const char own_file[] = "/etc/config/deadly-file";

static int is_booted;

/* Whether it is told to do that in the function. */
static int is_told(const char *function, const char *how)
{
    char wanted[64] = "";
    char told[64] = "";
    FILE *knob = fopen("/tmp/deadly", "r");
    if (knob == NULL) return 0;
    const int words = fscanf(knob, "%31s %31s", wanted, told);
    fclose(knob);
    return words == 2 && strcmp(wanted, function) == 0 && strcmp(told, how) == 0;
}

static void crash(void)
{
    char *nobodys = mmap(NULL, 1, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    *nobodys = 1;
}

static void act(const char *function)
{
    if (is_told(function, "crash")) crash();
    if (is_told(function, "abort")) abort();
    if (is_told(function, "hang")) vorn_debug_printf("Hanging in %s.\n", function);
    while (is_told(function, "hang"))
        usleep(10000);
}

static int judge(const char *value)
{
    (void)value;
    act("validator");
    return 1;
}

static void heard(vorn_instance *instance, const char *property, void *data)
{
    (void)instance;
    (void)property;
    (void)data;
    act("listener");
}

/* A value that no boot survives; nobody can tell before. */
static void die_of_values(const vorn_instances *store)
{
    const vorn_instance *own = vorn_instances_get(store, class_name, "mine");
    const char *value = own != NULL ? vorn_instance_get_value(own, "value") : NULL;
    if (is_booted || value == NULL) return;
    if (strcmp(value, "fatal") == 0) crash();
    while (strcmp(value, "endless") == 0)
        usleep(10000);
}

static void commit(vorn_commit_info *info)
{
    act("commit");
    die_of_values(vorn_commit_info_get_after(info));
    vorn_instance *own = vorn_instance_new(vorn_classes_get(class_name), "own");
    vorn_instance_set_listener(own, heard, NULL);
    vorn_instance_set_value(own, "value", "1");
    vorn_instance_delete(own);
}

static void check(vorn_check_info *info, void *data)
{
    (void)info;
    (void)data;
    act("check");
}

static void amend(vorn_amend_info *info, void *data)
{
    (void)info;
    (void)data;
    act("amend");
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    (void)info;
    (void)explanation;
    act("explain");
}

static void saved(const char *document, size_t size, void *data)
{
    (void)document;
    (void)size;
    (void)data;
    act("saved");
}

static void prepare_load(void *data)
{
    (void)data;
    act("load");
}

static void hear_report(const vorn_commit_report *report, void *data)
{
    (void)report;
    (void)data;
    act("report");
}

static void take(const char *bytes, size_t size, void *data)
{
    (void)bytes;
    (void)size;
    (void)data;
    act("file");
}

static void refresh(vorn_refresh_info *info, void *data)
{
    (void)info;
    (void)data;
    act("refresh");
}

/* What is held is not written, and its plugin is told what the disk has. */
static int be_informed(void)
{
    act("inform");
    vorn_config_hold("nobody wants it");
    vorn_config_write_file(own_file, "x", 1);
    vorn_config_release();
    return 0;
}

static void run(void *data);

static void start(void)
{
    vorn_service_execl("deadly", "true", NULL);
    vorn_service_set_exited_fn("deadly", run, NULL);
}

static void run(void *data)
{
    (void)data;
    act("service");
    start();
}

/* Registered here, long after the plugin was loaded. */
static void beat(void *eloop_data, void *user_data)
{
    (void)eloop_data;
    (void)user_data;
    act("timer");
    eloop_register_timeout(0, 100000, beat, NULL, NULL);
}

static void strike(int number, void *eloop_data, void *user_data)
{
    (void)number;
    (void)eloop_data;
    (void)user_data;
    act("signal");
}

static void receive(int sock, void *eloop_data, void *user_data)
{
    char bytes[16];
    (void)eloop_data;
    (void)user_data;
    if (read(sock, bytes, sizeof bytes) > 0) act("socket");
}

static void loop_runs(void *eloop_data, void *user_data)
{
    is_booted = 1;
    const int pipe = open("/tmp/deadly-pipe", O_RDWR | O_NONBLOCK | O_CLOEXEC);
    beat(eloop_data, user_data);
    if (pipe >= 0) eloop_register_read_sock(pipe, receive, NULL, NULL);
    eloop_register_signal(SIGUSR2, strike, NULL);
    start();
    vorn_debug_printf("deadly: everything is registered\n");
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    act("init");
    vorn_property *property = vorn_property_new("value");
    vorn_property_set_is_valid_fn(property, judge);
    vorn_class *klass = vorn_class_new(class_name);
    vorn_class_set_type(klass, VORN_CLASS_UNIQUE_NAMED);
    vorn_class_set_persistence(klass, 1);
    vorn_class_add_property(klass, property);
    vorn_classes_add(klass);

    vorn_provider *provider = vorn_provider_new("deadly");
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_refresh_fn(provider, refresh, NULL);
    vorn_provider_set_amend_fn(provider, amend, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_providers_add(provider);
    vorn_inform_fn_add("deadly", be_informed);
    vorn_config_add_saved_fn(saved, NULL);
    vorn_config_add_load_fn(prepare_load, NULL);
    vorn_config_add_file(own_file, take, NULL);
    vorn_commit_report_add_fn(hear_report, NULL);
    eloop_register_timeout(0, 0, loop_runs, NULL, NULL);
}
