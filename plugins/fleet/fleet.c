/* SPDX-License-Identifier: MIT */
/*
 * The device as one of many: an agent without rights speaks with a broker and asks the daemon like
 * anybody else. What it brings is configuration; its number is kept here, so that it is saved in
 * the same file.
 */
#include <errno.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "declare.h"
#include "describe.h"
#include "effects.h"
#include "status.h"
#include "values.h"
#include "vorn-plugin/supervise.h"

static const char class_name[] = "fleet";
static const char agent_user[] = "vorn-agent";
static const char own_folder[] = "/etc/config/fleet";
static const char note_path[] = "/etc/config/fleet/note";

enum { most_brokers = 4, most_signers = 4, longest_path = 255, longest_identifier = 64 };
enum { most_labels = 16 };
enum { most_states = 16, longest_interval = 86400 };
enum { key_characters = 44, digest_characters = 64, longest_word = 127 };
enum { most_words = most_brokers + most_signers + most_states };
enum { words_of_others = 26 }; /* the most that stand beside brokers and signers */

static supervised *agent;
static char failure[160]; /* what keeps it from being started; empty for nothing */

/* The room for the words that are given one by one. */
struct plan {
    const char *arguments[words_of_others + 2 * most_words];
    char words[most_words][longest_word + 1];
    int count;
    int word_count;
    const char *option; /* before the next word */
};

static int has_only(const char *value, const char *characters, size_t longest)
{
    const size_t length = strlen(value);
    return length <= longest && strspn(value, characters) == length;
}

#define LETTERS "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
#define DIGITS "0123456789"

static int is_identifier(const char *value)
{
    return has_only(value, LETTERS DIGITS "._-", longest_identifier);
}

static int is_path_or_none(const char *value)
{
    return *value == '\0' ||
           (value[0] == '/' && has_only(value, LETTERS DIGITS "._-/", longest_path));
}

/* "HOST" or "HOST:PORT"; the first character makes no option of it. */
static int is_no_broker(const char *word, void *data)
{
    int *count = data;
    const size_t host = strcspn(word, ":");
    if (++*count > most_brokers || host == 0 || word[0] == '-') return 1;
    if (strspn(word, LETTERS DIGITS ".-") != host || strlen(word) > longest_word) return 1;
    return word[host] == ':' && !is_plain_number(word + host + 1, 1, 65535);
}

static int is_list_of_brokers(const char *value)
{
    int count = 0;
    return has_only(value, LETTERS DIGITS ".-: ", longest_path) &&
           for_each_word(value, is_no_broker, &count) == 0;
}

static int is_no_key(const char *word, void *data)
{
    int *count = data;
    return ++*count > most_signers || strlen(word) != key_characters ||
           word[key_characters - 1] != '=' || word[0] == '-';
}

static int is_list_of_keys(const char *value)
{
    int count = 0;
    return has_only(value, LETTERS DIGITS "+/= ", longest_path) &&
           for_each_word(value, is_no_key, &count) == 0;
}

/* "CLASS" or "CLASS.PROPERTY". */
static int is_no_state(const char *word, void *data)
{
    int *count = data;
    const size_t point = strcspn(word, ".");
    const char *property = word[point] == '.' ? word + point + 1 : "x";
    return ++*count > most_states || word[0] == '-' || point == 0 || point > longest_identifier ||
           *property == '\0' || strlen(property) > 62;
}

static int is_list_of_states(const char *value)
{
    int count = 0;
    return has_only(value, LETTERS DIGITS "._- ", longest_text) &&
           for_each_word(value, is_no_state, &count) == 0;
}

/* "KEY=VALUE". */
static int is_no_label(const char *word, void *data)
{
    int *count = data;
    const size_t key = strcspn(word, "=");
    return ++*count > most_labels || key == 0 || key > longest_identifier || word[key] != '=' ||
           word[key + 1] == '\0' || strlen(word + key + 1) > longest_identifier;
}

static int is_list_of_labels(const char *value)
{
    int count = 0;
    return has_only(value, LETTERS DIGITS "._-= ", longest_text) &&
           for_each_word(value, is_no_label, &count) == 0;
}

static int is_interval(const char *value)
{
    return is_plain_number(value, 1, longest_interval);
}

/* A whole number that any language can hold. */
static int is_generation(const char *value)
{
    return has_only(value, DIGITS, 16) && strtoll(value, NULL, 10) <= 9007199254740991;
}

static int is_digest(const char *value)
{
    return *value == '\0' ||
           (strlen(value) == digest_characters && has_only(value, DIGITS "abcdef", 64));
}

static int is_list_of_classes(const char *value)
{
    return is_text(value);
}

static void add(struct plan *plan, const char *word)
{
    plan->arguments[plan->count++] = word;
    plan->arguments[plan->count] = NULL;
}

static void add_pair(struct plan *plan, const char *option, const char *value)
{
    if (*value == '\0') return;
    add(plan, option);
    add(plan, value);
}

static int add_word(const char *word, void *data)
{
    struct plan *plan = data;
    if (plan->word_count == most_words) return 1;
    char *room = plan->words[plan->word_count++];
    snprintf(room, sizeof plan->words[0], "%s", word);
    add_pair(plan, plan->option, room);
    return 0;
}

static void make_plan(struct plan *plan, const vorn_instance *fleet)
{
    plan->count = plan->word_count = 0;
    add(plan, "vorn-agent");
    add_pair(plan, "--user", agent_user);
    add_pair(plan, "--tenant", value_of(fleet, "tenant"));
    add_pair(plan, "--device", value_of(fleet, "device"));
    plan->option = "--broker";
    for_each_word(value_of(fleet, "brokers"), add_word, plan);
    plan->option = "--signer";
    for_each_word(value_of(fleet, "signers"), add_word, plan);
    plan->option = "--state";
    for_each_word(value_of(fleet, "states"), add_word, plan);
    add_pair(plan, "--states-every", value_of(fleet, "states-every"));
    add_pair(plan, "--ca", value_of(fleet, "authorities"));
    add_pair(plan, "--certificate", value_of(fleet, "certificate"));
    add_pair(plan, "--key", value_of(fleet, "key"));
    if (strcmp(value_of(fleet, "tls"), "off") == 0) add(plan, "--plain");
    if (is_on(fleet, "requests")) add(plan, "--requests");
    add_pair(plan, "--note", note_path);
    add_pair(plan, "--status", FLEET_STATUS);
}

/* The files' own changes start it anew, as those of its arguments do. */
static int run_agent(const vorn_instance *fleet)
{
    static const char *const paths[] = {"authorities", "certificate", "key"};
    const char *files[4];
    struct plan plan;
    int count = 0;
    for (size_t i = 0; i < sizeof paths / sizeof paths[0]; i++)
        if (*value_of(fleet, paths[i]) != '\0') files[count++] = value_of(fleet, paths[i]);
    files[count] = NULL;
    make_plan(&plan, fleet);
    const supervise_plan whole = {plan.arguments, files, 0};
    return supervise_run_plan(agent, &whole);
}

static void fail(const char *what, const char *why)
{
    snprintf(failure, sizeof failure, "failed: %s: %s", what, why);
    vorn_debug_eprintf("fleet: %s\n", failure);
    supervise_stop(agent);
}

static int is_folder_of(const char *path, const struct passwd *user, mode_t mode)
{
    if (mkdir(path, mode) != 0 && errno != EEXIST) return 0;
    return chown(path, user->pw_uid, user->pw_gid) == 0;
}

static void start(const vorn_instance *fleet)
{
    const struct passwd *user = getpwnam(agent_user);
    failure[0] = '\0';
    if (user == NULL) {
        fail(agent_user, "there is no user of this name");
    } else if (!is_folder_of(FLEET_FOLDER, user, 0755)) {
        fail(FLEET_FOLDER, strerror(errno));
    } else if (!is_folder_of(own_folder, user, 0700)) {
        fail(own_folder, strerror(errno));
    } else if (run_agent(fleet) != 0) {
        fail("memory", "there is not enough of it");
    }
}

static void commit(vorn_commit_info *info)
{
    const vorn_instance *fleet =
        vorn_instances_get_singleton(vorn_commit_info_get_after(info), class_name);
    if (!is_on(fleet, "enabled")) {
        failure[0] = '\0';
        supervise_stop(agent);
    } else if (vorn_changes_contains_class(vorn_commit_info_get_changes(info), class_name) ||
               failure[0] != '\0') {
        start(fleet);
    } else {
        supervise_try_again(agent);
    }
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    const vorn_instance *fleet =
        vorn_instances_get_singleton(vorn_commit_info_get_after(info), class_name);
    if (!vorn_changes_contains_class(vorn_commit_info_get_changes(info), class_name)) return;
    struct plan plan;
    make_plan(&plan, fleet);
    const supervise_plan whole = {plan.arguments, NULL, 0};
    explain_program(explanation, "vorn-agent",
                    supervise_foresee(agent, is_on(fleet, "enabled") ? &whole : NULL, 0),
                    "the fleet does not see the device meanwhile");
}

static void check_needed(vorn_check_info *info, const vorn_instance *fleet)
{
    static const char *const needed[] = {"tenant", "device", "brokers", "signers"};
    if (!is_on(fleet, "enabled")) return;
    for (size_t i = 0; i < sizeof needed / sizeof needed[0]; i++)
        if (*value_of(fleet, needed[i]) == '\0')
            vorn_check_info_refuse(info, fleet, needed[i], "a device of a fleet needs it");
}

/* One class of those that the fleet keeps for itself. */
static int check_class(const char *word, void *data)
{
    vorn_check_info *info = data;
    if (vorn_changes_contains_class(vorn_check_info_get_changes(info), word))
        vorn_check_info_refuse(info, NULL, NULL,
                               "The fleet alone changes class \"%s\": see \"guard\" of \"fleet\"",
                               word);
    return 0;
}

/* Whoever brings a new number is the fleet; whoever takes the guard away knows what he does. */
static void check(vorn_check_info *info, void *data)
{
    (void)data;
    const vorn_instances *running = vorn_config_get_running();
    const vorn_instance *before = vorn_instances_get_singleton(running, class_name);
    vorn_instance *fleet =
        vorn_instances_get_singleton(vorn_check_info_get_instances(info), class_name);
    check_needed(info, fleet);
    if (before == NULL || is_changed(fleet, before, "generation") ||
        is_changed(fleet, before, "guard"))
        return;
    for_each_word(value_of(before, "guard"), check_class, info);
}

static const char *tell(vorn_instance *fleet, const char *property, vorn_refresh_info *info)
{
    (void)fleet;
    (void)info;
    if (strcmp(property, "state") != 0)
        return supervise_pid(agent) != 0 ? status_of_agent(property) : "";
    return failure[0] != '\0' ? failure : supervise_state(agent);
}

static void describe_fleet(vorn_class *fleet)
{
    describe_class(fleet, "Fleet", "The device as one of many, by a broker.", "System", 640);
    describe(fleet, "enabled", "Enabled", "Whether the device takes part.", "on");
    describe(fleet, "tenant", "Tenant", "Whose devices this one belongs to.", "acme");
    describe(fleet, "device", "Device", "What this one is called among them.", "ap-0017");
    describe(fleet, "brokers", "Brokers", "Hosts, with ports other than 8883; one after the other.",
             "broker.example:8883");
    describe(fleet, "tls", "TLS", "Whether the connection is encrypted; on when it is empty.",
             "on");
    describe(fleet, "authorities", "Authorities",
             "A file in PEM with whom to believe in; the system's when it is empty.",
             "/etc/config/fleet/ca.pem");
    describe(fleet, "certificate", "Certificate", "A file in PEM with the device's own.",
             "/etc/config/fleet/device.pem");
    describe(fleet, "key", "Key", "A file in PEM with the certificate's key.",
             "/etc/config/fleet/device.key");
    describe(fleet, "signers", "Signers", "Public keys in base64: whose documents are heard.",
             "PUAXw+hDiVqStwqnTRt+vJyYLM8uxJaMwM1V8Sr0Zgw=");
    describe(fleet, "requests", "Requests", "Whether questions of support are answered.", "off");
    describe(fleet, "states", "States", "Classes, or CLASS.PROPERTY, whose values are always told.",
             "station radio.status");
    describe(fleet, "states-every", "States every",
             "How many seconds lie between two looks at them; 60 when it is empty.", "60");
    describe(fleet, "labels", "Labels",
             "What the device is among the others, for who selects some.", "site=north role=ap");
    describe(fleet, "generation", "Generation", "The number of the document in force.", "42");
    describe(fleet, "digest", "Digest", "Its SHA-256.",
             "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    describe(fleet, "guard", "Guard", "Classes that the fleet alone changes.", "radio ssid");
    describe(fleet, "connected", "Connected", "Whether the broker is reached.", NULL);
    describe(fleet, "since", "Since", "Since when it is.", NULL);
    describe(fleet, "error", "Error", "What went wrong last.", NULL);
    describe(fleet, "state", "State", "Whether the agent runs, or why not.", NULL);
}

static int declare_fleet(vorn_refresher *refresher)
{
    static const char *const told[] = {"connected", "since", "error", "state", NULL};
    static const char *const paths[] = {"authorities", "certificate", "key"};
    vorn_class *fleet = declare_class(class_name, VORN_CLASS_SINGLETON);
    if (fleet == NULL) return 1;
    declare_input(fleet, "enabled", VORN_INPUT_ON_OFF);
    declare_setting(fleet, "tenant", is_identifier,
                    "<letters, digits, points, hyphens, underscores>");
    declare_setting(fleet, "device", is_identifier,
                    "<letters, digits, points, hyphens, underscores>");
    declare_setting(fleet, "brokers", is_list_of_brokers, "<up to four of HOST or HOST:PORT>");
    declare_input(fleet, "tls", VORN_INPUT_ON_OFF);
    for (size_t i = 0; i < sizeof paths / sizeof paths[0]; i++) {
        declare_setting(fleet, paths[i], is_path_or_none, "<the path of a file>|<nothing>");
        vorn_property_accept_characters(vorn_class_get_property(fleet, paths[i]), "azAZ09./__--", 0,
                                        longest_path);
    }
    declare_setting(fleet, "signers", is_list_of_keys, "<up to four keys in base64>");
    declare_input(fleet, "requests", VORN_INPUT_ON_OFF);
    declare_setting(fleet, "states", is_list_of_states, "<up to 16 of CLASS or CLASS.PROPERTY>");
    declare_setting(fleet, "states-every", is_interval, "<seconds, 1 to 86400>");
    declare_setting(fleet, "labels", is_list_of_labels, "<up to 16 of KEY=VALUE>");
    declare_setting(fleet, "generation", is_generation, "<a number>");
    declare_setting(fleet, "digest", is_digest, "<64 hexadecimal digits>|<nothing>");
    declare_setting(fleet, "guard", is_list_of_classes, "<names of classes>");
    vorn_property_accept_characters(vorn_class_get_property(fleet, "tenant"), "azAZ09..__--", 0,
                                    longest_identifier);
    vorn_property_accept_characters(vorn_class_get_property(fleet, "device"), "azAZ09..__--", 0,
                                    longest_identifier);
    vorn_property_accept_text(vorn_class_get_property(fleet, "brokers"), 0, longest_path);
    vorn_property_accept_text(vorn_class_get_property(fleet, "signers"), 0, longest_path);
    vorn_property_accept_text(vorn_class_get_property(fleet, "states"), 0, longest_text);
    vorn_property_accept_number(vorn_class_get_property(fleet, "states-every"), 1, longest_interval,
                                1);
    vorn_property_accept_text(vorn_class_get_property(fleet, "labels"), 0, longest_text);
    vorn_property_accept_characters(vorn_class_get_property(fleet, "generation"), "09", 0, 16);
    vorn_property_accept_characters(vorn_class_get_property(fleet, "digest"), "09af",
                                    digest_characters, digest_characters);
    vorn_property_accept(vorn_class_get_property(fleet, "digest"), VORN_INPUT_NOTHING);
    vorn_property_accept_text(vorn_class_get_property(fleet, "guard"), 0, longest_text);
    declare_told(fleet, told, refresher, tell);
    describe_fleet(fleet);
    return vorn_classes_add(fleet);
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    agent = supervise_new("vorn-agent");
    vorn_refresher *refresher = vorn_refresher_new("fleet");
    vorn_provider *provider = vorn_provider_new("fleet");
    if (agent == NULL || refresher == NULL || provider == NULL || declare_fleet(refresher) != 0)
        return;

    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
    vorn_providers_add(provider);
    vorn_providers_order("network", "fleet");
    vorn_providers_order("fleet", "save");
}
