/* SPDX-License-Identifier: MIT */
#include "accounts.h"

#include <crypt.h>
#include <errno.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "declare.h"
#include "describe.h"
#include "effects.h"
#include "values.h"
#include "vorn-plugin/whole_file.h"

static const char class_name[] = "account";
static const char users_path[] = "/etc/passwd";
static const char passwords_path[] = "/etc/shadow";
/* Whose users have this for their full name, which people see in lists of users. */
static const char our_users[] = "vorn account";

enum { first_own_id = 60100, last_own_id = 60999, nogroup = 65534, first_person = 1000 };
enum { longest_name = 32, longest_hash = 120, longest_password = 256, shortest_password = 8 };
enum { salt_bytes = 12, seconds_of_a_day = 86400 };

static char failure[160]; /* why the files could not be written; empty when they were */

static int is_user_name(const char *name)
{
    const size_t length = strlen(name);
    if (length == 0 || length > longest_name || !strchr("abcdefghijklmnopqrstuvwxyz_", name[0]))
        return 0;
    return strspn(name, "abcdefghijklmnopqrstuvwxyz0123456789_-") == length;
}

/* As crypt(3) makes them, and nothing that could be a field or a line of its own. */
static int is_hash(const char *text)
{
    static const char digits[] =
        "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz$,=";
    const size_t length = strlen(text);
    const int is_known = strncmp(text, "$6$", 3) == 0 || strncmp(text, "$y$", 3) == 0;
    return is_known && length <= longest_hash && strspn(text, digits) == length &&
           strchr(text + 3, '$') != NULL;
}

static int is_password(const char *value)
{
    const size_t length = strlen(value);
    if (length == 0) return 1;
    if (value[0] == '$') {
        return is_hash(value) ||
               vorn_property_refuse_value("A password does not begin with \"$\".");
    }
    if (length <= longest_password &&
        vorn_input_is_text(value, (int)length, shortest_password, longest_password)) {
        return 1;
    }
    return vorn_property_refuse_value(
        "A password has at least %d characters, none of them a control character, and at most %d "
        "bytes.",
        shortest_password, longest_password);
}

static const char *hash_of(const char *password, struct crypt_data *data)
{
    static const char digits[] = "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    unsigned char chance[salt_bytes];
    char setting[3 + salt_bytes + 1] = "$6$";
    if (getrandom(chance, sizeof chance, 0) != (ssize_t)sizeof chance) return NULL;
    for (int i = 0; i < salt_bytes; i++)
        setting[3 + i] = digits[chance[i] % 64];
    const char *hash = crypt_r(password, setting, data);
    return hash != NULL && hash[0] == '$' ? hash : NULL;
}

static void hash_password(vorn_amend_info *info, vorn_instance *account)
{
    const char *password = value_of(account, "password");
    if (*password == '\0' || is_hash(password)) return;
    struct crypt_data *data = calloc(1, sizeof *data);
    const char *hash = data != NULL ? hash_of(password, data) : NULL;
    if (hash == NULL || vorn_instance_set_value(account, "password", hash) != 0)
        vorn_amend_info_refuse(info, account, "password", "it can't be hashed");
    if (data != NULL) explicit_bzero(data, sizeof *data);
    free(data);
}

static void amend(vorn_amend_info *info, void *data)
{
    (void)data;
    if (!vorn_changes_contains_class(vorn_amend_info_get_changes(info), class_name)) return;
    vorn_instances_iterator *accounts =
        vorn_instances_new_class_iterator(vorn_amend_info_get_instances(info), class_name);
    while (accounts != NULL && vorn_instances_iterator_has_next(accounts))
        hash_password(info, vorn_instances_iterator_next(accounts));
    vorn_instances_delete_iterator(accounts);
}

/* Root, people, and those that were made here; services of the system log in nowhere. */
static int may_be_account(const char *name)
{
    const struct passwd *user = getpwnam(name);
    return user == NULL || user->pw_uid == 0 || strcmp(user->pw_gecos, our_users) == 0 ||
           (user->pw_uid >= first_person && user->pw_uid < first_own_id);
}

static void check(vorn_check_info *info, void *data)
{
    (void)data;
    if (!vorn_changes_contains_class(vorn_check_info_get_changes(info), class_name)) return;
    vorn_instances_iterator *accounts =
        vorn_instances_new_class_iterator(vorn_check_info_get_instances(info), class_name);
    while (accounts != NULL && vorn_instances_iterator_has_next(accounts)) {
        const vorn_instance *account = vorn_instances_iterator_next(accounts);
        const char *name = vorn_instance_get_name(account);
        if (!is_user_name(name)) {
            vorn_check_info_refuse(info, account, NULL,
                                   "a user's name is 1 to 32 of a-z, 0-9, \"_\" and \"-\", and "
                                   "begins with a letter or \"_\"");
        } else if (!may_be_account(name)) {
            vorn_check_info_refuse(info, account, NULL, "it is a user of the system");
        }
    }
    vorn_instances_delete_iterator(accounts);
}

static const vorn_instance *account_of(const vorn_instances *configuration, const char *line)
{
    char name[longest_name + 1];
    const size_t length = strcspn(line, ":");
    if (length >= sizeof name || line[length] != ':') return NULL;
    memcpy(name, line, length);
    name[length] = '\0';
    return vorn_instances_get(configuration, class_name, name);
}

static int is_our_line(const char *line)
{
    char mark[sizeof our_users + 2];
    snprintf(mark, sizeof mark, ":%s:", our_users);
    return strstr(line, mark) != NULL;
}

static void remember_failure(const char *path)
{
    snprintf(failure, sizeof failure, "failed: %s: %s", path, strerror(errno));
    vorn_debug_eprintf("web: %s\n", failure);
}

/* The new file gets owner and mode of the old one. */
static FILE *open_like(const char *path, mode_t mode)
{
    struct stat old;
    FILE *file = whole_file_open(path, mode);
    if (file != NULL && stat(path, &old) == 0 &&
        (fchown(fileno(file), old.st_uid, old.st_gid) != 0 ||
         fchmod(fileno(file), old.st_mode & 0777) != 0)) {
        /* A file system without owners has none to lose. */
        if (errno != EPERM && errno != EINVAL) vorn_debug_eprintf("web: %s\n", strerror(errno));
    }
    return file;
}

/* What is to be done with both files. */
struct work {
    const vorn_instances *configuration;
    char gone[64][longest_name + 1]; /* users that go with their accounts */
    int gone_count;
    int next_id;
};

/* Writes what becomes of a line, which has lost its end, or adds lines to a whole text. */
typedef void (*write_fn)(FILE *file, const char *text, struct work *work);

/* One that can't be read to its end is not taken for an empty one. Answers 0 or 1, with errno. */
static int copy_lines(FILE *file, const char *path, write_fn copy, struct work *work)
{
    char *line = NULL;
    size_t room = 0;
    FILE *old = whole_file_read(path);
    if (old == NULL) return errno != ENOENT;
    while (getline(&line, &room, old) > 0) {
        line[strcspn(line, "\n")] = '\0';
        copy(file, line, work);
    }
    const int failed = !feof(old);
    const int reason = errno;
    free(line);
    fclose(old);
    errno = reason;
    return failed;
}

static int add_lines(FILE *file, char *const *text, write_fn add, struct work *work)
{
    char *copied = fflush(file) == 0 ? strdup(*text) : NULL;
    if (copied == NULL) return 1;
    add(file, copied, work);
    free(copied);
    return 0;
}

static int replace(const char *path, mode_t mode, const char *text)
{
    if (!whole_file_differs(path, text)) return 0;
    FILE *file = open_like(path, mode);
    if (file == NULL) return 1;
    fputs(text, file);
    return whole_file_close(file, path, 1);
}

static int rewrite(const char *path, mode_t mode, write_fn copy, write_fn add, struct work *work)
{
    char *text = NULL;
    size_t length = 0;
    FILE *memory = open_memstream(&text, &length);
    int failed = memory == NULL || copy_lines(memory, path, copy, work) != 0 ||
                 add_lines(memory, &text, add, work) != 0;
    const int reason = errno;
    if (memory != NULL && fclose(memory) != 0) failed = 1;
    if (failed) {
        errno = reason;
    } else {
        failed = replace(path, mode, text);
    }
    if (failed) remember_failure(path);
    free(text);
    return failed;
}

/* Calls for each line of a text, until an answer isn't 0, which is answered then. */
static int for_each_line(const char *text, int (*look)(const char *line, const void *data),
                         const void *data)
{
    int answer = 0;
    for (const char *line = text; answer == 0 && *line != '\0';) {
        answer = look(line, data);
        line += strcspn(line, "\n");
        if (*line == '\n') line++;
    }
    return answer;
}

static int is_line_of(const char *line, const void *name)
{
    const size_t length = strlen(name);
    return strncmp(line, name, length) == 0 && line[length] == ':';
}

static int has_id(const char *line, const void *id)
{
    const char *field = line;
    for (int fields = 0; fields < 2 && field != NULL; fields++)
        field = memchr(field, ':', strcspn(field, "\n")) != NULL ? strchr(field, ':') + 1 : NULL;
    return field != NULL && atoi(field) == *(const int *)id;
}

static int is_gone(const struct work *work, const char *line)
{
    for (int i = 0; i < work->gone_count; i++)
        if (is_line_of(line, work->gone[i])) return 1;
    return 0;
}

static void copy_user(FILE *file, const char *line, struct work *work)
{
    if (!is_gone(work, line)) fprintf(file, "%s\n", line);
}

static void add_users(FILE *file, const char *text, struct work *work)
{
    vorn_instances_iterator *accounts =
        vorn_instances_new_class_iterator(work->configuration, class_name);
    while (accounts != NULL && vorn_instances_iterator_has_next(accounts)) {
        const char *name = vorn_instance_get_name(vorn_instances_iterator_next(accounts));
        if (!is_user_name(name) || for_each_line(text, is_line_of, name)) continue;
        while (work->next_id < last_own_id && for_each_line(text, has_id, &work->next_id))
            work->next_id++;
        fprintf(file, "%s:x:%d:%d:%s:/nonexistent:/usr/sbin/nologin\n", name, work->next_id++,
                nogroup, our_users);
    }
    vorn_instances_delete_iterator(accounts);
}

/* A password that stands there in plain came past the transaction that would have hashed it. */
static const char *hash_in(const vorn_instance *account)
{
    const char *password = value_of(account, "password");
    return is_hash(password) ? password : "!";
}

/* Who was there before keeps his own where his account has none. */
static int has_no_word(const vorn_instance *account)
{
    const struct passwd *user = getpwnam(vorn_instance_get_name(account));
    return *value_of(account, "password") == '\0' && user != NULL &&
           strcmp(user->pw_gecos, our_users) != 0;
}

static void copy_password(FILE *file, const char *line, struct work *work)
{
    const vorn_instance *account = account_of(work->configuration, line);
    if (is_gone(work, line)) return;
    if (account == NULL || !may_be_account(vorn_instance_get_name(account)) ||
        has_no_word(account)) {
        fprintf(file, "%s\n", line);
        return;
    }
    const char *rest = strchr(line, ':') + 1;
    fprintf(file, "%s:%s%s\n", vorn_instance_get_name(account), hash_in(account),
            rest + strcspn(rest, ":"));
}

static void add_passwords(FILE *file, const char *text, struct work *work)
{
    const long today = (long)(time(NULL) / seconds_of_a_day);
    vorn_instances_iterator *accounts =
        vorn_instances_new_class_iterator(work->configuration, class_name);
    while (accounts != NULL && vorn_instances_iterator_has_next(accounts)) {
        const vorn_instance *account = vorn_instances_iterator_next(accounts);
        const char *name = vorn_instance_get_name(account);
        if (is_user_name(name) && may_be_account(name) && !for_each_line(text, is_line_of, name))
            fprintf(file, "%s:%s:%ld:0:99999:7:::\n", name, hash_in(account), today);
    }
    vorn_instances_delete_iterator(accounts);
}

static void note_gone(struct work *work)
{
    char *line = NULL;
    size_t room = 0;
    FILE *file = whole_file_read(users_path);
    while (file != NULL && getline(&line, &room, file) > 0) {
        if (!is_our_line(line) || account_of(work->configuration, line) != NULL) continue;
        if (work->gone_count == (int)(sizeof work->gone / sizeof work->gone[0])) break;
        char *name = work->gone[work->gone_count++];
        snprintf(name, longest_name + 1, "%.*s", (int)strcspn(line, ":"), line);
    }
    free(line);
    if (file != NULL) fclose(file);
}

/* Passwords first: a user without one can't log in, one without a user means nothing. */
static void apply(const vorn_instances *configuration)
{
    struct work *work = calloc(1, sizeof *work);
    if (work == NULL) {
        errno = ENOMEM;
        remember_failure(passwords_path);
        return;
    }
    work->configuration = configuration;
    work->next_id = first_own_id;
    note_gone(work);
    vorn_instances_iterator *accounts =
        vorn_instances_new_class_iterator(configuration, class_name);
    const int has_accounts = accounts != NULL && vorn_instances_iterator_has_next(accounts);
    vorn_instances_delete_iterator(accounts);
    failure[0] = '\0';
    if ((has_accounts || work->gone_count > 0) &&
        rewrite(passwords_path, 0600, copy_password, add_passwords, work) == 0) {
        rewrite(users_path, 0644, copy_user, add_users, work);
    }
    free(work);
}

static const char *tell(vorn_instance *account, const char *property, vorn_refresh_info *info)
{
    (void)property;
    (void)info;
    if (failure[0] != '\0') return failure;
    if (*value_of(account, "password") == '\0') return "applied: without a password";
    return is_hash(value_of(account, "password"))
               ? "applied"
               : "failed: the password was not written in a transaction";
}

static void commit(vorn_commit_info *info)
{
    if (vorn_changes_contains_class(vorn_commit_info_get_changes(info), class_name))
        apply(vorn_commit_info_get_after(info));
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    explain_file(explanation, passwords_path,
                 vorn_changes_contains_class(vorn_commit_info_get_changes(info), class_name));
}

static int add_provider(vorn_refresher *refresher)
{
    vorn_provider *provider = vorn_provider_new(class_name);
    if (provider == NULL) return 1;
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_amend_fn(provider, amend, NULL);
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
    return vorn_providers_add(provider) || vorn_providers_order(class_name, "save");
}

/* A hash is such a text, too. */
static int declare_password(vorn_class *account)
{
    declare_setting(account, "password", is_password,
                    "<a password of 8 to 256 characters>|<its hash by crypt(3)>|<nothing>");
    vorn_property *password = vorn_class_get_property(account, "password");
    if (password == NULL) return 1;
    describe(account, "password", "Password",
             "Of 8 characters at least. Kept as a hash; nobody can read it.", NULL);
    return vorn_property_set_secret(password, 1) ||
           vorn_property_accept_text(password, shortest_password, longest_password) ||
           vorn_property_accept(password, VORN_INPUT_NOTHING);
}

int accounts_declare(void)
{
    static const char *const told[] = {"state", NULL};
    vorn_class *account = declare_class(class_name, VORN_CLASS_UNIQUE_NAMED);
    vorn_refresher *refresher = vorn_refresher_new(class_name);
    if (account == NULL || refresher == NULL || declare_password(account) != 0) return 1;
    declare_told(account, told, refresher, tell);
    describe_class(account, "Account", "Somebody who may log in at the web page.", "Access", 610);
    describe(account, "state", "State", "Whether the system knows the user, or why not.", NULL);
    return vorn_classes_add(account) || add_provider(refresher);
}
