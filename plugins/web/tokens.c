/* SPDX-License-Identifier: MIT */
#include "tokens.h"

#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "declare.h"
#include "describe.h"
#include "values.h"
#include "vorn-plugin/whole_file.h"

static const char class_name[] = "api-token";

enum { digits_of_digest = 64, longest_word = 64 };

static int is_digest(const char *value)
{
    return strlen(value) == digits_of_digest &&
           strspn(value, "0123456789abcdef") == digits_of_digest;
}

/* A word of the file: nothing that would end it. */
static int is_word(const char *value)
{
    const size_t length = strlen(value);
    if (length == 0 || length > longest_word) return 0;
    for (const char *each = value; *each != '\0'; each++)
        if (*each <= ' ' || *each > '~') return 0;
    return 1;
}

void tokens_check(vorn_check_info *info)
{
    if (!vorn_changes_contains_class(vorn_check_info_get_changes(info), class_name)) return;
    vorn_instances_iterator *tokens =
        vorn_instances_new_class_iterator(vorn_check_info_get_instances(info), class_name);
    while (tokens != NULL && vorn_instances_iterator_has_next(tokens)) {
        const vorn_instance *token = vorn_instances_iterator_next(tokens);
        if (!is_word(vorn_instance_get_name(token)))
            vorn_check_info_refuse(info, token, NULL,
                                   "a token's name is 1 to 64 characters of ASCII without blanks");
    }
    vorn_instances_delete_iterator(tokens);
}

int tokens_write(const vorn_instances *configuration, unsigned group)
{
    FILE *file = whole_file_open(WEB_TOKENS, 0600);
    if (file == NULL) return 1;
    vorn_instances_iterator *tokens = vorn_instances_new_class_iterator(configuration, class_name);
    while (tokens != NULL && vorn_instances_iterator_has_next(tokens)) {
        const vorn_instance *token = vorn_instances_iterator_next(tokens);
        const char *name = vorn_instance_get_name(token);
        const char *digest = value_of(token, "digest");
        if (is_word(name) && is_digest(digest))
            fprintf(file, "%s %s %s\n", digest, value_of(token, "user"), name);
    }
    vorn_instances_delete_iterator(tokens);
    const int is_given =
        fchown(fileno(file), (uid_t)-1, group) == 0 && fchmod(fileno(file), 0640) == 0;
    return whole_file_close(file, WEB_TOKENS, 0) != 0 || !is_given;
}

int tokens_declare(void)
{
    vorn_class *token = declare_class(class_name, VORN_CLASS_UNIQUE_NAMED);
    if (token == NULL) return 1;
    declare_required(token, "user", is_word, "<the name of a user>");
    declare_required(token, "digest", is_digest, "<the SHA-256 of the token in 64 digits>");
    vorn_property_accept_characters(vorn_class_get_property(token, "user"), "!~", 1, longest_word);
    vorn_property_accept_characters(vorn_class_get_property(token, "digest"), "09af",
                                    digits_of_digest, digits_of_digest);
    vorn_property_set_secret(vorn_class_get_property(token, "digest"), 1);
    describe_class(token, "Token", "What a program logs in with.", "Access", 620);
    describe(token, "user", "User", "In whose name the program acts.", "anna");
    describe(token, "digest", "Digest", "Of the token, which is not kept.", NULL);
    return vorn_classes_add(token);
}
