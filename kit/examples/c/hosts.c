/* SPDX-License-Identifier: MIT */
/*
 * Names for addresses: every instance of the class "host" is a line of /etc/hosts. The file is
 * replaced whole, and the name server is told.
 */
#include <stdio.h>
#include <string.h>
#include <unistd.h>
#include <vorn/vorn.h>

static const char hosts_file[] = "/etc/hosts";
static const char scratch_file[] = "/etc/hosts.new";

static int is_address(const char *value)
{
    return vorn_input_is_ip(value, (int)strlen(value));
}

static int is_alias(const char *value)
{
    return *value == '\0' || vorn_input_is_domain_label(value, (int)strlen(value));
}

static int write_hosts(vorn_instances *configuration)
{
    unlink(scratch_file); /* a left-over, or a FIFO, which would be waited for */
    FILE *file = fopen(scratch_file, "w");
    if (file == NULL) return 1;

    fprintf(file, "127.0.0.1 localhost\n");
    vorn_instances_iterator *hosts = vorn_instances_new_class_iterator(configuration, "host");
    while (hosts != NULL && vorn_instances_iterator_has_next(hosts)) {
        vorn_instance *host = vorn_instances_iterator_next(hosts);
        const char *name = vorn_instance_get_name(host);
        const char *address = vorn_instance_get_value(host, "address");
        const char *alias = vorn_instance_get_value(host, "alias");
        if (!vorn_input_is_domain_name(name, (int)strlen(name))) continue;
        fprintf(file, "%s %s", address, name);
        fprintf(file, alias != NULL && *alias != '\0' ? " %s\n" : "\n", alias);
    }
    vorn_instances_delete_iterator(hosts);

    const int written = fflush(file) == 0 && fsync(fileno(file)) == 0;
    if (fclose(file) == 0 && written && rename(scratch_file, hosts_file) == 0) return 0;
    unlink(scratch_file);
    return 1;
}

/* A commit concerns all plugins: this one looks first whether anything of its own has changed. */
static int is_concerned(const vorn_commit_info *info)
{
    return vorn_changes_contains_class(vorn_commit_info_get_changes(info), "host");
}

static void commit(vorn_commit_info *info)
{
    if (!is_concerned(info)) return;

    if (write_hosts(vorn_commit_info_get_after(info)) != 0) {
        vorn_debug_eprintf("hosts: can't write %s.\n", hosts_file);
    } else if (vorn_command_execl("killall", "-HUP", "dnsmasq", (char *)NULL) != 0) {
        vorn_debug_printf("hosts: no name server is running.\n");
    }
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    if (!is_concerned(info)) return;

    vorn_explanation_add(explanation, VORN_EXPLAIN_LIVE, "names are found as %s has them then",
                         hosts_file);
}

static vorn_property *new_address(void)
{
    vorn_property *address = vorn_property_new("address");
    vorn_property_set_is_valid_fn(address, is_address);
    vorn_property_set_syntax(address, "<an IPv4 address>"); /* told with a refusal */
    vorn_property_set_label(address, "Address");
    vorn_property_set_help(address, "Where the machine of that name is.");
    vorn_property_set_required_on_insert(address, 1);
    return address;
}

static vorn_property *new_alias(void)
{
    vorn_property *alias = vorn_property_new("alias");
    vorn_property_set_is_valid_fn(alias, is_alias);
    vorn_property_set_syntax(alias, "<a host name>|<nothing>");
    vorn_property_set_label(alias, "Alias");
    vorn_property_set_help(alias, "Another name of the same machine.");
    return alias;
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    vorn_class *host = vorn_class_new("host");
    vorn_class_set_type(host, VORN_CLASS_UNIQUE_NAMED);
    vorn_class_set_persistence(host, 1);
    vorn_class_set_label(host, "Host");
    vorn_class_set_help(host, "A name for an address, as a line of /etc/hosts.");
    vorn_class_add_property(host, new_address());
    vorn_class_add_property(host, new_alias());
    vorn_classes_add(host);

    vorn_provider *provider = vorn_provider_new("hosts");
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_providers_add(provider);
    vorn_providers_order("hosts", "save");
}
