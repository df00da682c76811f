/* SPDX-License-Identifier: MIT */
/* What a property accepts: for programs in JSON, for people in a few words. */
#include "accepts.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define NUMBER(from, to, step) "\"number\",\"from\":" from ",\"to\":" to ",\"step\":" step

/*
 * How each kind of input is told. What only the daemon's own way of reading makes of a word or a
 * number, such as a sign before it, is not told: a program has no reason to write that. The texts
 * are arrays, so that no process has a copy of its own of them, as of pointers it would have.
 */
static const struct input {
    char json[88]; /* after "kind": */
    char one[60];  /* as a syntax has it */
    char many[40]; /* "<NAMES with blanks between them>" */
} inputs[] = {
    {"\"nothing\"", "<nothing>", "nothing"},
    {"\"word\"", "<letters, digits, hyphens and apostrophes>", "words"},
    {"\"phrase\"", "<printable ASCII>", "words of ASCII"},
    {"\"words\",\"words\":[\"yes\",\"no\"]", "yes|no", "yes and no"},
    {"\"words\",\"words\":[\"on\",\"off\"]", "on|off", "on and off"},
    {"\"words\",\"words\":[\"up\",\"down\"]", "up|down", "up and down"},
    {"\"interface\"", "<up to 16 characters>", "words of up to 16 characters"},
    {"\"ssid\"", "<1 to 32 bytes, of which letters beyond ASCII take several>",
     "names of networks"},
    {"\"words\",\"words\":[\"a\",\"b\",\"g\",\"turbo-a\",\"dynamic-turbo-a\",\"turbo-g\","
     "\"dynamic-turbo-g\"]",
     "a|b|g|turbo-a|dynamic-turbo-a|turbo-g|dynamic-turbo-g", "modes of radios"},
    {NUMBER("-2147483648", "2147483647", "1"), "<a number>", "numbers"},
    {NUMBER("1", "2147483647", "1"), "<a number from 1 on>", "numbers from 1 on"},
    {NUMBER("0", "2147483647", "1"), "<a number from 0 on>", "numbers from 0 on"},
    {NUMBER("0", "100", "1"), "<0 to 100>", "numbers from 0 to 100"},
    {NUMBER("-2147483648", "2147483646", "2"), "<an even number>", "even numbers"},
    {"\"mac\"", "<a MAC address such as 00:11:22:33:44:55>", "MAC addresses"},
    {"\"ip\"", "<an IPv4 address>", "IPv4 addresses"},
    {"\"domain-label\"", "<1 to 63 letters, digits and inner hyphens>", "names of hosts"},
    {"\"domain-name\"", "<a domain name>", "domain names"},
    {"\"ip-or-domain-name\"", "<an IPv4 address>|<a host name>", "IPv4 addresses or host names"},
    {"\"ip\",\"plain\":true", "<an IPv4 address>", "IPv4 addresses"},
    {"\"ip-or-domain-name\",\"plain\":true", "<an IPv4 address>|<a host name>",
     "IPv4 addresses or host names"},
    {"\"ip\",\"plain\":true,\"of\":\"host\"", "<a host's IPv4 address>", "IPv4 addresses of hosts"},
    {"\"ip\",\"plain\":true,\"of\":\"netmask\"", "<a netmask such as 255.255.255.0>", "netmasks"},
    {"\"interface\",\"plain\":true", "<the name of an interface>", "names of interfaces"},
    {"\"words\",\"numerals\":true,\"words\":[\"6\",\"9\",\"12\",\"18\",\"24\",\"36\",\"48\","
     "\"54\"]",
     "6|9|12|18|24|36|48|54", "rates in Mbit/s"},
    {"\"words\",\"words\":[\"1\",\"2\",\"5.5\",\"11\"]", "1|2|5.5|11", "rates in Mbit/s"},
    {"\"words\",\"words\":[\"1\",\"2\",\"5.5\",\"6\",\"9\",\"11\",\"12\",\"18\",\"24\",\"36\","
     "\"48\",\"54\"]",
     "1|2|5.5|6|9|11|12|18|24|36|48|54", "rates in Mbit/s"},
    {"\"words\",\"numerals\":true,\"words\":[\"12\",\"18\",\"24\",\"36\",\"48\",\"72\",\"96\","
     "\"108\"]",
     "12|18|24|36|48|72|96|108", "rates in Mbit/s"},
    {"\"words\",\"words\":[\"40\",\"104\",\"128\"]", "40|104|128", "lengths of keys"},
    {"\"wpa-psk-key\"", "<8 to 63 characters of ASCII>", "keys"},
    {"\"network\"", "<a network such as 10.1.0.0/16>", "networks"},
};

enum { input_count = sizeof inputs / sizeof *inputs };

/* What is told of one property, and how far it is. */
struct telling {
    FILE *file;
    const vorn_property *property;
    int is_list;
    int count;
};

static int number_of(const struct telling *told, int alternative, int place)
{
    return vorn_property_get_alternative_number(told->property, alternative, place);
}

static const char *word_of(const struct telling *told, int alternative, int word)
{
    return vorn_property_get_alternative_word(told->property, alternative, word);
}

/* The empty text comes last of one alternative, as people say it. */
static void for_each_input(struct telling *told, int kinds,
                           void (*tell)(struct telling *told, const struct input *input))
{
    for (int i = 1; i <= input_count; i++)
        if (kinds >> i % input_count & 1) tell(told, &inputs[i % input_count]);
}

static void quote(FILE *file, const char *text)
{
    fputc('"', file);
    for (; *text != '\0'; text++) {
        const unsigned char each = (unsigned char)*text;
        if (each < ' ') {
            fprintf(file, "\\u%04x", each);
            continue;
        }
        if (each == '"' || each == '\\') fputc('\\', file);
        fputc(each, file);
    }
    fputc('"', file);
}

static void open_alternative(struct telling *told)
{
    fprintf(told->file, "%s{%s\"kind\":", told->count++ > 0 ? "," : "",
            told->is_list ? "\"list\":true," : "");
}

static void json_of_input(struct telling *told, const struct input *input)
{
    open_alternative(told);
    fprintf(told->file, "%s}", input->json);
}

/* Of numbers each may have zeros before it. */
static void json_of_words(struct telling *told, int alternative, const char *flag)
{
    fprintf(told->file, "\"words\",%s\"words\":[", flag);
    for (int i = 0; word_of(told, alternative, i) != NULL; i++) {
        if (i > 0) fputc(',', told->file);
        quote(told->file, word_of(told, alternative, i));
    }
    fputs("]}", told->file);
}

static double real_of(const struct telling *told, int alternative, int place)
{
    return vorn_property_get_alternative_real(told->property, alternative, place);
}

/* As a C locale has it, which the daemon's is: no exponent for what people would not write so. */
static void json_of_real(struct telling *told, int alternative)
{
    fprintf(told->file, "\"real\",\"from\":%.15g,\"to\":%.15g}", real_of(told, alternative, 0),
            real_of(told, alternative, 1));
}

static void json_of_characters(struct telling *told, int alternative)
{
    fputs("\"characters\",\"ranges\":", told->file);
    quote(told->file, word_of(told, alternative, 0));
    fprintf(told->file, ",\"min\":%d,\"max\":%d}", number_of(told, alternative, 0),
            number_of(told, alternative, 1));
}

static void json_of(struct telling *told, int alternative)
{
    const int kind = vorn_property_get_alternative_kind(told->property, alternative);
    if (kind == VORN_ACCEPTS_INPUT) {
        for_each_input(told, number_of(told, alternative, 0), json_of_input);
        return;
    }
    open_alternative(told);
    if (kind == VORN_ACCEPTS_WORDS) {
        json_of_words(told, alternative, "");
    } else if (kind == VORN_ACCEPTS_NUMERALS) {
        json_of_words(told, alternative, "\"numerals\":true,");
    } else if (kind == VORN_ACCEPTS_NUMBER) {
        fprintf(told->file, NUMBER("%d", "%d", "%d") "}", number_of(told, alternative, 0),
                number_of(told, alternative, 1), number_of(told, alternative, 2));
    } else if (kind == VORN_ACCEPTS_REAL) {
        json_of_real(told, alternative);
    } else if (kind == VORN_ACCEPTS_CHARACTERS) {
        json_of_characters(told, alternative);
    } else if (kind == VORN_ACCEPTS_TEXT) {
        fprintf(told->file, "\"text\",\"min\":%d,\"max\":%d}", number_of(told, alternative, 0),
                number_of(told, alternative, 1));
    } else {
        fputs("\"name\",\"class\":", told->file);
        quote(told->file, word_of(told, alternative, 0));
        fputc('}', told->file);
    }
}

static const char *before_next(struct telling *told)
{
    return told->count++ > 0 ? "|" : "";
}

static void syntax_of_input(struct telling *told, const struct input *input)
{
    if (told->is_list) {
        fprintf(told->file, "%s<%s with blanks between them>", before_next(told), input->many);
    } else {
        fprintf(told->file, "%s%s", before_next(told), input->one);
    }
}

static void syntax_of_words(struct telling *told, int alternative)
{
    for (int i = 0; word_of(told, alternative, i) != NULL; i++) {
        const char *word = word_of(told, alternative, i);
        fprintf(told->file, "%s%s", before_next(told), *word != '\0' ? word : "<nothing>");
    }
}

/* A class's name is what people call its instances, but for the hyphens. */
static void syntax_of_name(struct telling *told, const char *class_name)
{
    const int has_vowel = *class_name != '\0' && strchr("aeiou", *class_name) != NULL;
    fprintf(told->file, "%s<%s", before_next(told),
            told->is_list ? "names of "
            : has_vowel   ? "the name of an "
                          : "the name of a ");
    for (const char *each = class_name; *each != '\0'; each++)
        fputc(*each == '-' ? ' ' : *each, told->file);
    fputs(told->is_list ? "s with blanks between them>" : ">", told->file);
}

static void syntax_of_number(struct telling *told, int alternative)
{
    const int step = number_of(told, alternative, 2);
    fprintf(told->file, "%s<%d to %d", before_next(told), number_of(told, alternative, 0),
            number_of(told, alternative, 1));
    if (step != 1) fprintf(told->file, " in steps of %d", step);
    fputc('>', told->file);
}

static void syntax_of_length(struct telling *told, int alternative)
{
    const int least = number_of(told, alternative, 0);
    const int most = number_of(told, alternative, 1);
    fputs(before_next(told), told->file);
    if (least == 0) {
        fputs("<up to ", told->file);
    } else if (least < most) {
        fprintf(told->file, "<%d to ", least);
    } else {
        fputs("<", told->file);
    }
    fprintf(told->file, "%d characters", most);
}

static void syntax_of_text(struct telling *told, int alternative)
{
    syntax_of_length(told, alternative);
    fputs(", none of them a control character>", told->file);
}

/* "a-f" for a range, and a single character by itself; none that means something in a syntax. */
static void syntax_of_characters(struct telling *told, int alternative)
{
    const char *ranges = word_of(told, alternative, 0);
    syntax_of_length(told, alternative);
    if (strpbrk(ranges, " <>|") != NULL) {
        fputs(strcmp(ranges, " ~") == 0 ? " of ASCII>" : ", certain ones of ASCII>", told->file);
        return;
    }
    fputs(" of", told->file);
    for (; *ranges != '\0'; ranges += 2) {
        fprintf(told->file, " %c", ranges[0]);
        if (ranges[1] != ranges[0]) fprintf(told->file, "-%c", ranges[1]);
    }
    fputc('>', told->file);
}

static void syntax_of_real(struct telling *told, int alternative)
{
    fprintf(told->file, "%s<%.15g to %.15g, with a fraction or without>", before_next(told),
            real_of(told, alternative, 0), real_of(told, alternative, 1));
}

static void syntax_of(struct telling *told, int alternative)
{
    const int kind = vorn_property_get_alternative_kind(told->property, alternative);
    if (kind == VORN_ACCEPTS_INPUT)
        for_each_input(told, number_of(told, alternative, 0), syntax_of_input);
    if (kind == VORN_ACCEPTS_WORDS || kind == VORN_ACCEPTS_NUMERALS)
        syntax_of_words(told, alternative);
    if (kind == VORN_ACCEPTS_NUMBER) syntax_of_number(told, alternative);
    if (kind == VORN_ACCEPTS_TEXT) syntax_of_text(told, alternative);
    if (kind == VORN_ACCEPTS_REAL) syntax_of_real(told, alternative);
    if (kind == VORN_ACCEPTS_CHARACTERS) syntax_of_characters(told, alternative);
    if (kind == VORN_ACCEPTS_NAME) syntax_of_name(told, word_of(told, alternative, 0));
}

static char *text_of(const vorn_property *property, const char *begin, const char *end,
                     void (*tell)(struct telling *told, int alternative))
{
    char *text = NULL;
    size_t size = 0;
    struct telling told = {open_memstream(&text, &size), property, vorn_property_is_list(property),
                           0};
    if (told.file == NULL) return NULL;
    fputs(begin, told.file);
    for (int i = 0; i < vorn_property_get_alternatives(property); i++)
        tell(&told, i);
    fputs(end, told.file);
    const int failed = ferror(told.file) != 0;
    if (fclose(told.file) == 0 && !failed) return text;
    free(text);
    return NULL;
}

char *accepts_as_json(const vorn_property *property)
{
    return text_of(property, "[", "]", json_of);
}

char *accepts_as_syntax(const vorn_property *property)
{
    return text_of(property, "", "", syntax_of);
}
