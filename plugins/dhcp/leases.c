/* SPDX-License-Identifier: MIT */
/* Leases as dnsmasq keeps them: "EXPIRES MAC ADDRESS NAME CLIENT-ID", "*" for no name.
 * Of IPv6 it is a number instead of the MAC address. */
#include "leases.h"

#include <stdio.h>
#include <string.h>

#include "config.h"
#include "declare.h"
#include "describe.h"
#include "replace.h"
#include "vorn-plugin/whole_file.h"

static const char class_name[] = "dhcp-lease";
static const char *const properties[] = {"mac", "address", "host", "expires", NULL};

int leases_declare(void)
{
    if (declare_shown(class_name, VORN_CLASS_ANONYMOUS, properties) != 0) return 1;
    vorn_class *lease = vorn_classes_get(class_name);
    describe_class(lease, "Lease", "An address that somebody has now.", "Services", 430);
    describe(lease, "mac", "MAC address",
             "The machine that has it; of an IPv6 address it is not known.", NULL);
    describe(lease, "address", "Address", "What it was given.", NULL);
    describe(lease, "host", "Host name", "What the machine calls itself.", NULL);
    describe(lease, "expires", "Expires",
             "When it ends unless it is asked for again, in seconds "
             "since 1970.",
             NULL);
    describe_unit(lease, "expires", "seconds");
    return 0;
}

static void add_lease(vorn_instances *leases, const char *line)
{
    char expires[24];
    char mac[24];
    char address[48];
    char host[256];
    if (sscanf(line, "%23s %23s %47s %255s", expires, mac, address, host) != 4) return;

    vorn_instance *lease = vorn_instance_new(vorn_classes_get(class_name), NULL);
    if (lease == NULL) return;
    vorn_instance_set_value(lease, "mac", strchr(mac, ':') != NULL ? mac : "");
    vorn_instance_set_value(lease, "address", address);
    vorn_instance_set_value(lease, "host", strcmp(host, "*") == 0 ? "" : host);
    vorn_instance_set_value(lease, "expires", expires);
    if (vorn_instances_add(leases, lease) != 0) vorn_instance_delete(lease);
}

void leases_refresh(vorn_refresh_info *info)
{
    char line[512];
    if (!vorn_refresh_info_contains_class(info, class_name)) return;

    vorn_instances *leases = vorn_instances_new();
    if (leases == NULL) return;
    FILE *file = whole_file_read(DHCP_LEASE_FILE);
    while (file != NULL && fgets(line, sizeof line, file) != NULL)
        add_lease(leases, line);
    if (file != NULL) fclose(file);
    replace_instances(vorn_refresh_info_get_instances(info), class_name, leases, properties);
    vorn_instances_delete_all(leases);
}
