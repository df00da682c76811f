/* SPDX-License-Identifier: MIT */
/*
 * The words in which an administrator says who may do what. The daemon holds itself to them; all
 * that is left here is which of them make sense.
 */
#include <stdio.h>
#include <string.h>

#include "declare.h"
#include "describe.h"
#include "values.h"

enum {
    longest_subject = 64,
    longest_user = 31,
    longest_target = 255,
    longest_list = 4000,
    most_order = 1000000
};

static const char *const operations[] = {"read",    "insert", "update", "delete",
                                         "confirm", "inform", "*",      NULL};

static const char *const effects[] = {"permit", "deny", NULL};
static const char *const effects_or_none[] = {"permit", "deny", "", NULL};

/* What names of users, and of those the gate knows, are made of. */
static int is_name(const char *text, size_t most)
{
    static const char letters[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._@+-";
    const size_t length = strlen(text);
    return length > 0 && length <= most && strspn(text, letters) == length;
}

static int is_subject(const char *value)
{
    static const char *const kinds[] = {"user:", "group:", "gate:", NULL};
    if (strcmp(value, "any") == 0) return 1;
    for (const char *const *kind = kinds; *kind != NULL; kind++) {
        const size_t length = strlen(*kind);
        if (strncmp(value, *kind, length) == 0) return is_name(value + length, longest_subject);
    }
    return 0;
}

/* A word without blanks, such as the name of a class or of an object. */
static int is_word(const char *text, size_t most)
{
    const size_t length = strlen(text);
    if (length == 0 || length > most) return 0;
    for (; *text != '\0'; text++)
        if ((unsigned char)*text <= ' ' || *text == 0x7f) return 0;
    return 1;
}

static int is_target(const char *value)
{
    static const char door[] = "inform:";
    if (strncmp(value, door, sizeof door - 1) == 0) value += sizeof door - 1;
    return is_word(value, longest_target) &&
           (strchr(value, '*') == NULL || strcmp(value, "*") == 0);
}

static int is_property(const char *word, void *data)
{
    (void)data;
    return !is_word(word, longest_target) || strchr(word, '*') != NULL;
}

static int is_properties(const char *value)
{
    if (strcmp(value, "*") == 0) return 1;
    return is_text(value) && strlen(value) <= longest_list &&
           for_each_word(value, is_property, NULL) == 0;
}

static int is_no_operation(const char *word, void *data)
{
    *(int *)data = 1;
    for (const char *const *each = operations; *each != NULL; each++)
        if (strcmp(word, *each) == 0) return 0;
    return 1;
}

static int is_operations(const char *value)
{
    int has_one = 0;
    return strlen(value) <= longest_list && for_each_word(value, is_no_operation, &has_one) == 0 &&
           has_one;
}

static int is_user_or_none(const char *value)
{
    return *value == '\0' || is_name(value, longest_user);
}

/* What the validity functions know beside, programs are told. */
static int accept_texts(vorn_class *rule)
{
    static const char *const all[] = {"*", "inform:*", NULL};
    static const char *const anybody[] = {"any", NULL};
    vorn_property *operation = vorn_class_get_property(rule, "operations");
    return vorn_property_accept_words(vorn_class_get_property(rule, "subject"), anybody) ||
           vorn_property_accept(vorn_class_get_property(rule, "subject"), VORN_INPUT_PHRASE) ||
           vorn_property_accept_words(vorn_class_get_property(rule, "class"), all) ||
           vorn_property_accept_name_of(vorn_class_get_property(rule, "class"), "schema-class") ||
           vorn_property_accept_text(vorn_class_get_property(rule, "properties"), 0,
                                     longest_list) ||
           vorn_property_accept_words(operation, operations) ||
           vorn_property_accept_list(operation, 1);
}

static int declare_rule(void)
{
    vorn_class *rule = declare_class("access-rule", VORN_CLASS_UNIQUE_NAMED);
    if (rule == NULL || declare_number(rule, "order", 0, most_order, 0) != 0 ||
        declare_needed(rule, "order") != 0 ||
        declare_required(rule, "subject", is_subject, "any|<user:NAME>|<group:NAME>|<gate:NAME>") !=
            0 ||
        declare_required(rule, "class", is_target, "*|<a class>|inform:*|<inform:OBJECT>") != 0 ||
        declare_setting(rule, "properties", is_properties,
                        "*|<names, with blanks between them>|<nothing>") != 0 ||
        declare_required(rule, "operations", is_operations,
                         "*|<some of read, insert, update, delete, confirm, inform>") != 0 ||
        declare_one_of(rule, "effect", effects) != 0 || declare_needed(rule, "effect") != 0 ||
        accept_texts(rule) != 0)
        return 1;
    describe_class(rule, "Access rule", "What somebody may do, or may not.", "Access", 600);
    describe(rule, "order", "Order", "Rules are looked at from the lowest number on.", "10");
    describe(rule, "subject", "Who", "A user, a group, or somebody whom the gate speaks for.",
             "gate:guest");
    describe(rule, "class", "Class",
             "Which instances it is about, or which object of the inform door.", "radio");
    describe(rule, "properties", "Properties", "Which values it is about; nothing for all.",
             "channel mode");
    describe(rule, "operations", "Operations", "What is to be done with them.", "read update");
    describe(rule, "effect", "Effect", "Whether that is permitted.", "permit");
    return vorn_classes_add(rule);
}

static int declare_default(void)
{
    vorn_class *usual = declare_class("access-default", VORN_CLASS_SINGLETON);
    if (usual == NULL || declare_one_of(usual, "read", effects_or_none) != 0 ||
        declare_one_of(usual, "write", effects_or_none) != 0 ||
        declare_setting(usual, "gate-user", is_user_or_none, "<a user>|<nothing>") != 0 ||
        vorn_property_accept(vorn_class_get_property(usual, "gate-user"), VORN_INPUT_PHRASE) != 0)
        return 1;
    describe_class(usual, "Access otherwise", "What holds where no rule is about it.", "Access",
                   610);
    describe(usual, "read", "Reading", "What of the rest may be read.", "permit");
    describe(usual, "write", "Changing", "What else of it may be done.", "deny");
    describe(usual, "gate-user", "User of the gate",
             "Whose processes may say for whom they speak; vorn-gate if nothing is said.",
             "vorn-gate");
    return vorn_classes_add(usual);
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;
    if (declare_rule() != 0 || declare_default() != 0)
        vorn_debug_eprintf("access: no memory for the classes of rules.\n");
}
