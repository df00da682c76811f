/* SPDX-License-Identifier: MIT */
/* What dnsmasq is told: pools in its configuration, fixed leases in a file that it reads again. */
#include "config.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "values.h"
#include "vorn-plugin/whole_file.h"

/* Pools go by number here: a name may be any text, and would be part of a line. */
static void write_option(FILE *file, const vorn_instance *pool, int number, const char *option,
                         const char *property)
{
    const char *value = value_of(pool, property);
    if (*value == '\0') return;
    fprintf(file, "dhcp-option=tag:pool%d,option:%s,%s\n", number, option, value);
}

static void write_pool(FILE *file, const vorn_instance *pool, int number)
{
    const char *interface = value_of(pool, "interface");
    const char *netmask = value_of(pool, "netmask");
    const char *lease_time = value_of(pool, "lease-time");

    if (*interface != '\0') fprintf(file, "interface=%s\n", interface);
    fprintf(file, "dhcp-range=set:pool%d,%s,%s", number, value_of(pool, "first"),
            value_of(pool, "last"));
    if (*netmask != '\0') fprintf(file, ",%s", netmask);
    fprintf(file, ",%s\n", *lease_time != '\0' ? lease_time : "3600");
    write_option(file, pool, number, "router", "gateway");
    write_option(file, pool, number, "dns-server", "dns-server");
}

static void write_host(FILE *file, const vorn_instance *host, int number)
{
    (void)number;
    fprintf(file, "%s,%s\n", value_of(host, "mac"), value_of(host, "address"));
}

static void write_each(FILE *file, const vorn_instances *configuration, const char *class_name,
                       void (*write)(FILE *, const vorn_instance *, int number))
{
    int number = 0;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk))
        write(file, vorn_instances_iterator_next(walk), number++);
    vorn_instances_delete_iterator(walk);
}

static void write_config(FILE *file, const vorn_instances *configuration)
{
    fputs("port=0\nbind-dynamic\nno-ping\nuser=root\n"
          "pid-file=" DHCP_PID_FILE "\ndhcp-leasefile=" DHCP_LEASE_FILE "\n"
          "dhcp-hostsfile=" DHCP_HOSTS_FILE "\n",
          file);
    write_each(file, configuration, "dhcp-pool", write_pool);
}

static void write_hosts(FILE *file, const vorn_instances *configuration)
{
    write_each(file, configuration, "dhcp-host", write_host);
}

/* The caller's; null without memory. */
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

/* Takes the text over. */
static int replace(const char *path, char *text)
{
    const int result = text != NULL ? write_file_whole(path, text, 0644) : -1;
    free(text);
    return result;
}

int dhcp_write_config(const vorn_instances *configuration)
{
    return replace(DHCP_CONFIG_FILE, text_of(write_config, configuration));
}

int dhcp_write_hosts(const vorn_instances *configuration)
{
    return replace(DHCP_HOSTS_FILE, text_of(write_hosts, configuration));
}
