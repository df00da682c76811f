/* SPDX-License-Identifier: MIT */
/*
 * Who is asked for names: /etc/resolv.conf, left alone as long as no server is configured, and
 * looked at by each commit: others write it, too.
 */
#include <errno.h>
#include <stdlib.h>
#include <string.h>

#include "concerns.h"
#include "declare.h"
#include "describe.h"
#include "effects.h"
#include "v6.h"
#include "values.h"
#include "vorn-plugin/whole_file.h"

#define RESOLVER_FILE "/etc/resolv.conf"

static int write_server(const char *server, void *file)
{
    fprintf(file, "nameserver %s\n", server);
    return 0;
}

/* The caller's; null without memory. */
static char *text_of(const vorn_instance *resolver)
{
    char *text = NULL;
    size_t size;
    FILE *stream = open_memstream(&text, &size);
    if (stream == NULL) return NULL;
    if (*value_of(resolver, "search") != '\0') {
        fprintf(stream, "search %s\n", value_of(resolver, "search"));
    }
    for_each_word(value_of(resolver, "servers"), write_server, stream);
    const int failed = ferror(stream) != 0;
    if (fclose(stream) == 0 && !failed) return text;
    free(text);
    errno = ENOMEM;
    return NULL;
}

static int write_file(const vorn_instance *resolver)
{
    if (vorn_process_no_actions) return 0;
    char *text = text_of(resolver);
    const int result = text != NULL ? write_file_whole(RESOLVER_FILE, text, 0644) : -1;
    const int reason = errno;
    free(text);
    errno = reason;
    return result < 0;
}

static int has_failed;

/* As long as no server is configured, the file is others'. */
static int is_ours(const vorn_instance *resolver)
{
    return *value_of(resolver, "servers") != '\0';
}

void resolver_explain(const vorn_instances *configuration, vorn_explanation *explanation)
{
    const vorn_instance *resolver = vorn_instances_get_singleton(configuration, "resolver");
    char *text = is_ours(resolver) ? text_of(resolver) : NULL;
    if (text != NULL)
        explain_file(explanation, RESOLVER_FILE, whole_file_differs(RESOLVER_FILE, text));
    free(text);
}

void resolver_commit(const vorn_instances *configuration)
{
    const vorn_instance *resolver = vorn_instances_get_singleton(configuration, "resolver");
    has_failed = 0;
    if (!is_ours(resolver) || write_file(resolver) == 0) return;
    has_failed = 1;
    const char *reason = strerror(errno);
    vorn_debug_eprintf("network: can't write " RESOLVER_FILE ": %s.\n", reason);
    vorn_commit_report_add_failure("network: can't write " RESOLVER_FILE ": %s", reason);
}

static int is_another_file(const vorn_instance *resolver)
{
    if (vorn_process_no_actions || !is_ours(resolver)) return 0;
    char *text = text_of(resolver);
    const int differs = text != NULL && whole_file_differs(RESOLVER_FILE, text);
    free(text);
    return differs;
}

static const char *state(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)property;
    if (has_failed) return "failed: can't write " RESOLVER_FILE;
    if (!is_ours(instance)) vorn_refresh_info_set_lasting(info); /* nobody looks at others' file */
    return is_another_file(instance) ? "differs: " RESOLVER_FILE " is another one" : "applied";
}

static int is_no_server(const char *word, void *data)
{
    (void)data;
    return !is_plain_address(word) && !is_v6_address(word);
}

static int is_server_list(const char *value)
{
    return for_each_word(value, is_no_server, NULL) == 0;
}

vorn_refresher *resolver_declare(void)
{
    vorn_class *resolver = declare_class("resolver", VORN_CLASS_SINGLETON);
    vorn_refresher *refresher = vorn_refresher_new("resolver");
    if (resolver == NULL || refresher == NULL) return NULL;

    describe_class(resolver, "Names", "Who is asked for the addresses of names.", "Network", 260);
    declare_list(resolver, "servers", VORN_INPUT_PLAIN_IP);
    vorn_property *servers = vorn_class_get_property(resolver, "servers");
    vorn_property_accept_characters(servers, V6_ADDRESS_RANGES, 1, v6_address_most);
    vorn_property_set_is_valid_fn(servers, is_server_list);
    describe(resolver, "servers", "Servers",
             "Their addresses, of IPv6 too, in the order in which they are asked. Without any, the "
             "system's "
             "list is left alone.",
             "192.168.1.254 2620:fe::fe");
    declare_list(resolver, "search", VORN_INPUT_DOMAIN_NAME);
    describe(resolver, "search", "Search domains", "What is tried after a name without a domain.",
             "example.org");
    declare_state(resolver, "state");
    describe(resolver, "state", "State", "Whether the list is written, or why not.", NULL);
    vorn_refresher_set_property_fn(refresher, "state", state);
    const int failed = vorn_classes_add(resolver);
    return failed ? NULL : refresher;
}
