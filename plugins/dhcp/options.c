/* SPDX-License-Identifier: MIT */
/*
 * What else is told to those who get an address. dnsmasq guesses from a value what it is, so that a
 * text of digits would become a number: here each option says it, and its line leaves no choice.
 */
#include "options.h"

#include <ctype.h>
#include <stdlib.h>
#include <string.h>

#include "declare.h"
#include "describe.h"
#include "values.h"

static const char class_name[] = "dhcp-option";

enum { longest_value = 255, most_bytes = 80 };

static const char *const kinds[] = {"addresses", "text",        "number8", "number16",
                                    "number32",  "hexadecimal", NULL};

static int is_no_address(const char *word, void *data)
{
    (void)data;
    return !is_plain_address(word);
}

static int are_addresses(const char *value)
{
    return value[strspn(value, " ")] != '\0' && for_each_word(value, is_no_address, NULL) == 0;
}

/* Within quotation marks in dnsmasq's file. */
static int is_quotable(const char *value)
{
    return *value != '\0' && strpbrk(value, "\"\\") == NULL;
}

static int is_number(const char *value, unsigned long most)
{
    return *value != '\0' && strlen(value) <= 10 && value[strspn(value, "0123456789")] == '\0' &&
           strtoull(value, NULL, 10) <= most;
}

static int is_number8(const char *value)
{
    return is_number(value, 0xff);
}

static int is_number16(const char *value)
{
    return is_number(value, 0xffff);
}

static int is_number32(const char *value)
{
    return is_number(value, 0xffffffff);
}

/* One byte alone would be a number to dnsmasq. */
static int are_bytes(const char *value)
{
    size_t bytes = 0;
    while (isxdigit((unsigned char)value[0]) && isxdigit((unsigned char)value[1])) {
        bytes++;
        value += 2;
        if (*value != ':') break;
        value++;
    }
    return *value == '\0' && value[-1] != ':' && bytes >= 2 && bytes <= most_bytes;
}

/* In the order of the words. */
static const struct form {
    int (*fits)(const char *value);
    const char *refusal;
    const char *suffix; /* how many bytes a number has */
} forms[] = {
    {are_addresses, "it is no list of IP addresses with blanks between them", ""},
    {is_quotable, "it is no text without quotation marks and backslashes", ""},
    {is_number8, "it is no number up to 255", "b"},
    {is_number16, "it is no number up to 65535", "s"},
    {is_number32, "it is no number up to 4294967295", "i"},
    {are_bytes, "it is no two to 80 bytes, such as 01:0a:ff", ""},
};

static const struct form *form_of(const vorn_instance *option)
{
    const char *kind = value_of(option, "kind");
    size_t i = 0;
    while (kinds[i] != NULL && strcmp(kinds[i], kind) != 0)
        i++;
    return kinds[i] != NULL ? &forms[i] : NULL;
}

static const struct taken {
    int first;
    int last;
    const char *by;
} taken[] = {
    {1, 1, "the pool's netmask"},      {3, 3, "the pool's gateway"},
    {6, 6, "the pool's dns-server"},   {50, 50, "the protocol"},
    {51, 51, "the pool's lease-time"}, {52, 57, "the protocol"},
    {61, 61, "the protocol"},          {82, 82, "the protocol"},
};

static const struct taken *find_taken(const vorn_instance *option)
{
    const int code = (int)strtol(value_of(option, "code"), NULL, 10);
    for (size_t i = 0; i < sizeof taken / sizeof *taken; i++)
        if (code >= taken[i].first && code <= taken[i].last) return &taken[i];
    return NULL;
}

/* What dnsmasq takes for nothing else: it would not start. */
static int is_of_addresses(const vorn_instance *option)
{
    static const unsigned char codes[] = {7,  9,  16, 21, 28, 32, 33, 41, 42, 44,
                                          45, 48, 49, 65, 68, 69, 70, 71, 74, 150};
    return memchr(codes, (int)strtol(value_of(option, "code"), NULL, 10), sizeof codes) != NULL;
}

static int is_same(const vorn_instance *left, const vorn_instance *right)
{
    return strtol(value_of(left, "code"), NULL, 10) == strtol(value_of(right, "code"), NULL, 10) &&
           strcmp(value_of(left, "pool"), value_of(right, "pool")) == 0;
}

/* Of two the earlier one is told. */
static const vorn_instance *find_earlier(const vorn_instances *configuration,
                                         const vorn_instance *option)
{
    const vorn_instance *found = NULL;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    while (walk != NULL && found == NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (each == option) break;
        if (is_same(each, option)) found = each;
    }
    vorn_instances_delete_iterator(walk);
    return found;
}

/* -1 when there is none of that name. */
static int number_of_pool(const vorn_instances *configuration, const char *name)
{
    int number = -1;
    int at = 0;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "dhcp-pool");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *pool = vorn_instances_iterator_next(walk);
        if (strcmp(vorn_instance_get_name(pool), name) == 0) number = at;
        at++;
    }
    vorn_instances_delete_iterator(walk);
    return number;
}

int options_judge(const vorn_instances *configuration, const vorn_instance *option, fault *found)
{
    const char *pool = value_of(option, "pool");
    const struct taken *is_taken = find_taken(option);
    const struct form *form = form_of(option);
    if (*pool != '\0' && number_of_pool(configuration, pool) < 0)
        return fault_is(found, "pool", "there is no dhcp-pool \"%.64s\"", pool);
    if (is_taken != NULL) return fault_is(found, "code", "it is set by %s", is_taken->by);
    if (is_of_addresses(option) && form != NULL && form->fits != are_addresses)
        return fault_is(found, "kind", "option %s has addresses", value_of(option, "code"));
    if (form == NULL || !form->fits(value_of(option, "value")))
        return fault_is(found, "value", "%s", form != NULL ? form->refusal : "it has no kind");
    const vorn_instance *other = find_earlier(configuration, option);
    if (other == NULL) return 0;
    return fault_is(found, "code", "the option \"%.64s\" tells it to the same ones",
                    vorn_instance_get_name(other));
}

static int write_word(const char *word, void *data)
{
    fprintf(data, ",%s", word);
    return 0;
}

void options_write(FILE *file, const vorn_instances *configuration, const vorn_instance *option,
                   int number)
{
    const char *pool = value_of(option, "pool");
    const char *value = value_of(option, "value");
    const struct form *form = form_of(option);
    if (form == NULL) return;
    fputs("dhcp-option=", file);
    if (*pool != '\0') fprintf(file, "tag:pool%d,", number_of_pool(configuration, pool));
    fputs(value_of(option, "code"), file);
    if (form->fits == are_addresses) {
        for_each_word(value, write_word, file);
    } else if (form->fits == is_quotable) {
        fprintf(file, ",\"%s\"", value);
    } else {
        fprintf(file, ",%s%s", value, form->suffix);
    }
    fprintf(file, OPTION_MARK "%d\n", number);
}

int options_declare(void)
{
    vorn_class *option = declare_class(class_name, VORN_CLASS_UNIQUE_NAMED);
    if (option == NULL) return 1;
    describe_class(option, "DHCP option", "What else is told to those who get an address.",
                   "Services", 425);
    declare_name(option, "pool", "dhcp-pool", NULL, VORN_INPUT_NOTHING);
    describe(option, "pool", "Pool",
             "Who is told: those of that pool; of every one if it isn't set.", "lan");
    declare_number(option, "code", 1, 254, 0);
    declare_needed(option, "code");
    describe(option, "code", "Number", "The option's, such as 42 for time servers.", "42");
    declare_one_of(option, "kind", kinds);
    declare_needed(option, "kind");
    describe(option, "kind", "Kind", "What the value is.", "addresses");
    declare_characters(option, "value", " ~", 1, longest_value);
    declare_needed(option, "value");
    describe(
        option, "value", "Value",
        "By its kind: addresses with blanks between them, a text, a number of 8, 16 or 32 bits, "
        "or two bytes and more as 01:0a:ff.",
        "192.168.1.1");
    declare_state(option, "state");
    describe(option, "state", "State", "Whether it is told, or why not.", NULL);
    return vorn_classes_add(option);
}
