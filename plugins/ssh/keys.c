/* SPDX-License-Identifier: MIT */
/*
 * The keys of one user are the lines of one file, which is looked at with each commit: a key that
 * was added by hand goes, one that is missing comes back. Whose last key is deleted has no file.
 */
#include "keys.h"

#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "authorized.h"
#include "declare.h"
#include "describe.h"
#include "effects.h"
#include "judge.h"
#include "outcomes.h"
#include "public_key.h"
#include "values.h"

static const char class_name[] = "ssh-key";

enum { longest_name = 32, first_person = 1000, last_person = 65533 };

static outcomes failures = {.class_name = "ssh-key"};
static int has_looked; /* since the boot, for files of users that have no key any more */

static int may_log_in(const struct passwd *user)
{
    return user->pw_uid == 0 || (user->pw_uid >= first_person && user->pw_uid <= last_person);
}

static const char *user_of(const vorn_instance *key)
{
    return value_of(key, "user");
}

/* Calls back for each key of the user's, or of everybody's where that is null. */
static int for_each_key(const vorn_instances *configuration, const char *user,
                        void (*call)(const vorn_instance *key, void *data), void *data)
{
    int count = 0;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *key = vorn_instances_iterator_next(walk);
        if (user != NULL && strcmp(user_of(key), user) != 0) continue;
        if (call != NULL) call(key, data);
        count++;
    }
    vorn_instances_delete_iterator(walk);
    return count;
}

static void add_line(const vorn_instance *key, void *data)
{
    FILE *file = data;
    fprintf(file, "%s\n", value_of(key, "key"));
}

/* All of the user's file; null without memory. To be freed. */
static char *text_for(const vorn_instances *configuration, const char *user)
{
    char *text = NULL;
    size_t length = 0;
    FILE *memory = open_memstream(&text, &length);
    if (memory == NULL) return NULL;
    fputs(authorized_mark, memory);
    for_each_key(configuration, user, add_line, memory);
    if (fclose(memory) == 0) return text;
    free(text);
    return NULL;
}

static void note(const vorn_instance *key, void *data)
{
    outcomes_fail(&failures, vorn_instance_get_name(key), data);
}

static const char *write_keys(const vorn_instances *configuration, const struct passwd *user)
{
    char *text = text_for(configuration, user->pw_name);
    if (text == NULL) return "no memory";
    const char *failed = authorized_differs(user, text) ? authorized_write(user, text) : NULL;
    free(text);
    return failed;
}

/* The keys of one user; one who has several is served by the first of them alone. */
struct round {
    const vorn_instances *configuration;
    vorn_explanation *explanation; /* null when it is done and not only told */
};

static int is_first_of_user(const struct round *round, const vorn_instance *key)
{
    int is_first = 0;
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(round->configuration, class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (strcmp(user_of(each), user_of(key)) != 0) continue;
        is_first = each == key;
        break;
    }
    vorn_instances_delete_iterator(walk);
    return is_first;
}

static void tell_writing(const struct round *round, const struct passwd *user)
{
    char path[256];
    char *text = text_for(round->configuration, user->pw_name);
    snprintf(path, sizeof path, "%.200s/.ssh/authorized_keys", user->pw_dir);
    explain_file(round->explanation, path, text != NULL && authorized_differs(user, text));
    free(text);
}

static void apply_user(const vorn_instance *key, void *data)
{
    const struct round *round = data;
    const char *name = user_of(key);
    char reason[200] = "";
    if (!is_first_of_user(round, key)) return;
    const struct passwd *user = getpwnam(name);
    if (user == NULL) {
        snprintf(reason, sizeof reason, "waiting for the user %s", name);
    } else if (!may_log_in(user)) {
        snprintf(reason, sizeof reason, "%s is a user of the system", name);
    } else if (round->explanation != NULL) {
        tell_writing(round, user);
    } else {
        const char *failed = write_keys(round->configuration, user);
        snprintf(reason, sizeof reason, "%s", failed != NULL ? failed : "");
    }
    if (round->explanation != NULL || reason[0] == '\0') return;
    for_each_key(round->configuration, name, note, reason);
    if (user == NULL) return;
    vorn_debug_eprintf("ssh: %s.\n", reason);
    vorn_commit_report_add_failure("ssh: %s", reason);
}

static void remove_or_tell(const struct passwd *user, vorn_explanation *explanation)
{
    if (explanation == NULL) {
        authorized_remove(user);
    } else {
        vorn_explanation_add(explanation, VORN_EXPLAIN_LIVE, "%s logs in with no key any more",
                             user->pw_name);
    }
}

/* Also of those whose keys went while the daemon was not there. */
static void look_for_left(const vorn_instances *configuration, vorn_explanation *explanation)
{
    setpwent();
    for (struct passwd *user; (user = getpwent()) != NULL;) {
        if (may_log_in(user) && for_each_key(configuration, user->pw_name, NULL, NULL) == 0 &&
            authorized_is_ours(user))
            remove_or_tell(user, explanation);
    }
    endpwent();
}

static void serve(vorn_commit_info *info, vorn_explanation *explanation)
{
    struct round round = {vorn_commit_info_get_after(info), explanation};
    const vorn_changes *changes = vorn_commit_info_get_changes(info);
    if (vorn_process_no_actions) return;
    if (!has_looked || vorn_changes_contains_class(changes, class_name))
        look_for_left(round.configuration, explanation);
    if (explanation == NULL) {
        has_looked = 1;
        outcomes_forget(&failures);
    }
    for_each_key(round.configuration, NULL, apply_user, &round);
}

static void commit(vorn_commit_info *info)
{
    serve(info, NULL);
}

static int judge(const vorn_instances *configuration, const vorn_instance *key, fault *found)
{
    (void)configuration;
    const struct passwd *user = getpwnam(user_of(key));
    if (user == NULL || may_log_in(user)) return 0;
    return fault_is(found, "user", "%s is a user of the system", user->pw_name);
}

static void check(vorn_check_info *info, void *data)
{
    (void)data;
    if (!vorn_changes_contains_class(vorn_check_info_get_changes(info), class_name)) return;
    judge_class(info, class_name, judge);
}

static const char *tell(vorn_instance *key, const char *property, vorn_refresh_info *info)
{
    (void)property;
    (void)info;
    const char *state = outcomes_state(&failures, vorn_instance_get_name(key));
    return state != NULL ? state : "applied";
}

static int add_provider(vorn_refresher *refresher)
{
    vorn_provider *provider = vorn_provider_new(class_name);
    if (provider == NULL) return 1;
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_explain_fn(provider, serve, NULL);
    vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
    /* A user may be made by the same change. */
    return vorn_providers_add(provider) || vorn_providers_order("account", class_name) ||
           vorn_providers_order(class_name, "save");
}

int keys_declare(void)
{
    static const char *const told[] = {"state", NULL};
    vorn_class *key = declare_class(class_name, VORN_CLASS_UNIQUE_NAMED);
    vorn_refresher *refresher = vorn_refresher_new(class_name);
    if (key == NULL || refresher == NULL) return 1;
    describe_class(key, "SSH key", "A key with which somebody logs in.", "Access", 640);
    declare_characters(key, "user", "az09__--", 1, longest_name);
    declare_needed(key, "user");
    describe(key, "user", "User", "Who logs in: root, or a person that the system knows.", "root");
    declare_required(key, "key", public_key_is_valid,
                     "<a public key as ssh-keygen writes it; one of RSA has at least 2048 bits>");
    vorn_property_accept_characters(vorn_class_get_property(key, "key"), " ~", 1, longest_key);
    describe(key, "key", "Key", "The public key, a line as ssh-keygen writes it.",
             "ssh-ed25519 AAAAC3NzaC1lZDI1NTE5AAAAINR0CLd0gQICJrKw8gHLBmDAPgQndPG5j/EW3jgdskoG "
             "anna@desk");
    declare_told(key, told, refresher, tell);
    describe(key, "state", "State", "Whether it lets him in, or why not.", NULL);
    return vorn_classes_add(key) || add_provider(refresher);
}
