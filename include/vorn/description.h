/* SPDX-License-Identifier: MIT */
#ifndef VORN_DESCRIPTION_H
#define VORN_DESCRIPTION_H

#include "vorn/api.h"
#include "vorn/class.h"
#include "vorn/input.h"
#include "vorn/property.h"

/**
 * What a plugin tells of its classes and properties, for people who see them and for programs that
 * make a page or a help of it:
 *
 *     vorn_property *mtu = vorn_property_new("mtu");
 *     vorn_property_accept_number(mtu, 68, 65535, 1);
 *     vorn_property_set_label(mtu, "Largest packet");
 *     vorn_property_set_help(mtu, "How long a packet may be; 1500 on most networks.");
 *     vorn_property_set_unit(mtu, "bytes");
 *     vorn_property_set_example(mtu, "1500");
 *
 * Setters return 0, or 1 and leave everything as it was: for a null class or property ("Null
 * property.\n"), for a null text (such as "Null label.\n"), for one of more than 65,534 bytes
 * ("Too long a description.\n") and, without a message, when memory is gone. Messages are logged at
 * debug level 1. Texts are copied. A text that a getter returned is the property's or the class's,
 * and gone as soon as anything is told of it anew. Getters return null, or 0, for what was not
 * told.
 *
 * What is told of a class does not go over to a clone of it; a cloned property has it all.
 */

VORN_BEGIN

/* For people. */

/** A short name, in sentence case: "Largest packet". */
VORN_API int vorn_property_set_label(vorn_property *property, const char *label);
/** What was told so; null for nothing. */
VORN_API const char *vorn_property_get_label(const vorn_property *property);

/** What it is for, in a sentence or two. */
VORN_API int vorn_property_set_help(vorn_property *property, const char *help);
/** What was told so; null for nothing. */
VORN_API const char *vorn_property_get_help(const vorn_property *property);

/** What its number counts: "seconds", "dBm". */
VORN_API int vorn_property_set_unit(vorn_property *property, const char *unit);
/** What was told so; null for nothing. */
VORN_API const char *vorn_property_get_unit(const vorn_property *property);

/** A valid value as somebody may have it. */
VORN_API int vorn_property_set_example(vorn_property *property, const char *example);
/** What was told so; null for nothing. */
VORN_API const char *vorn_property_get_example(const vorn_property *property);

/** The heading below which it stands on a page. */
VORN_API int vorn_property_set_group(vorn_property *property, const char *group);
/** What was told so; null for nothing. */
VORN_API const char *vorn_property_get_group(const vorn_property *property);

/** Its place among the others of the page, from the least on; 0 takes it back. */
VORN_API int vorn_property_set_order(vorn_property *property, int order);
/** What was told so; 0 for nothing. */
VORN_API int vorn_property_get_order(const vorn_property *property);

/** A short name for its instances: "Bridge". */
VORN_API int vorn_class_set_label(vorn_class *klass, const char *label);
/** What was told so; null for nothing. */
VORN_API const char *vorn_class_get_label(const vorn_class *klass);
/** What its instances are, in a sentence or two. */
VORN_API int vorn_class_set_help(vorn_class *klass, const char *help);
/** What was told so; null for nothing. */
VORN_API const char *vorn_class_get_help(const vorn_class *klass);
/** The heading below which it stands on a page of all classes. */
VORN_API int vorn_class_set_group(vorn_class *klass, const char *group);
/** What was told so; null for nothing. */
VORN_API const char *vorn_class_get_group(const vorn_class *klass);
/** Its place among the other classes, from the least on; 0 takes it back. */
VORN_API int vorn_class_set_order(vorn_class *klass, int order);
/** What was told so; 0 for nothing. */
VORN_API int vorn_class_get_order(const vorn_class *klass);

/*
 * What is acceptable. Each call adds alternatives. A value is valid when one of them takes it and
 * the validity function does, where there is one; with alternatives, a property needs none. So what
 * programs are told is what is judged.
 */

/** One of the words of a null-terminated list, which may hold the empty text. No words at all are
 * refused: "No words.\n". */
VORN_API int vorn_property_accept_words(vorn_property *property, const char *const words[]);

/**
 * A number between from and to, both included, that is from or some steps above it, as
 * vorn_input_is_plain_int_in_steps has it. Refused: from above to, and a step below 1
 * ("Bad range.\n").
 */
VORN_API int vorn_property_accept_number(vorn_property *property, int from, int to, int step);

/**
 * A text of so many characters, as vorn_input_is_text has it. Refused: a negative minimum, and one
 * above the maximum ("Bad range.\n").
 */
VORN_API int vorn_property_accept_text(vorn_property *property, int fewest, int most);

/**
 * The name of an instance of the class, which vorn_property_set_reference is told, too. Any text
 * but the empty one is taken; whether there is such an instance is up to the plugin (see
 * check_info.h).
 */
VORN_API int vorn_property_accept_name_of(vorn_property *property, const char *class_name);

/**
 * What one of these validators takes: VORN_INPUT_ values of input.h, several with "|" between them.
 * Refused: none, and what is no such value ("Bad kinds.\n").
 */
VORN_API int vorn_property_accept(vorn_property *property, int kinds);

/**
 * One of the numbers of the set, in digits, zeros before them allowed as vorn_input_is_int_in_set
 * has it, but no blanks and no "+"; the set stays the caller's. For many in a row
 * vorn_property_accept_number says it shorter. Refused: an empty set ("No numbers.\n").
 */
VORN_API int vorn_property_accept_numbers(vorn_property *property, const vorn_input_set *set);

/**
 * A number with or without a fraction between from and to, both included, as
 * vorn_input_is_plain_double_in_range has it. Refused: from above to, and what is no number or
 * infinite ("Bad range.\n").
 */
VORN_API int vorn_property_accept_real(vorn_property *property, double from, double to);

/**
 * So many characters of the ranges, which are written as for vorn_input_is_string_in_ranges with a
 * null byte at their end: "09AFaf". Refused: ranges that are empty, upside down or of anything but
 * printable ASCII ("Bad ranges.\n"), a negative minimum, and one above the maximum
 * ("Bad range.\n").
 */
VORN_API int vorn_property_accept_characters(vorn_property *property, const char *ranges,
                                             int fewest, int most);

/**
 * A channel of the mode in the regulatory domain, as vorn_input_is_channel has it, but for blanks
 * and a "+" before it. It is told as the words or numbers that these channels are. Refused where
 * there is none: "No channels.\n".
 */
VORN_API int vorn_property_accept_channel(vorn_property *property, const char *mode, int domain);

/**
 * A WEP key, as vorn_input_is_wep_key has it. It is told as so many characters. Refused: another
 * number of bits than 40, 104 or 128 ("Bad length of a key.\n").
 */
VORN_API int vorn_property_accept_wep_key(vorn_property *property, int bits, int ascii);

/**
 * The value is a list (non-zero): words with blanks between them, of which each has to be taken by
 * an alternative. No words at all are a list, too.
 */
VORN_API int vorn_property_accept_list(vorn_property *property, int flag);
/** Whether the value is a list: 1 or 0. */
VORN_API int vorn_property_is_list(const vorn_property *property);

/** What vorn_property_get_alternative_kind answers. */
enum {
    VORN_ACCEPTS_NOTHING = 0, /**< there is no such alternative */
    VORN_ACCEPTS_WORDS = 1,
    VORN_ACCEPTS_NUMBER = 2,
    VORN_ACCEPTS_TEXT = 3,
    VORN_ACCEPTS_NAME = 4,
    VORN_ACCEPTS_INPUT = 5,
    VORN_ACCEPTS_REAL = 6,
    VORN_ACCEPTS_CHARACTERS = 7,
    VORN_ACCEPTS_NUMERALS = 8 /**< certain numbers; each is a word, too */
};

/** How many alternatives were added: one for each call. */
VORN_API int vorn_property_get_alternatives(const vorn_property *property);

/**
 * What the alternative of that number, from 0 on, is: what the call that added it says of itself.
 */
VORN_API int vorn_property_get_alternative_kind(const vorn_property *property, int alternative);

/** The word of that number, from 0 on; of a name the class, of characters the ranges. Null after
 * the last. */
VORN_API const char *vorn_property_get_alternative_word(const vorn_property *property,
                                                        int alternative, int word);

/**
 * The number of that place: of a number 0 from, 1 to, 2 step; of a text and of characters 0
 * fewest, 1 most; of inputs 0 the kinds. 0 for any other.
 */
VORN_API int vorn_property_get_alternative_number(const vorn_property *property, int alternative,
                                                  int place);

/** Of a real number: 0 from, 1 to. 0 for any other. */
VORN_API double vorn_property_get_alternative_real(const vorn_property *property, int alternative,
                                                   int place);

VORN_END

#endif
