/* SPDX-License-Identifier: MIT */
/* Validators of numbers that are too long to be looked at without a copy. */
#include "vorn/vorn.h"

#include "calls.h"

#define ZEROS "00000000000000000000000000000000000000000000000000000000000000000000000000000000"

enum { first_domain = 0 };

static const vorn_input_set *hundred;

#define RULE(function, number)                                                                     \
    static enum outcome function(void)                                                             \
    {                                                                                              \
        static const char value[] = ZEROS number;                                                  \
        return done_if(vorn_input_##function(value, (int)sizeof value - 1));                       \
    }

#define CHANNEL_RULE(function, number)                                                             \
    static enum outcome function(void)                                                             \
    {                                                                                              \
        static const char value[] = ZEROS number;                                                  \
        return done_if(vorn_input_##function(value, (int)sizeof value - 1, first_domain));         \
    }

RULE(is_int, "7")
RULE(is_positive_int, "7")
RULE(is_zero, "")
RULE(is_non_negative_int, "7")
RULE(is_percent, "99")
RULE(is_even, "4")
RULE(is_a_rate, "54")
RULE(is_turbo_a_rate, "108")
RULE(is_dynamic_turbo_a_rate, "54")
RULE(is_turbo_g_rate, "108")
CHANNEL_RULE(is_a_channel, "36")
CHANNEL_RULE(is_b_channel, "6")
CHANNEL_RULE(is_g_channel, "6")
CHANNEL_RULE(is_turbo_a_channel, "42")
CHANNEL_RULE(is_dynamic_turbo_a_channel, "40")

static const char seven[] = ZEROS "7";
static const int length = (int)sizeof seven - 1;

static enum outcome is_int_in_set(void)
{
    return done_if(vorn_input_is_int_in_set(seven, length, hundred));
}

static enum outcome is_int_in_range(void)
{
    return done_if(vorn_input_is_int_in_range(seven, length, 1, 9));
}

static enum outcome is_plain_int_in_range(void)
{
    return done_if(vorn_input_is_plain_int_in_range(seven, length, 1, 9));
}

static enum outcome is_plain_int_in_steps(void)
{
    return done_if(vorn_input_is_plain_int_in_steps(seven, length, 1, 9, 2));
}

static enum outcome is_plain_double_in_range(void)
{
    return done_if(vorn_input_is_plain_double_in_range("7.5", 3, 1, 9));
}

/* As long as a prefix may be. */
static enum outcome is_network(void)
{
    static const char value[] = "10.0.0.0/" ZEROS "8";
    return done_if(vorn_input_is_network(value, (int)sizeof value - 1));
}

static enum outcome is_any_of(void)
{
    return done_if(vorn_input_is_any_of(seven, length, VORN_INPUT_INT));
}

static enum outcome is_channel(void)
{
    return done_if(vorn_input_is_channel(seven, length, "g", first_domain));
}

/* What can't be looked at is no number, and what is no number counts as negative. */
static enum outcome is_negative_int(void)
{
    return done_if(!vorn_input_is_negative_int(seven, length));
}

#define CALL(function)                                                                             \
    {                                                                                              \
        "vorn_input_" #function, function, 0                                                       \
    }

const struct call validator_calls[] = {
    CALL(is_int),
    CALL(is_positive_int),
    CALL(is_zero),
    CALL(is_non_negative_int),
    CALL(is_negative_int),
    CALL(is_percent),
    CALL(is_even),
    CALL(is_int_in_set),
    CALL(is_int_in_range),
    CALL(is_plain_int_in_range),
    CALL(is_plain_int_in_steps),
    {"vorn_input_is_plain_double_in_range", is_plain_double_in_range, TAKES_NONE},
    CALL(is_network),
    CALL(is_any_of),
    CALL(is_channel),
    CALL(is_a_channel),
    CALL(is_b_channel),
    CALL(is_g_channel),
    CALL(is_turbo_a_channel),
    CALL(is_dynamic_turbo_a_channel),
    CALL(is_a_rate),
    CALL(is_turbo_a_rate),
    CALL(is_dynamic_turbo_a_rate),
    CALL(is_turbo_g_rate),
    {NULL, NULL, FREES},
};

void prepare_validator_calls(void)
{
    hundred = vorn_input_get_set_from_range(0, 99, NULL);
}
