/* SPDX-License-Identifier: MIT */
/*
 * What dnsmasq and the stub for TLS read. Of what came in without a check only what is right gets
 * into the files; names of instances never do.
 */
#include "files.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "values.h"

static int is_private(const vorn_instance *server)
{
    return is_on(server, "tls");
}

int servers_are_private(const vorn_instances *configuration)
{
    int found = 0;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "dns-server");
    while (walk != NULL && !found && vorn_instances_iterator_has_next(walk))
        found = is_private(vorn_instances_iterator_next(walk));
    vorn_instances_delete_iterator(walk);
    return found;
}

int servers_judge(const vorn_instances *configuration, const vorn_instance *server, fault *found)
{
    if (is_private(server)) {
        return *value_of(server, "tls-name") == '\0' &&
               fault_is(found, "tls-name",
                        "without the name of its certificate anybody could be the server");
    }
    return servers_are_private(configuration) &&
           fault_is(found, "tls", "another server is asked over TLS, and this one without");
}

typedef void (*write_fn)(FILE *file, const vorn_instance *instance);

static void write_servers(FILE *file, const vorn_instances *configuration, write_fn write)
{
    fault found;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "dns-server");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (!servers_judge(configuration, each, &found)) write(file, each);
    }
    vorn_instances_delete_iterator(walk);
}

/* A line of the hosts file for each address. */
struct line {
    FILE *file;
    const char *names;
};

static int write_name(const char *name, void *data)
{
    fprintf(data, " %s", name);
    return 0;
}

static int write_address(const char *address, void *data)
{
    const struct line *line = data;
    fputs(address, line->file);
    for_each_word(line->names, write_name, line->file);
    fputc('\n', line->file);
    return 0;
}

static void write_records(FILE *file, const vorn_instances *configuration)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "dns-record");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *record = vorn_instances_iterator_next(walk);
        struct line line = {file, value_of(record, "names")};
        for_each_word(value_of(record, "addresses"), write_address, &line);
    }
    vorn_instances_delete_iterator(walk);
}

static const char *value_or(const vorn_instance *instance, const char *property,
                            const char *otherwise)
{
    const char *value = value_of(instance, property);
    return *value != '\0' ? value : otherwise;
}

static void write_server(FILE *file, const vorn_instance *server)
{
    fprintf(file, "server=%s#%s\n", value_of(server, "address"), value_or(server, "port", "53"));
}

static int write_interface(const char *name, void *data)
{
    fprintf(data, "interface=%s\n", name);
    return 0;
}

static void write_domain(FILE *file, const char *domain)
{
    if (*domain != '\0') fprintf(file, "domain=%s\nlocal=/%s/\nexpand-hosts\n", domain, domain);
}

static int has_servers(const vorn_instances *configuration)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "dns-server");
    const int found = walk != NULL && vorn_instances_iterator_has_next(walk);
    vorn_instances_delete_iterator(walk);
    return found;
}

/* Who configures servers has nobody else asked, not even while these don't answer. */
static void write_config(FILE *file, const vorn_instances *configuration)
{
    const vorn_instance *dns = vorn_instances_get_singleton(configuration, "dns");
    fputs("bind-dynamic\nlocal-service\nuser=nobody\npid-file=\nno-hosts\n"
          "domain-needed\nbogus-priv\naddn-hosts=" DNS_RECORDS_FILE "\n",
          file);
    fprintf(file, "cache-size=%s\n", value_or(dns, "cache-size", "1000"));
    for_each_word(value_of(dns, "interfaces"), write_interface, file);
    write_domain(file, value_of(dns, "domain"));
    if (has_servers(configuration)) fputs("no-resolv\n", file);
    if (servers_are_private(configuration)) {
        fputs("server=127.0.0.1#5453\n", file);
    } else {
        write_servers(file, configuration, write_server);
    }
}

static void write_private_server(FILE *file, const vorn_instance *server)
{
    fprintf(file, "  - address_data: %s\n    tls_port: %s\n    tls_auth_name: \"%s\"\n",
            value_of(server, "address"), value_or(server, "port", "853"),
            value_of(server, "tls-name"));
}

/* The first one is asked while it answers. */
static void write_stub(FILE *file, const vorn_instances *configuration)
{
    fputs("resolution_type: GETDNS_RESOLUTION_STUB\n"
          "dns_transport_list:\n  - GETDNS_TRANSPORT_TLS\n"
          "tls_authentication: GETDNS_AUTHENTICATION_REQUIRED\n"
          "tls_query_padding_blocksize: 128\n"
          "edns_client_subnet_private: 1\n"
          "round_robin_upstreams: 0\n"
          "idle_timeout: 10000\n"
          "listen_addresses:\n  - 127.0.0.1@5453\n"
          "upstream_recursive_servers:\n",
          file);
    write_servers(file, configuration, write_private_server);
}

static char *text_of(void (*write)(FILE *, const vorn_instances *),
                     const vorn_instances *configuration)
{
    char *text = NULL;
    size_t size;
    FILE *stream = open_memstream(&text, &size);
    if (stream == NULL) return NULL;
    write(stream, configuration);
    const int failed = ferror(stream) != 0;
    if (fclose(stream) == 0 && !failed) return text;
    free(text);
    return NULL;
}

void dns_make_texts(dns_texts *texts, const vorn_instances *configuration)
{
    texts->config = text_of(write_config, configuration);
    texts->records = text_of(write_records, configuration);
    texts->stub = text_of(write_stub, configuration);
}

void dns_free_texts(dns_texts *texts)
{
    free(texts->config);
    free(texts->records);
    free(texts->stub);
}
