/* SPDX-License-Identifier: MIT */
#include "radius.h"

#include <stdio.h>
#include <string.h>

#include "declare.h"
#include "describe.h"
#include "hiding.h"
#include "keys.h"
#include "values.h"

static const char class_name[] = "radius-server";

enum { most_servers = 2 };

static vorn_refresher *refresher;

void radius_refresh(vorn_refresh_info *info, void *data)
{
    vorn_refresh_info_set_data(info, refresher);
    vorn_refresher_fn(info, data);
}

static void declare_secret(vorn_class *server)
{
    declare_characters(server, "secret", " ~", 1, keys_longest);
    declare_needed(server, "secret");
    vorn_property_set_readable(vorn_class_get_property(server, "secret"), 0);
    vorn_property_set_secret(vorn_class_get_property(server, "secret"), VORN_SECRET_BY_REFERENCE);
    describe(server, "secret", "Secret", "What the server knows this device by.", "correct horse");
    vorn_refresher_set_property_fn(refresher, "secret", hiding_tell);
}

int radius_declare(void)
{
    vorn_class *server = declare_class(class_name, VORN_CLASS_UNIQUE_NAMED);
    refresher = vorn_refresher_new(class_name);
    if (server == NULL || refresher == NULL) return 1;
    describe_class(server, "RADIUS server", "A server that knows who may join.", "Wireless", 312);
    declare_input(server, "address", VORN_INPUT_HOST_IP);
    declare_needed(server, "address");
    describe(server, "address", "Address", "Where it is asked.", "192.168.1.5");
    declare_number(server, "port", 1, 65535, VORN_INPUT_NOTHING);
    describe(server, "port", "Port", "1812 if it isn't set.", "1812");
    declare_secret(server);
    declare_input(server, "accounting", VORN_INPUT_ON_OFF);
    describe(server, "accounting", "Accounting",
             "Whether it is told who is there, how long, and how much he sends.", "on");
    declare_number(server, "accounting-port", 1, 65535, VORN_INPUT_NOTHING);
    describe(server, "accounting-port", "Port for accounting", "1813 if it isn't set.", "1813");
    return vorn_classes_add(server);
}

/* A walk over the names of a network's servers. */
struct search {
    const vorn_instances *configuration;
    fault *found;
    char first[256];
    int count;
};

static int judge_server(const char *name, void *data)
{
    struct search *search = data;
    if (vorn_instances_get(search->configuration, class_name, name) == NULL) {
        return fault_is(search->found, "radius-servers", "there is no RADIUS server \"%.64s\"",
                        name);
    }
    if (search->count > 0 && strcmp(name, search->first) == 0) {
        return fault_is(search->found, "radius-servers", "\"%.64s\" is there twice", name);
    }
    if (search->count++ == most_servers) {
        return fault_is(search->found, "radius-servers", "there may be %d at most", most_servers);
    }
    if (search->count == 1) snprintf(search->first, sizeof search->first, "%s", name);
    return 0;
}

int radius_judge(const vorn_instances *configuration, const vorn_instance *network, int is_needed,
                 fault *found)
{
    struct search search = {configuration, found, "", 0};
    if (for_each_word(value_of(network, "radius-servers"), judge_server, &search)) return 1;
    if (!is_needed || search.count > 0) return 0;
    return fault_is(found, "radius-servers", "%s needs a RADIUS server",
                    value_of(network, "security"));
}

static const char *secret_of(const vorn_instances *configuration, const char *server)
{
    return keys_of(vorn_instances_get(configuration, class_name, server), "secret");
}

static int count_usable(const char *name, void *data)
{
    struct search *search = data;
    search->count += secret_of(search->configuration, name) != NULL;
    return 0;
}

/* One of two is enough. */
const char *radius_lacks(const vorn_instances *configuration, const vorn_instance *network)
{
    struct search search = {configuration, NULL, "", 0};
    const char *names = value_of(network, "radius-servers");
    for_each_word(names, count_usable, &search);
    if (search.count > 0) return NULL;
    return *names == '\0' ? "no RADIUS server"
                          : "the secret of its RADIUS server is not on this device";
}

struct writing {
    struct writer *writer;
    int count;
};

static void write_lines(FILE *file, const char *prefix, const vorn_instance *server,
                        const char *port, const char *usual_port)
{
    const char *number = value_of(server, port);
    fprintf(file, "%s_server_addr=%s\n%s_server_port=%s\n%s_server_shared_secret=%s\n", prefix,
            value_of(server, "address"), prefix, *number != '\0' ? number : usual_port, prefix,
            keys_of(server, "secret"));
}

/* hostapd takes the first that answers, and the lines of each in their order. */
static int write_server(const char *name, void *data)
{
    struct writing *writing = data;
    const vorn_instance *server =
        vorn_instances_get(writing->writer->configuration, class_name, name);
    if (keys_of(server, "secret") == NULL || writing->count++ == most_servers) return 0;
    write_lines(writing->writer->whole, "auth", server, "port", "1812");
    if (is_on(server, "accounting"))
        write_lines(writing->writer->whole, "acct", server, "accounting-port", "1813");
    return 0;
}

void radius_write(struct writer *writer, const vorn_instance *network, const char *interface)
{
    struct writing writing = {writer, 0};
    const char *identifier = value_of(network, "nas-identifier");
    writer_frame_line(writer, "ieee8021x", "1");
    fprintf(writer->whole, "nas_identifier=%s\n", *identifier != '\0' ? identifier : interface);
    for_each_word(value_of(network, "radius-servers"), write_server, &writing);
    if (writing.count > 1) fputs("radius_retry_primary_interval=600\n", writer->whole);
}
