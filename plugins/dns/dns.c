/* SPDX-License-Identifier: MIT */
/*
 * Names for others, through a dnsmasq of its own, so that no change of names keeps anybody from an
 * address. Servers that are asked over TLS are asked by stubby, which dnsmasq then asks alone: a
 * question never leaves the device unprotected because nobody answers the other way.
 */
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "classes.h"
#include "declare.h"
#include "effects.h"
#include "files.h"
#include "values.h"
#include "vorn-plugin/supervise.h"
#include "vorn-plugin/whole_file.h"

static supervised *dnsmasq;
static supervised *stubby;
static int has_failed; /* to write the files; every commit tries again */

/*
 * Unlike with --no-daemon dnsmasq gives its rights away, and yet says what is wrong to whoever
 * started it.
 */
static const char *const arguments[] = {"dnsmasq", "--keep-in-foreground", "--log-facility=-",
                                        "--conf-file=" DNS_CONFIG_FILE, NULL};
static const char *const files[] = {DNS_CONFIG_FILE, NULL};
static const supervise_plan plan = {arguments, files, 0};

/* stubby has no way to give its rights away. */
static const char *const stub_arguments[] = {"setpriv",         "--reuid=nobody",
                                             "--regid=nogroup", "--clear-groups",
                                             "--no-new-privs",  "--bounding-set=-all",
                                             "stubby",          "-C",
                                             DNS_STUB_FILE,     NULL};
static const char *const stub_files[] = {DNS_STUB_FILE, NULL};
static const supervise_plan stub_plan = {stub_arguments, stub_files, 0};

/* What is to be done when the files are as they are to be: 1 for one that is another one now. */
struct news {
    int config;
    int records;
    int stub;
};

struct wanted {
    int runs;
    int has_stub;
};

static struct wanted wants(const vorn_instances *configuration)
{
    const int runs = is_on(vorn_instances_get_singleton(configuration, "dns"), "enabled");
    return (struct wanted){runs, runs && servers_are_private(configuration)};
}

static int reads_records_again(const struct news *of)
{
    return of->records > 0 && of->config == 0;
}

static int write_file(const char *path, const char *text)
{
    return text != NULL ? write_file_whole(path, text, 0644) : -1;
}

static void have_run(supervised *program, const supervise_plan *how)
{
    if (how == NULL) {
        supervise_stop(program);
    } else if (supervise_run_plan(program, how) != 0) {
        vorn_debug_eprintf("dns: no memory to start %s.\n", how->arguments[0]);
    }
}

/* The stub first: a question that nobody takes is asked again seconds later. */
static void serve(const vorn_instances *configuration, int has_stub)
{
    dns_texts texts;
    dns_make_texts(&texts, configuration);
    const struct news written = {write_file(DNS_CONFIG_FILE, texts.config),
                                 write_file(DNS_RECORDS_FILE, texts.records),
                                 has_stub ? write_file(DNS_STUB_FILE, texts.stub) : 0};
    dns_free_texts(&texts);
    has_failed = written.config < 0 || written.records < 0 || written.stub < 0;
    if (has_failed) {
        vorn_debug_eprintf("dns: can't write its files.\n");
        vorn_commit_report_add_failure("dns: can't write its files");
        return;
    }
    have_run(stubby, has_stub ? &stub_plan : NULL);
    have_run(dnsmasq, &plan);
    if (reads_records_again(&written)) supervise_signal(dnsmasq, SIGHUP);
}

/* Also without a change: somebody else may have written the files. */
static void commit(vorn_commit_info *info)
{
    const vorn_instances *configuration = vorn_commit_info_get_after(info);
    const struct wanted wanted = wants(configuration);
    if (wanted.runs) {
        serve(configuration, wanted.has_stub);
    } else {
        have_run(dnsmasq, NULL);
        have_run(stubby, NULL);
        unlink(DNS_CONFIG_FILE);
        unlink(DNS_RECORDS_FILE);
        has_failed = 0;
    }
    if (!wanted.has_stub) unlink(DNS_STUB_FILE);
}

static int differs(const char *path, const char *text)
{
    return text == NULL || whole_file_differs(path, text);
}

static const char loss[] = "no names are answered meanwhile";

static void explain_serving(vorn_explanation *explanation, const vorn_instances *configuration,
                            int has_stub)
{
    dns_texts texts;
    dns_make_texts(&texts, configuration);
    const struct news foreseen = {differs(DNS_CONFIG_FILE, texts.config),
                                  differs(DNS_RECORDS_FILE, texts.records),
                                  has_stub && differs(DNS_STUB_FILE, texts.stub)};
    dns_free_texts(&texts);
    const enum supervise_deed deed = supervise_foresee(dnsmasq, &plan, foreseen.config);
    explain_file(explanation, DNS_STUB_FILE, foreseen.stub);
    explain_file(explanation, DNS_RECORDS_FILE, foreseen.records);
    explain_file(explanation, DNS_CONFIG_FILE, foreseen.config);
    explain_program(explanation, "stubby",
                    supervise_foresee(stubby, has_stub ? &stub_plan : NULL, foreseen.stub), loss);
    explain_program(explanation, "the name server", deed, loss);
    if (reads_records_again(&foreseen) && deed == SUPERVISE_LEAVES) {
        vorn_explanation_add(explanation, VORN_EXPLAIN_LIVE,
                             "the name server reads the names again");
    }
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    const vorn_instances *configuration = vorn_commit_info_get_after(info);
    const struct wanted wanted = wants(configuration);
    if (wanted.runs) {
        explain_serving(explanation, configuration, wanted.has_stub);
        return;
    }
    explain_program(explanation, "stubby", supervise_foresee(stubby, NULL, 0), NULL);
    explain_program(explanation, "the name server", supervise_foresee(dnsmasq, NULL, 0),
                    "no names are answered any more");
}

/* Named twice or plugged in later is fine with dnsmasq; misspelt is what nobody wants. */
static void check_interfaces(vorn_check_info *info)
{
    fault found;
    const vorn_instances *configuration = vorn_check_info_get_instances(info);
    const vorn_instance *dns = vorn_instances_get_singleton(configuration, "dns");
    if (fault_is_no_link_of_list(&found, configuration, dns, "interfaces"))
        vorn_check_info_refuse(info, dns, found.property, "%s", found.reason);
}

static void check(vorn_check_info *info, void *data)
{
    const vorn_changes *changes = vorn_check_info_get_changes(info);
    (void)data;
    if (vorn_changes_contains_class(changes, "dns")) check_interfaces(info);
    if (vorn_changes_contains_class(changes, "dns-server"))
        judge_class(info, "dns-server", servers_judge);
}

static const char *status(vorn_instance *dns, const char *property, vorn_refresh_info *info)
{
    (void)dns;
    (void)property;
    (void)info;
    return has_failed ? "failed" : supervise_status(dnsmasq);
}

static const char *state(vorn_instance *dns, const char *property, vorn_refresh_info *info)
{
    (void)dns;
    if (strcmp(property, "tls-state") == 0) return supervise_state(stubby);
    (void)info;
    return has_failed ? "failed: can't write its files" : supervise_state(dnsmasq);
}

static const char *server_state(vorn_instance *server, const char *property,
                                vorn_refresh_info *info)
{
    static char text[sizeof((fault *)0)->reason + 16];
    fault found;
    if (servers_judge(vorn_refresh_info_get_instances(info), server, &found)) {
        snprintf(text, sizeof text, "failed: %s", found.reason);
        return text;
    }
    return is_on(server, "tls") && !has_failed ? supervise_state(stubby)
                                               : state(server, property, info);
}

static vorn_refresher *refreshers[3];

static void refresh(vorn_refresh_info *info, void *data)
{
    for (size_t i = 0; i < sizeof refreshers / sizeof *refreshers; i++) {
        vorn_refresh_info_set_data(info, refreshers[i]);
        vorn_refresher_fn(info, data);
    }
}

static int make_refreshers(void)
{
    static const char *const classes[] = {"dns", "dns-server", "dns-record"};
    for (size_t i = 0; i < sizeof refreshers / sizeof *refreshers; i++) {
        refreshers[i] = vorn_refresher_new(classes[i]);
        if (refreshers[i] == NULL) return 1;
    }
    vorn_refresher_set_property_fn(refreshers[0], "status", status);
    vorn_refresher_set_property_fn(refreshers[0], "state", state);
    vorn_refresher_set_property_fn(refreshers[0], "tls-state", state);
    vorn_refresher_set_property_fn(refreshers[1], "state", server_state);
    vorn_refresher_set_property_fn(refreshers[2], "state", state);
    return 0;
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    dnsmasq = supervise_new("dns");
    stubby = supervise_new("stubby");
    vorn_provider *provider = vorn_provider_new("dns");
    if (dnsmasq == NULL || stubby == NULL || provider == NULL || dns_declare() != 0 ||
        make_refreshers() != 0) {
        return;
    }
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_refresh_fn(provider, refresh, NULL);
    vorn_provider_set_asks_first(provider);
    vorn_providers_add(provider);
    vorn_providers_order("network", "dns");
    vorn_providers_order("dns", "save");
}
