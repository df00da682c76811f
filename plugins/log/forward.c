/* SPDX-License-Identifier: MIT */
/*
 * The log server over TLS. busybox's syslogd knows nothing of it: it sends everything to rsyslogd
 * on this device, which has no rights, keeps what the server does not take, and sends it.
 */
#include "forward.h"

#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "declare.h"
#include "describe.h"
#include "effects.h"
#include "values.h"
#include "vorn-plugin/supervise.h"
#include "vorn-plugin/whole_file.h"

#define FORWARD_FILE "/var/run/vorn-rsyslog.conf"
#define SYSTEMS_AUTHORITIES "/etc/ssl/certs/ca-certificates.crt"

static supervised *rsyslogd;
static int has_failed; /* to write the file */

static const char *const arguments[] = {"setpriv",
                                        "--reuid=nobody",
                                        "--regid=nogroup",
                                        "--clear-groups",
                                        "--no-new-privs",
                                        "--bounding-set=-all",
                                        "rsyslogd",
                                        "-n",
                                        "-i",
                                        "NONE",
                                        "-f",
                                        FORWARD_FILE,
                                        NULL};

static const vorn_instance *find_server(const vorn_instances *configuration)
{
    return vorn_instances_get_singleton(configuration, "log-server");
}

static const char *value_or(const vorn_instance *instance, const char *property,
                            const char *otherwise)
{
    const char *value = value_of(instance, property);
    return *value != '\0' ? value : otherwise;
}

/* Certificates name machines by names. */
int forward_judge(const vorn_instances *configuration, const vorn_instance *server, fault *found)
{
    struct in_addr room;
    (void)configuration;
    return *value_of(server, "name") == '\0' &&
           inet_pton(AF_INET, value_of(server, "address"), &room) == 1 &&
           fault_is(found, "name", "an address alone does not say whom its certificate names");
}

int forward_is_wanted(const vorn_instances *configuration)
{
    fault found;
    const vorn_instance *server = find_server(configuration);
    return *value_of(server, "address") != '\0' &&
           is_on(vorn_instances_get_singleton(configuration, "log"), "enabled") &&
           !forward_judge(configuration, server, &found);
}

/* What busybox sends has no host name. */
static void write_name(FILE *file, const vorn_instances *configuration)
{
    if (vorn_classes_get("system") == NULL) return;
    const char *name = value_of(vorn_instances_get_singleton(configuration, "system"), "hostname");
    if (*name != '\0') fprintf(file, "global(localHostname=\"%s\")\n", name);
}

/* A thousand messages are kept while the server does not take them, and then the next are lost. */
static void write_config(FILE *file, const vorn_instances *configuration)
{
    const vorn_instance *server = find_server(configuration);
    const char *address = value_of(server, "address");
    write_name(file, configuration);
    fputs("module(load=\"imudp\")\n"
          "input(type=\"imudp\" address=\"127.0.0.1\" port=\"5140\")\n"
          "template(name=\"vorn\" type=\"string\" string=\"<%pri%>1 %timereported:::date-rfc3339%"
          " %$myhostname% %app-name% %procid% %msgid% %structured-data%%msg:::sp-if-no-1st-sp%"
          "%msg%\\n\")\n",
          file);
    fprintf(file, "action(type=\"omfwd\" target=\"%s\" port=\"%s\" protocol=\"tcp\"\n", address,
            value_or(server, "port", "6514"));
    fprintf(file,
            "  TCP_Framing=\"octet-counted\" StreamDriver=\"gtls\" StreamDriverMode=\"1\"\n"
            "  StreamDriverAuthMode=\"x509/name\" StreamDriverPermittedPeers=\"%s\"\n"
            "  StreamDriver.CAFile=\"%s\" template=\"vorn\"\n",
            value_or(server, "name", address),
            value_or(server, "authorities", SYSTEMS_AUTHORITIES));
    fputs("  action.resumeRetryCount=\"-1\" action.resumeInterval=\"10\"\n"
          "  queue.type=\"LinkedList\" queue.size=\"1000\" queue.timeoutEnqueue=\"0\"\n"
          "  queue.timeoutShutdown=\"100\")\n",
          file);
}

static char *make_text(const vorn_instances *configuration)
{
    char *text = NULL;
    size_t size;
    FILE *stream = open_memstream(&text, &size);
    if (stream == NULL) return NULL;
    write_config(stream, configuration);
    const int failed = ferror(stream) != 0;
    if (fclose(stream) == 0 && !failed) return text;
    free(text);
    return NULL;
}

/* Other authorities in a file of the same name are a reason to start anew. */
struct plan {
    const char *files[3];
    supervise_plan whole;
};

static const supervise_plan *make_plan(struct plan *plan, const vorn_instances *configuration)
{
    *plan = (struct plan){.files = {FORWARD_FILE, value_or(find_server(configuration),
                                                           "authorities", SYSTEMS_AUTHORITIES)}};
    plan->whole = (supervise_plan){arguments, plan->files, 0};
    return &plan->whole;
}

void forward_apply(const vorn_instances *configuration)
{
    struct plan plan;
    has_failed = 0;
    if (!forward_is_wanted(configuration)) {
        supervise_stop(rsyslogd);
        unlink(FORWARD_FILE);
        return;
    }
    char *text = make_text(configuration);
    has_failed = text == NULL || write_file_whole(FORWARD_FILE, text, 0644) < 0;
    free(text);
    if (has_failed) {
        vorn_debug_eprintf("log: can't write " FORWARD_FILE ".\n");
        vorn_commit_report_add_failure("log: can't write " FORWARD_FILE);
    } else if (supervise_run_plan(rsyslogd, make_plan(&plan, configuration)) != 0) {
        vorn_debug_eprintf("log: no memory to start rsyslogd.\n");
    }
}

void forward_explain(vorn_explanation *explanation, const vorn_instances *configuration)
{
    static const char loss[] = "nothing is sent to the log server meanwhile";
    struct plan plan;
    if (!forward_is_wanted(configuration)) {
        explain_program(explanation, "rsyslogd", supervise_foresee(rsyslogd, NULL, 0),
                        "nothing is sent to a log server over TLS any more");
        return;
    }
    char *text = make_text(configuration);
    const int is_new = text == NULL || whole_file_differs(FORWARD_FILE, text);
    free(text);
    explain_file(explanation, FORWARD_FILE, is_new);
    explain_program(explanation, "rsyslogd",
                    supervise_foresee(rsyslogd, make_plan(&plan, configuration), is_new), loss);
}

const char *forward_state(vorn_instance *server, const char *property, vorn_refresh_info *info)
{
    static char text[sizeof((fault *)0)->reason + 16];
    fault found;
    (void)property;
    if (has_failed) return "failed: can't write " FORWARD_FILE;
    if (*value_of(server, "address") != '\0' &&
        forward_judge(vorn_refresh_info_get_instances(info), server, &found)) {
        snprintf(text, sizeof text, "failed: %s", found.reason);
        return text;
    }
    return supervise_state(rsyslogd);
}

/* Within quotation marks in rsyslogd's file. */
static int is_path_or_none(const char *value)
{
    return *value == '\0' ||
           (*value == '/' && strlen(value) <= 255 && value[strcspn(value, "\"\\$%`'")] == '\0' &&
            value[strlen(value) - 1] != '/');
}

int forward_declare(void)
{
    vorn_class *server = declare_class("log-server", VORN_CLASS_SINGLETON);
    rsyslogd = supervise_new("rsyslogd");
    if (server == NULL || rsyslogd == NULL) return 1;
    describe_class(server, "Log server", "A machine that everything is sent to over TLS.", "System",
                   131);
    declare_input(server, "address", VORN_INPUT_PLAIN_IP_OR_DOMAIN_NAME | VORN_INPUT_NOTHING);
    describe(server, "address", "Address", "Its address or name; nothing is sent if it isn't set.",
             "log.example.net");
    declare_number(server, "port", 1, 65535, VORN_INPUT_NOTHING);
    describe(server, "port", "Port", "6514 if it isn't set.", "6514");
    declare_input(server, "name", VORN_INPUT_DOMAIN_NAME | VORN_INPUT_NOTHING);
    describe(server, "name", "Name",
             "Whom its certificate has to name; the address if that is a name.", "log.example.net");
    declare_characters(server, "authorities", " ~", 0, 255);
    vorn_property_set_is_valid_fn(vorn_class_get_property(server, "authorities"), is_path_or_none);
    describe(server, "authorities", "Authorities",
             "A file in PEM with whom to believe in; the system's if it isn't set.",
             "/etc/ssl/log-server.pem");
    declare_state(server, "state");
    describe(server, "state", "State", "Whether rsyslogd runs, or why not.", NULL);
    return vorn_classes_add(server);
}
