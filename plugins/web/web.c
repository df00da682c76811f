/* SPDX-License-Identifier: MIT */
/*
 * The door to the network: a web server with TLS, the gate behind it, which has no rights, and the
 * helper that judges passwords. Each is supervised; none of them is needed by the daemon.
 */
#include <errno.h>
#include <grp.h>
#include <pwd.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include "accounts.h"
#include "declare.h"
#include "describe.h"
#include "effects.h"
#include "lighttpd.h"
#include "tokens.h"
#include "values.h"
#include "vorn-plugin/supervise.h"

static const char class_name[] = "web";
static const char gate_user[] = "vorn-gate";
static const char passwords_path[] = WEB_FOLDER "/passwords";
static const char own_folder[] = "/etc/config/web";

enum { shortest_session = 60, longest_session = 86400, most_allowed = 16 };

/*
 * Makes a certificate for ten years where there is none, then becomes the web server. Its own words
 * are fixed: what is configured comes as its arguments.
 */
static const char start_script[] =
    "umask 077\n"
    "if [ \"$3\" = own ] && ! [ -s \"$1\" ]; then\n"
    "  openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -sha256 \\\n"
    "    -days 3650 -subj /CN=vorn -addext 'basicConstraints=critical,CA:FALSE' \\\n"
    "    -keyout \"$1.key.new\" -out \"$1.crt.new\" 2>\"$1.log\" || { cat \"$1.log\" >&2; exit 1; "
    "}\n"
    "  cat \"$1.key.new\" \"$1.crt.new\" >\"$1.new\" && sync -f \"$1.new\" && mv \"$1.new\" "
    "\"$1\"\n"
    "  rm -f \"$1.key.new\" \"$1.crt.new\" \"$1.log\"\n"
    "fi\n"
    "exec lighttpd -D -f \"$2\"\n";

static supervised *server;
static supervised *gate;
static supervised *helper;
static char failure[160]; /* what keeps all of it from being started; empty for nothing */

/* Stands in quotes in the web server's file. */
static int is_path_or_none(const char *value)
{
    static const char plain[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-/";
    const size_t length = strlen(value);
    return length == 0 || (value[0] == '/' && length <= 255 && strspn(value, plain) == length);
}

static int is_network(const char *word, void *data)
{
    char address[20];
    int *count = data;
    const char *slash = strchr(word, '/');
    const size_t length = slash != NULL ? (size_t)(slash - word) : strlen(word);
    if (++*count > most_allowed || length >= sizeof address) return 1;
    memcpy(address, word, length);
    address[length] = '\0';
    return !is_plain_address(address) || (slash != NULL && !is_plain_number(slash + 1, 1, 32));
}

static int is_list_of_networks(const char *value)
{
    int count = 0;
    if (strspn(value, "0123456789./ ") != strlen(value)) return 0;
    return for_each_word(value, is_network, &count) == 0;
}

static const char *lifetime_of(const vorn_instance *web)
{
    const char *lifetime = value_of(web, "session-lifetime");
    return *lifetime != '\0' ? lifetime : "3600";
}

static void stop_all(void)
{
    supervise_stop(server);
    supervise_stop(gate);
    supervise_stop(helper);
}

static void fail(const char *what, const char *why)
{
    snprintf(failure, sizeof failure, "failed: %s: %s", what, why);
    vorn_debug_eprintf("web: %s\n", failure);
    stop_all();
}

static int is_folder(const char *path, mode_t mode)
{
    return mkdir(path, mode) == 0 || errno == EEXIST;
}

static int run_helper(void)
{
    static const char *const arguments[] = {"vorn-gate-passwd", "--socket", passwords_path,
                                            "--user",           gate_user,  NULL};
    return supervise_run(helper, arguments);
}

static int run_gate(const vorn_instance *web)
{
    const char *arguments[] = {"vorn-gate",      "--socket", WEB_SOCKET, "--group",
                               WEB_SERVER_USER,  "--user",   gate_user,  "--passwords",
                               passwords_path,   "--tokens", WEB_TOKENS, "--lifetime",
                               lifetime_of(web), NULL};
    return supervise_run(gate, arguments);
}

static int run_server(const vorn_instance *web)
{
    static const char *const files[] = {WEB_CONFIG, NULL};
    const int is_own = *value_of(web, "certificate") == '\0';
    const char *arguments[] = {"sh",
                               "-c",
                               start_script,
                               "vorn-web",
                               lighttpd_certificate(web),
                               WEB_CONFIG,
                               is_own ? "own" : "given",
                               NULL};
    const supervise_plan plan = {arguments, files, 0};
    return supervise_run_plan(server, &plan);
}

static void start_all(const vorn_instance *web, const vorn_instances *configuration)
{
    const struct passwd *user = getpwnam(gate_user);
    failure[0] = '\0';
    if (vorn_classes_get("access-default") == NULL) {
        fail("access", "the plugin is missing, without which the gate may speak for nobody");
    } else if (user == NULL) {
        fail("vorn-gate", "there is no user of this name");
    } else if (getgrnam(WEB_SERVER_USER) == NULL) {
        fail(WEB_SERVER_USER, "there is no group of this name");
    } else if (!is_folder(WEB_FOLDER, 0755)) {
        fail(WEB_FOLDER, strerror(errno));
    } else if (lighttpd_make_spool() != 0) {
        fail(WEB_SPOOL, strerror(errno));
    } else if (!is_folder(own_folder, 0700)) {
        fail(own_folder, strerror(errno));
    } else if (tokens_write(configuration, user->pw_gid) != 0) {
        fail(WEB_TOKENS, strerror(errno));
    } else if (lighttpd_write(web) != 0) {
        fail(WEB_CONFIG, strerror(errno));
    } else if (run_helper() != 0 || run_gate(web) != 0 || run_server(web) != 0) {
        fail("memory", "there is not enough of it");
    }
}

static int is_concerned(const vorn_changes *changes, const char *name)
{
    return vorn_changes_contains_class(changes, name);
}

static void commit(vorn_commit_info *info)
{
    const vorn_changes *changes = vorn_commit_info_get_changes(info);
    const vorn_instances *after = vorn_commit_info_get_after(info);
    const vorn_instance *web = vorn_instances_get_singleton(after, class_name);
    if (!is_on(web, "enabled")) {
        failure[0] = '\0';
        stop_all();
    } else if (is_concerned(changes, class_name) || is_concerned(changes, "api-token") ||
               failure[0] != '\0') {
        start_all(web, after);
    } else {
        supervise_try_again(helper);
        supervise_try_again(gate);
        supervise_try_again(server);
    }
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    const vorn_changes *changes = vorn_commit_info_get_changes(info);
    const vorn_instance *web =
        vorn_instances_get_singleton(vorn_commit_info_get_after(info), class_name);
    if (!is_concerned(changes, class_name)) return;
    const int runs = supervise_pid(server) != 0;
    const enum supervise_deed deed = !is_on(web, "enabled")
                                         ? (runs ? SUPERVISE_ENDS : SUPERVISE_LEAVES)
                                         : (runs ? SUPERVISE_RESTARTS : SUPERVISE_STARTS);
    explain_program(explanation, "lighttpd", deed, "the web page is not there meanwhile");
}

static void check(vorn_check_info *info, void *data)
{
    (void)data;
    tokens_check(info);
}

/* The first of the three that does not run, or the server. */
static const char *tell_state(vorn_instance *web, const char *property, vorn_refresh_info *info)
{
    static char text[400];
    (void)web;
    (void)property;
    (void)info;
    if (failure[0] != '\0') return failure;
    supervised *const all[] = {helper, gate, server};
    static const char *const names[] = {"vorn-gate-passwd", "vorn-gate", "lighttpd"};
    for (int i = 0; i < 3; i++) {
        const char *state = supervise_state(all[i]);
        if (strncmp(state, "failed: ", 8) != 0) continue;
        snprintf(text, sizeof text, "failed: %s: %s", names[i], state + 8);
        return text;
    }
    return supervise_state(server);
}

static int declare_web(vorn_refresher *refresher)
{
    static const char *const told[] = {"state", NULL};
    vorn_class *web = declare_class(class_name, VORN_CLASS_SINGLETON);
    if (web == NULL) return 1;
    declare_input(web, "enabled", VORN_INPUT_ON_OFF);
    declare_number(web, "port", 1, 65535, 0);
    declare_setting(web, "certificate", is_path_or_none,
                    "<the path of a file with certificate and key>|<nothing>");
    vorn_property_accept_characters(vorn_class_get_property(web, "certificate"), "azAZ09./__--", 0,
                                    255);
    declare_number(web, "session-lifetime", shortest_session, longest_session, 0);
    declare_setting(
        web, "allowed", is_list_of_networks,
        "<at most 16 IPv4 addresses or networks such as 10.0.0.0/8, with blanks between "
        "them>");
    /* An address of a network's host stands for the network. */
    vorn_property *allowed = vorn_class_get_property(web, "allowed");
    vorn_property_accept(allowed, VORN_INPUT_PLAIN_IP | VORN_INPUT_NETWORK);
    vorn_property_accept_characters(allowed, "./09", 9, 19);
    vorn_property_accept_list(allowed, 1);
    declare_told(web, told, refresher, tell_state);
    describe_class(web, "Web page", "The page and the API for the network.", "Access", 600);
    describe(web, "enabled", "Enabled", "Whether the device can be reached by a browser.", "on");
    describe(web, "port", "Port", "443 when it is empty.", "443");
    describe(web, "certificate", "Certificate",
             "A file in PEM with key and certificate. One is made here when this is empty.",
             "/etc/config/web.pem");
    describe(web, "session-lifetime", "Session lifetime",
             "After so long without a request somebody has to log in again; 3600 when it is empty.",
             "3600");
    describe_unit(web, "session-lifetime", "seconds");
    describe(web, "allowed", "Allowed addresses",
             "Who may come: addresses and networks. Everybody when it is empty.", "192.168.1.0/24");
    describe(web, "state", "State", "Whether it runs, or why not.", NULL);
    return vorn_classes_add(web);
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    server = supervise_new("lighttpd");
    gate = supervise_new("vorn-gate");
    helper = supervise_new("vorn-gate-passwd");
    vorn_refresher *refresher = vorn_refresher_new("web");
    vorn_provider *provider = vorn_provider_new("web");
    if (server == NULL || gate == NULL || helper == NULL || refresher == NULL || provider == NULL)
        return;
    if (declare_web(refresher) || accounts_declare() || tokens_declare()) return;

    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
    vorn_providers_add(provider);
    vorn_providers_order("network", "web");
    vorn_providers_order("web", "save");
}
