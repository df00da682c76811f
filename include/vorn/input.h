/* SPDX-License-Identifier: MIT */
#ifndef VORN_INPUT_H
#define VORN_INPUT_H

#include "vorn/api.h"

/**
 * Is this text acceptable? Predicates that plugins use inside the validity functions of their
 * properties. Each takes the value and its length in bytes first and answers 1 when the value is
 * acceptable, 0 when not. The length decides, not the terminating NUL. Characters are unsigned
 * bytes. Nothing is logged and nothing is kept.
 *
 * A property's validity function has the text alone:
 *
 *     static int is_mtu(const char *value)
 *     {
 *         return vorn_input_is_int_in_range(value, (int)strlen(value), 68, 65535);
 *     }
 */

VORN_BEGIN

/* Sets. */

/** A set of integers, most often characters. Made below, freed with vorn_input_free_set. */
typedef struct vorn_input_set vorn_input_set;

/** A set of the given number of characters, in order. Null when out of memory. */
VORN_API vorn_input_set *vorn_input_new_string_set(const char *characters, int count);

/**
 * A new set: the previous set's entries (none for null), then every integer from low to high. The
 * previous set is left alone. Null when out of memory.
 */
VORN_API vorn_input_set *vorn_input_get_set_from_range(int low, int high,
                                                       const vorn_input_set *previous);

/** Frees a set; null is ignored. */
VORN_API void vorn_input_free_set(vorn_input_set *set);

/** Every byte is an entry of the set. An empty value is acceptable. */
VORN_API int vorn_input_is_string_in_set(const char *value, int length, const vorn_input_set *set);

/** Every byte lies between low and high, both taken modulo 256. */
VORN_API int vorn_input_is_string_in_range(const char *value, int length, int low, int high);

/**
 * Every byte lies in one of the ranges. They are written as pairs of first and last character:
 * "09AZ--" is digits, capitals and the hyphen, three pairs.
 */
VORN_API int vorn_input_is_string_in_ranges(const char *value, int length, const char *ranges,
                                            int pairs);

/** The value is one of the strings of a null-terminated list. A null value or list is not. */
VORN_API int vorn_input_is_string_in_array(const char *value, int length,
                                           const char *const strings[]);

/* Texts. */

/** Letters, digits, hyphens and apostrophes; may be empty. */
VORN_API int vorn_input_is_word(const char *value, int length);
/** Printable ASCII; may be empty. */
VORN_API int vorn_input_is_phrase(const char *value, int length);
/** "yes" or "no". */
VORN_API int vorn_input_is_yes_no(const char *value, int length);
/** "on" or "off". */
VORN_API int vorn_input_is_on_off(const char *value, int length);
/** "up" or "down". */
VORN_API int vorn_input_is_up_down(const char *value, int length);
/** Anything shorter than 17 bytes, nothing at all included. */
VORN_API int vorn_input_is_interface(const char *value, int length);
/** 1 to 32 bytes of anything. */
VORN_API int vorn_input_is_ssid(const char *value, int length);
/** A radio mode: "a", "b", "g", "turbo-a", "dynamic-turbo-a", "turbo-g", "dynamic-turbo-g". */
VORN_API int vorn_input_is_mode(const char *value, int length);

/* Numbers: base 10, leading blanks and a sign allowed, within 32 bits. */

/** Any integer. */
VORN_API int vorn_input_is_int(const char *value, int length);
/** An integer that is a member of the set. */
VORN_API int vorn_input_is_int_in_set(const char *value, int length, const vorn_input_set *set);
/** An integer between low and high, both included. */
VORN_API int vorn_input_is_int_in_range(const char *value, int length, int low, int high);
/** 1 and above. */
VORN_API int vorn_input_is_positive_int(const char *value, int length);
/** 0, however it is written. */
VORN_API int vorn_input_is_zero(const char *value, int length);
/** 0 and above. */
VORN_API int vorn_input_is_non_negative_int(const char *value, int length);
/** Whatever vorn_input_is_non_negative_int refuses, also what is no integer at all. */
VORN_API int vorn_input_is_negative_int(const char *value, int length);
/** 0 to 100. */
VORN_API int vorn_input_is_percent(const char *value, int length);
/** An integer that 2 divides. */
VORN_API int vorn_input_is_even(const char *value, int length);

/**
 * A real number between low and high, both included; an empty value counts as 0. errno is not
 * cleared first: an ERANGE left over from an earlier call refuses a 0.
 */
VORN_API int vorn_input_is_double_in_range(const char *value, int length, double low, double high);

/* Network. */

/** Six pairs of hexadecimal digits with colons between. */
VORN_API int vorn_input_is_mac(const char *value, int length);
/** Four integers from 0 to 255 with dots between, 7 to 15 bytes in all. */
VORN_API int vorn_input_is_ip(const char *value, int length);
/** 1 to 63 letters, digits and hyphens, no hyphen at either end nor in a label of two. */
VORN_API int vorn_input_is_domain_label(const char *value, int length);
/** Labels with dots between, at most 253 bytes; one dot at the end is allowed on top. */
VORN_API int vorn_input_is_domain_name(const char *value, int length);
/** What vorn_input_is_ip or vorn_input_is_domain_name takes. */
VORN_API int vorn_input_is_ip_or_domain_name(const char *value, int length);

/* Plain ones, as they can become part of another program's file or command. */

/**
 * An integer between low and high in digits alone, with a hyphen before them where low is below 0.
 */
VORN_API int vorn_input_is_plain_int_in_range(const char *value, int length, int low, int high);
/** The same, and low or some steps above it. A step below 1 refuses everything. */
VORN_API int vorn_input_is_plain_int_in_steps(const char *value, int length, int low, int high,
                                              int step);
/**
 * A number between low and high, both included: digits, with a dot and more digits after them or
 * not, and with a hyphen before them where low is below 0. At most 32 bytes.
 */
VORN_API int vorn_input_is_plain_double_in_range(const char *value, int length, double low,
                                                 double high);
/** What vorn_input_is_ip takes, if it is digits and dots alone. */
VORN_API int vorn_input_is_plain_ip(const char *value, int length);
/** Such an address or a domain name that is not made of digits and dots alone. */
VORN_API int vorn_input_is_plain_ip_or_domain_name(const char *value, int length);
/** Such an address that a host can have: 1.0.0.0 to 223.255.255.255, no 0 before other digits. */
VORN_API int vorn_input_is_host_ip(const char *value, int length);
/** A netmask written as such an address: at least one 1, and no 1 after a 0. */
VORN_API int vorn_input_is_netmask(const char *value, int length);
/** Such an address whose bits after the prefix are 0, a slash, and the prefix: 0 to 32. */
VORN_API int vorn_input_is_network(const char *value, int length);
/**
 * 1 to 15 letters, digits, dots, hyphens and underscores, the first neither a dot nor a hyphen: the
 * name of a network interface that can stand in any file or command.
 */
VORN_API int vorn_input_is_link_name(const char *value, int length);
/** UTF-8 of so many characters, both numbers included, none of which is a control character. */
VORN_API int vorn_input_is_text(const char *value, int length, int fewest, int most);

/* Wireless. Channels depend on the regulatory domain: 0, 1 or 2, no other. */

/** A channel of the mode, which is named as in vorn_input_is_mode. */
VORN_API int vorn_input_is_channel(const char *value, int length, const char *mode, int domain);
/** A channel of the mode "a". */
VORN_API int vorn_input_is_a_channel(const char *value, int length, int domain);
/** A channel of the mode "b". */
VORN_API int vorn_input_is_b_channel(const char *value, int length, int domain);
/** A channel of the mode "g". */
VORN_API int vorn_input_is_g_channel(const char *value, int length, int domain);
/** A channel of the mode "turbo-a". */
VORN_API int vorn_input_is_turbo_a_channel(const char *value, int length, int domain);
/** A channel of the mode "dynamic-turbo-a". */
VORN_API int vorn_input_is_dynamic_turbo_a_channel(const char *value, int length, int domain);
/** A channel of the mode "turbo-g". */
VORN_API int vorn_input_is_turbo_g_channel(const char *value, int length, int domain);
/** A channel of the mode "dynamic-turbo-g". */
VORN_API int vorn_input_is_dynamic_turbo_g_channel(const char *value, int length, int domain);

/** A rate of the mode "a", in Mbit/s. The a and turbo rates are numbers, the others exact texts. */
VORN_API int vorn_input_is_a_rate(const char *value, int length);
/** The same for the mode "b". */
VORN_API int vorn_input_is_b_rate(const char *value, int length);
/** The same for the mode "g". */
VORN_API int vorn_input_is_g_rate(const char *value, int length);
/** The same for the mode "turbo-a". */
VORN_API int vorn_input_is_turbo_a_rate(const char *value, int length);
/** The same for the mode "dynamic-turbo-a". */
VORN_API int vorn_input_is_dynamic_turbo_a_rate(const char *value, int length);
/** The same for the mode "turbo-g". */
VORN_API int vorn_input_is_turbo_g_rate(const char *value, int length);
/** The same for the mode "dynamic-turbo-g". */
VORN_API int vorn_input_is_dynamic_turbo_g_rate(const char *value, int length);

/** "40", "104" or "128". */
VORN_API int vorn_input_is_wep_key_length(const char *value, int length);
/**
 * A WEP key of 40, 104 or 128 bits: printable ASCII of a byte per 8 bits with the ascii flag,
 * else hexadecimal digits of 4 bits each.
 */
VORN_API int vorn_input_is_wep_key(const char *value, int length, int bits, int ascii);
/** 8 to 63 printable ASCII characters. */
VORN_API int vorn_input_is_wpa_psk_key(const char *value, int length);

/* Several at once. */

/**
 * The validators that need nothing but the value; several with "|" between them. What describes a
 * property tells them, too (see description.h).
 */
enum {
    VORN_INPUT_NOTHING = 1 << 0, /**< the empty text */
    VORN_INPUT_WORD = 1 << 1,
    VORN_INPUT_PHRASE = 1 << 2,
    VORN_INPUT_YES_NO = 1 << 3,
    VORN_INPUT_ON_OFF = 1 << 4,
    VORN_INPUT_UP_DOWN = 1 << 5,
    VORN_INPUT_INTERFACE = 1 << 6,
    VORN_INPUT_SSID = 1 << 7,
    VORN_INPUT_MODE = 1 << 8,
    VORN_INPUT_INT = 1 << 9,
    VORN_INPUT_POSITIVE_INT = 1 << 10,
    VORN_INPUT_NON_NEGATIVE_INT = 1 << 11,
    VORN_INPUT_PERCENT = 1 << 12,
    VORN_INPUT_EVEN = 1 << 13,
    VORN_INPUT_MAC = 1 << 14,
    VORN_INPUT_IP = 1 << 15,
    VORN_INPUT_DOMAIN_LABEL = 1 << 16,
    VORN_INPUT_DOMAIN_NAME = 1 << 17,
    VORN_INPUT_IP_OR_DOMAIN_NAME = 1 << 18,
    VORN_INPUT_PLAIN_IP = 1 << 19,
    VORN_INPUT_PLAIN_IP_OR_DOMAIN_NAME = 1 << 20,
    VORN_INPUT_HOST_IP = 1 << 21,
    VORN_INPUT_NETMASK = 1 << 22,
    VORN_INPUT_LINK_NAME = 1 << 23,
    VORN_INPUT_A_RATE = 1 << 24,
    VORN_INPUT_B_RATE = 1 << 25,
    VORN_INPUT_G_RATE = 1 << 26,
    VORN_INPUT_TURBO_A_RATE = 1 << 27,
    VORN_INPUT_WEP_KEY_LENGTH = 1 << 28,
    VORN_INPUT_WPA_PSK_KEY = 1 << 29,
    VORN_INPUT_NETWORK = 1 << 30,
    VORN_INPUT_ALL = 0x7fffffff /**< every one of them */
};

/** One of these validators takes the value. What is none of them takes nothing. */
VORN_API int vorn_input_is_any_of(const char *value, int length, int kinds);

VORN_END

#endif
