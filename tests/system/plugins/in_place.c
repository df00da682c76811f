/* SPDX-License-Identifier: MIT */
/*
 * Changes what the daemon has, in place and of its own accord: no request, no commit and no event
 * of a client is under way. What to do comes as lines through a pipe with a name.
 */
#include "vorn/vorn.h"

#include <fcntl.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#define PIPE "/tmp/in-place"

static void set(const char *text)
{
    vorn_instance *place = vorn_instances_get_singleton(vorn_config_get_running(), "Place");
    if (place != NULL) vorn_instance_set_value(place, "text", text);
}

static void invite(const char *name)
{
    vorn_instance *guest = vorn_instance_new(vorn_classes_get("Guest"), name);
    if (guest != NULL && vorn_instances_add(vorn_config_get_running(), guest) != 0)
        vorn_instance_delete(guest);
}

static void drop(const char *name)
{
    vorn_instances *running = vorn_config_get_running();
    vorn_instance *guest = vorn_instances_get(running, "Guest", name);
    if (guest != NULL && vorn_instances_remove(running, guest) == 0) vorn_instance_delete(guest);
}

/* A commit without a change. */
static void act(const char *action)
{
    vorn_query_action("nobody", action, NULL, NULL);
}

static void load(const char *nothing)
{
    (void)nothing;
    vorn_config_copy_startup_to_running();
}

/* An event that is recorded, and changes nothing else. */
static int hear(void)
{
    vorn_commit_report_set_result("heard");
    return 0;
}

static const struct {
    const char *word;
    void (*act)(const char *what);
} deeds[] = {{"set ", set}, {"add ", invite}, {"drop ", drop}, {"act ", act}, {"load ", load}};

static void take_lines(int pipe, void *eloop_data, void *user_data)
{
    char lines[4096];
    (void)eloop_data;
    (void)user_data;
    const ssize_t count = read(pipe, lines, sizeof lines - 1);
    if (count <= 0) return;
    lines[count] = '\0';
    char *rest = lines;
    for (const char *line; (line = strsep(&rest, "\n")) != NULL;) {
        for (size_t i = 0; i < sizeof deeds / sizeof *deeds; i++) {
            const size_t length = strlen(deeds[i].word);
            if (strncmp(line, deeds[i].word, length) == 0) deeds[i].act(line + length);
        }
    }
}

static void add_class(const char *name, int type, const char *property_name)
{
    vorn_class *klass = vorn_class_new(name);
    vorn_class_set_type(klass, type);
    vorn_class_set_persistence(klass, 0);
    if (property_name != NULL) {
        vorn_property *property = vorn_property_new(property_name);
        vorn_property_set_writable(property, 0);
        vorn_property_set_persistence(property, 0);
        vorn_class_add_property(klass, property);
    }
    vorn_classes_add(klass);
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    add_class("Place", VORN_CLASS_SINGLETON, "text");
    add_class("Guest", VORN_CLASS_UNIQUE_NAMED, NULL);
    vorn_inform_fn_add("in-place", hear);
    mkfifo(PIPE, 0600);
    const int pipe = open(PIPE, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (pipe >= 0) eloop_register_read_sock(pipe, take_lines, NULL, NULL);
}
