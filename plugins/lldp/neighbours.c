/* SPDX-License-Identifier: MIT */
/*
 * Who the neighbours say they are: whatever anybody on the cable likes to say. lldpcli reads it
 * with the rights of lldpd, and the form that it gives is JSON, the only one of its forms in which
 * no text can become anything else. Of all of it a bounded part is told.
 */
#include "neighbours.h"

#include <jansson.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "declare.h"
#include "describe.h"
#include "kept.h"
#include "replace.h"
#include "values.h"
#include "vorn-plugin/patience.h"

enum {
    limit_ms = 1000,
    answer_room = 512 * 1024,
    value_room = 768, /* 255 bytes, of which each may have become a sign of three */
    most_of_a_list = 16,
    calm_us = 10000000 /* in which one that gave no answer in time is not asked again */
};

static const char class_name[] = "lldp-neighbour";
static const char *const properties[] = {"interface",
                                         "chassis-id",
                                         "port-id",
                                         "system-name",
                                         "system-description",
                                         "port-description",
                                         "management-addresses",
                                         "capabilities",
                                         "enabled-capabilities",
                                         "ttl",
                                         "unknown",
                                         NULL};

static int64_t no_answer_before_us;

int neighbours_declare(void)
{
    if (declare_shown(class_name, VORN_CLASS_ANONYMOUS, properties) != 0) return 1;
    vorn_class *klass = vorn_classes_get(class_name);
    describe_class(klass, "LLDP neighbour", "Who is at the other end of a cable, as they say.",
                   "Network", 270);
    describe(klass, "interface", "Interface", "Where they are.", NULL);
    describe(klass, "chassis-id", "Chassis", "What identifies the machine.", NULL);
    describe(klass, "port-id", "Port", "What identifies its port.", NULL);
    describe(klass, "system-name", "System name", "What it is called.", NULL);
    describe(klass, "system-description", "System description", "What it is.", NULL);
    describe(klass, "port-description", "Port description", "What its port is called.", NULL);
    describe(klass, "management-addresses", "Management addresses", "Where it is managed.", NULL);
    describe(klass, "capabilities", "Capabilities", "What it can be.", NULL);
    describe(klass, "enabled-capabilities", "Enabled capabilities", "What it is now.", NULL);
    describe(klass, "ttl", "Time to live", "How long this holds unless it is said again.", NULL);
    describe_unit(klass, "ttl", "seconds");
    describe(klass, "unknown", "Unknown", "Why the neighbours are not known.", NULL);
    return 0;
}

static vorn_instance *make(vorn_instances *made)
{
    vorn_instance *neighbour = vorn_instance_new(vorn_classes_get(class_name), NULL);
    if (neighbour == NULL || vorn_instances_add(made, neighbour) == 0) return neighbour;
    vorn_instance_delete(neighbour);
    return NULL;
}

static void say_unknown(vorn_instances *made, const char *reason)
{
    vorn_instance *instance = make(made);
    vorn_debug_eprintf("lldp: the neighbours are not known: %s.\n", reason);
    if (instance != NULL) vorn_instance_set_value(instance, "unknown", reason);
}

/* The first one: the form has a list wherever there may be several. */
static const json_t *first(const json_t *of, const char *key)
{
    return json_array_get(json_object_get(of, key), 0);
}

/* As text for people, whatever it is. */
static void set_text(vorn_instance *neighbour, const char *property, const char *text)
{
    char value[value_room];
    if (text == NULL) return;
    snprintf(value, sizeof value, "%s", text);
    for (char *each = value; *each != '\0'; each++)
        if ((unsigned char)*each < ' ' || *each == '\x7f') *each = ' ';
    if (!is_text(value)) kept_make_plain(value);
    vorn_instance_set_value(neighbour, property, value);
}

static void set_value(vorn_instance *neighbour, const char *property, const json_t *of,
                      const char *key)
{
    set_text(neighbour, property, json_string_value(json_object_get(first(of, key), "value")));
}

static void add_word(char list[value_room], const char *word)
{
    const size_t length = strlen(list);
    if (word == NULL || length + strlen(word) + 2 > value_room) return;
    snprintf(list + length, value_room - length, "%s%s", length > 0 ? " " : "", word);
}

static void set_addresses(vorn_instance *neighbour, const json_t *chassis)
{
    char list[value_room] = "";
    const json_t *addresses = json_object_get(chassis, "mgmt-ip");
    for (size_t i = 0; i < json_array_size(addresses) && i < most_of_a_list; i++)
        add_word(list, json_string_value(json_object_get(json_array_get(addresses, i), "value")));
    set_text(neighbour, "management-addresses", list);
}

static void set_capabilities(vorn_instance *neighbour, const char *property, const json_t *chassis,
                             int only_enabled)
{
    char list[value_room] = "";
    const json_t *capabilities = json_object_get(chassis, "capability");
    for (size_t i = 0; i < json_array_size(capabilities) && i < most_of_a_list; i++) {
        const json_t *each = json_array_get(capabilities, i);
        if (!only_enabled || json_is_true(json_object_get(each, "enabled")))
            add_word(list, json_string_value(json_object_get(each, "type")));
    }
    set_text(neighbour, property, list);
}

static void tell(vorn_instances *made, const json_t *interface)
{
    vorn_instance *neighbour = make(made);
    if (neighbour == NULL) return;
    const json_t *chassis = first(interface, "chassis");
    const json_t *port = first(interface, "port");
    set_text(neighbour, "interface", json_string_value(json_object_get(interface, "name")));
    set_value(neighbour, "chassis-id", chassis, "id");
    set_value(neighbour, "system-name", chassis, "name");
    set_value(neighbour, "system-description", chassis, "descr");
    set_addresses(neighbour, chassis);
    set_capabilities(neighbour, "capabilities", chassis, 0);
    set_capabilities(neighbour, "enabled-capabilities", chassis, 1);
    set_value(neighbour, "port-id", port, "id");
    set_value(neighbour, "port-description", port, "descr");
    set_value(neighbour, "ttl", port, "ttl");
}

static void read_answer(vorn_instances *made, const char *answer)
{
    json_error_t error;
    json_t *document = json_loads(answer, 0, &error);
    const json_t *said = first(document, "lldp");
    const json_t *interfaces = json_object_get(said, "interface");
    if (!json_is_object(said)) say_unknown(made, "what lldpcli says is nothing that it should");
    for (size_t i = 0; i < json_array_size(interfaces) && i < neighbours_most; i++)
        tell(made, json_array_get(interfaces, i));
    json_decref(document);
}

/* The rights of who made the socket: those that lldpd itself has left. */
static int start(kept *run)
{
    char user[32];
    char group[32];
    struct stat status;
    const char *const arguments[] = {"setpriv",
                                     user,
                                     group,
                                     "--clear-groups",
                                     "--no-new-privs",
                                     "--bounding-set=-all",
                                     "lldpcli",
                                     "-u",
                                     LLDP_SOCKET,
                                     "-f",
                                     "json0",
                                     "show",
                                     "neighbors",
                                     NULL};
    const kept_plan plan = {arguments, NULL, 0, 2 * limit_ms};
    if (stat(LLDP_SOCKET, &status) != 0) return 1;
    snprintf(user, sizeof user, "--reuid=%lu", (unsigned long)status.st_uid);
    snprintf(group, sizeof group, "--regid=%lu", (unsigned long)status.st_gid);
    return kept_start(run, &plan);
}

static void take_answer(vorn_instances *made, kept *run)
{
    char reason[200];
    if (!kept_await(run, patience_now_us() + (int64_t)limit_ms * 1000)) {
        kept_give_up(run);
        no_answer_before_us = patience_now_us() + calm_us;
        say_unknown(made, "lldpcli gave no answer within a second");
    } else if (run->status == 0) {
        read_answer(made, run->output);
    } else {
        kept_make_plain(run->output);
        snprintf(reason, sizeof reason, "lldpcli: %.180s", run->output);
        say_unknown(made, reason);
    }
}

static void ask(vorn_instances *made)
{
    char *answer = malloc(answer_room);
    kept run = KEPT(answer, answer_room);
    if (patience_now_us() < no_answer_before_us) {
        say_unknown(made, "lldpcli gave no answer when it was asked last");
    } else if (answer == NULL) {
        say_unknown(made, "no memory to ask lldpcli");
    } else if (start(&run) != 0) {
        say_unknown(made, "lldpd can't be asked yet");
    } else {
        take_answer(made, &run);
    }
    free(answer);
}

void neighbours_refresh(vorn_refresh_info *info, int is_lldpd_running)
{
    if (!vorn_refresh_info_contains_class(info, class_name)) return;
    vorn_instances *made = vorn_instances_new();
    if (made == NULL) return;
    if (is_lldpd_running && !vorn_process_no_actions) ask(made);
    replace_instances(vorn_refresh_info_get_instances(info), class_name, made, properties);
    vorn_instances_delete_all(made);
}
