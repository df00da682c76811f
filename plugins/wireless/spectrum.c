/* SPDX-License-Identifier: MIT */
/*
 * What a radio has heard, as iw(8) tells: how busy each channel is, and which networks of others
 * there are. It is not made to listen for that, which would keep its stations waiting.
 */
#include "spectrum.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "asking.h"
#include "declare.h"
#include "describe.h"

static const char *const survey_properties[] = {"radio",    "frequency", "channel", "in-use",
                                                "noise",    "active",    "busy",    "receive",
                                                "transmit", "unknown",   NULL};

static const char *const neighbour_properties[] = {"radio",   "mac",    "ssid",     "frequency",
                                                   "channel", "signal", "security", "last-seen",
                                                   "unknown", NULL};

static const char *const survey_labels[][2] = {{"noise:", "noise"},
                                               {"channel active time:", "active"},
                                               {"channel busy time:", "busy"},
                                               {"channel receive time:", "receive"},
                                               {"channel transmit time:", "transmit"},
                                               {NULL, NULL}};

static const char *const neighbour_labels[][2] = {{"signal:", "signal"}, {NULL, NULL}};

/* What comes after that on the line, or null. */
static const char *after(const char *line, const char *label)
{
    line += strspn(line, " \t");
    if (strncmp(line, label, strlen(label)) != 0) return NULL;
    line += strlen(label);
    return line + strspn(line, " \t");
}

/* Of the middle of a channel, in MHz; 0 for none. */
static int channel_of(int frequency)
{
    if (frequency == 2484) return 14;
    if (frequency >= 2412 && frequency < 2484) return (frequency - 2407) / 5;
    if (frequency >= 4910 && frequency <= 4980) return (frequency - 4000) / 5;
    if (frequency >= 5955 && frequency <= 7115) return (frequency - 5950) / 5;
    return frequency >= 5000 && frequency < 5950 ? (frequency - 5000) / 5 : 0;
}

static void set_number(vorn_instance *instance, const char *property, int number)
{
    char text[12];
    snprintf(text, sizeof text, "%d", number);
    vorn_instance_set_value(instance, property, text);
}

static void set_frequency(vorn_instance *instance, const char *text)
{
    const int frequency = atoi(text);
    if (channel_of(frequency) == 0) return;
    set_number(instance, "frequency", frequency);
    set_number(instance, "channel", channel_of(frequency));
}

static void read_survey(vorn_instance *survey, const char *line)
{
    const char *frequency = after(line, "frequency:");
    if (frequency != NULL) {
        set_frequency(survey, frequency);
        vorn_instance_set_value(survey, "in-use",
                                strstr(frequency, "[in use]") != NULL ? "yes" : "no");
    } else {
        asking_read_value(survey, survey_labels, line);
    }
}

/* Anybody can send anything, and the daemon shows what is no text as question marks. */
static void set_start(vorn_instance *neighbour, const char *property, const char *text)
{
    char start[4 * 32 + 1]; /* a name whose bytes iw writes as \xNN */
    snprintf(start, sizeof start, "%s", text);
    vorn_instance_set_value(neighbour, property, start);
}

static void read_neighbour(vorn_instance *neighbour, const char *line)
{
    const char *value;
    if ((value = after(line, "freq:")) != NULL) {
        set_frequency(neighbour, value);
    } else if ((value = after(line, "SSID:")) != NULL) {
        set_start(neighbour, "ssid", value);
    } else if ((value = after(line, "last seen:")) != NULL) {
        if (strstr(value, "ms ago") != NULL) set_number(neighbour, "last-seen", atoi(value));
    } else if ((value = after(line, "capability:")) != NULL) {
        vorn_instance_set_value(neighbour, "security",
                                strstr(value, "Privacy") != NULL ? "WEP" : "none");
    } else if ((value = after(line, "* Authentication suites:")) != NULL) {
        set_start(neighbour, "security", value);
    } else {
        asking_read_value(neighbour, neighbour_labels, line);
    }
}

static const asking surveys_asked = {
    "survey", survey_properties, "radio", "survey", "Survey data from ", NULL, read_survey};

static const asking neighbours_asked = {"neighbour", neighbour_properties, "radio", "scan", "BSS ",
                                        "mac",       read_neighbour};

static void ask_for_survey(const vorn_instances *store, const char *radio, void *made)
{
    (void)store;
    asking_ask(&surveys_asked, made, radio, radio);
}

static void ask_for_neighbours(const vorn_instances *store, const char *radio, void *made)
{
    (void)store;
    asking_ask(&neighbours_asked, made, radio, radio);
}

void spectrum_refresh(vorn_refresh_info *info)
{
    asking_refresh(&surveys_asked, info, ask_for_survey);
    asking_refresh(&neighbours_asked, info, ask_for_neighbours);
}

static void describe_place(vorn_class *klass)
{
    describe(klass, "radio", "Radio", "The radio that has heard it.", NULL);
    describe(klass, "frequency", "Frequency", "The middle of the channel.", NULL);
    describe_unit(klass, "frequency", "MHz");
    describe(klass, "channel", "Channel", "The same as a channel's number.", NULL);
}

static void describe_times(vorn_class *survey)
{
    static const char *const times[][3] = {
        {"active", "Listened", "How long it has listened there, or sent."},
        {"busy", "Busy", "How much of that somebody was to be heard."},
        {"receive", "Received", "How much of that it could understand."},
        {"transmit", "Sent", "How much of that it has sent itself."},
    };
    for (size_t i = 0; i < sizeof times / sizeof *times; i++) {
        describe(survey, times[i][0], times[i][1], times[i][2], NULL);
        describe_unit(survey, times[i][0], "ms");
    }
}

static int declare_survey(void)
{
    if (declare_shown("survey", VORN_CLASS_ANONYMOUS, survey_properties) != 0) return 1;
    vorn_class *survey = vorn_classes_get("survey");
    describe_class(survey, "Survey", "How busy a channel is, as far as a radio has listened to it.",
                   "Wireless", 340);
    describe_place(survey);
    describe(survey, "in-use", "In use", "Whether the radio sends there.", NULL);
    describe(survey, "noise", "Noise", "What there is to hear of no network.", NULL);
    describe_unit(survey, "noise", "dBm");
    describe_times(survey);
    return describe(survey, "unknown", "Unknown",
                    "Why nothing is known of this radio; empty for a channel.", NULL);
}

static int declare_neighbour(void)
{
    if (declare_shown("neighbour", VORN_CLASS_ANONYMOUS, neighbour_properties) != 0) return 1;
    vorn_class *neighbour = vorn_classes_get("neighbour");
    describe_class(neighbour, "Neighbour", "A network of somebody else that a radio has heard.",
                   "Wireless", 350);
    describe(neighbour, "mac", "MAC address", "That of its access point.", NULL);
    describe(neighbour, "ssid", "Name (SSID)", "As it calls itself; other bytes as \\xNN.", NULL);
    describe_place(neighbour);
    describe(neighbour, "signal", "Signal", "How loud it is heard.", NULL);
    describe_unit(neighbour, "signal", "dBm");
    describe(neighbour, "security", "Security", "How its stations prove who they are.", NULL);
    describe(neighbour, "last-seen", "Last heard", "How long ago.", NULL);
    describe_unit(neighbour, "last-seen", "ms");
    return describe(neighbour, "unknown", "Unknown",
                    "Why nothing is known of this radio; empty for a network.", NULL);
}

int spectrum_declare(void)
{
    return declare_survey() || declare_neighbour();
}
