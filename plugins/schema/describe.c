/* SPDX-License-Identifier: MIT */
/*
 * From registered classes to instances that describe them. The registry answers questions about
 * flags only in print, in a format that it promises.
 */
#define _POSIX_C_SOURCE 200809L
#include "describe.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int print_class(const void *klass, FILE *stream)
{
    return vorn_class_print(klass, stream);
}

static int print_property(const void *property, FILE *stream)
{
    return vorn_property_print(property, stream);
}

/* What one of the two prints, the caller's; null when memory is gone. */
static char *printed(int (*print)(const void *, FILE *), const void *what)
{
    char *text = NULL;
    size_t length = 0;
    FILE *stream = open_memstream(&text, &length);
    if (stream == NULL) return NULL;
    const int failed = print(what, stream);
    if (fclose(stream) == 0 && !failed) return text;
    free(text);
    return NULL;
}

/* Ends the word at its first blank or line end. */
static char *first_word(char *text)
{
    text += strspn(text, " ");
    text[strcspn(text, " \n")] = '\0';
    return text;
}

static const char *yes_or_no(int flag)
{
    return flag ? "yes" : "no";
}

/* Makes the instance and gives it values, names and texts by turns; a null text is left out. */
static int add_instance(vorn_instances *store, const char *class_name, const char *name,
                        const char *const values[])
{
    vorn_instance *instance = vorn_instance_new(vorn_classes_get(class_name), name);
    if (instance == NULL) return 1;
    int failed = 0;
    for (; *values != NULL && !failed; values += 2) {
        if (values[1] != NULL) failed = vorn_instance_set_value(instance, values[0], values[1]);
    }
    if (!failed && vorn_instances_add(store, instance) == 0) return 0;
    vorn_instance_delete(instance);
    return 1;
}

/*
 * "Property: NAME rwip", the name in as many columns as it takes. The name is what the flags
 * leave.
 */
static int describe_property(vorn_instances *store, const char *class_name,
                             const vorn_property *property, int inherited)
{
    static const char head[] = "Property: ";
    char *text = printed(print_property, property);
    const size_t length = text != NULL ? strlen(text) : 0;
    if (length < sizeof head + 4) {
        free(text);
        return 1;
    }
    const char *flags = text + length - 4;
    text[length - 5] = '\0';
    const char *const values[] = {"property",   first_word(text + sizeof head - 1),
                                  "readable",   yes_or_no(flags[0] == 'r'),
                                  "writable",   yes_or_no(flags[1] == 'w'),
                                  "required",   yes_or_no(flags[2] == 'i'),
                                  "persistent", yes_or_no(flags[3] == 'p'),
                                  "inherited",  yes_or_no(inherited),
                                  "references", vorn_property_get_reference(property),
                                  "secret",     yes_or_no(vorn_property_is_secret(property)),
                                  "valid",      vorn_property_get_syntax(property),
                                  NULL};
    const int failed = add_instance(store, SCHEMA_PROPERTY, class_name, values);
    free(text);
    return failed;
}

static int describe_properties(vorn_instances *store, const char *class_name,
                               const vorn_class *klass)
{
    int inherited = -vorn_class_get_properties(klass);
    vorn_class_property_iterator *walk = vorn_class_new_property_iterator(klass);
    if (walk == NULL) return 1;
    while (vorn_class_property_iterator_next(walk) != NULL)
        inherited++;
    vorn_class_delete_property_iterator(walk);

    walk = vorn_class_new_property_iterator(klass);
    int failed = walk == NULL;
    while (!failed && vorn_class_property_iterator_has_next(walk)) {
        failed = describe_property(store, class_name, vorn_class_property_iterator_next(walk),
                                   inherited > 0);
        inherited--;
    }
    vorn_class_delete_property_iterator(walk);
    return failed;
}

/* The rest of the line that begins so, or null. Lines of properties are indented. */
static char *find_line(char *text, const char *head)
{
    for (char *line = text; line != NULL; line = strchr(line, '\n')) {
        line += *line == '\n';
        if (strncmp(line, head, strlen(head)) == 0) return line + strlen(head);
    }
    return NULL;
}

static int describe_class(vorn_instances *store, vorn_class *klass)
{
    char *text = printed(print_class, klass);
    if (text == NULL) return 1;

    char *type = strstr(text, " Type: ") + sizeof " Type: " - 1;
    char *persistence = strstr(type, " Persistence: ") + sizeof " Persistence: " - 1;
    char *identifier = find_line(text, "Abstract class - subclass identifier: ");
    char *superclass = find_line(text, "Superclass: ");
    char *name = first_word(text + sizeof "Class: " - 1);
    const char *const values[] = {"type",
                                  first_word(type),
                                  "persistent",
                                  yes_or_no(strtol(persistence, NULL, 10) != 0),
                                  "abstract",
                                  yes_or_no(identifier != NULL),
                                  "superclass",
                                  superclass != NULL ? first_word(superclass) : NULL,
                                  "subclass-identifier",
                                  identifier != NULL ? first_word(identifier) : NULL,
                                  NULL};
    const int failed =
        add_instance(store, SCHEMA_CLASS, name, values) || describe_properties(store, name, klass);
    free(text);
    return failed;
}

vorn_instances *describe_registry(void)
{
    vorn_instances *store = vorn_instances_new();
    vorn_classes_iterator *walk = vorn_classes_new_iterator();
    int failed = store == NULL || walk == NULL;
    while (!failed && vorn_classes_iterator_has_next(walk))
        failed = describe_class(store, vorn_classes_iterator_next(walk));
    vorn_classes_delete_iterator(walk);
    if (!failed) return store;
    if (store != NULL) vorn_instances_delete_all(store);
    return NULL;
}
