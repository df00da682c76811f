/* SPDX-License-Identifier: MIT */
#include "power.h"

#include <stdio.h>
#include <string.h>

void power_is_unknown(struct power *power)
{
    strcpy(power->told, "?");
}

static void has_ended(int has_failed, void *data)
{
    char reason[brief_room + 32];
    struct power *power = data;
    if (!has_failed) return;
    power_is_unknown(power);
    snprintf(reason, sizeof reason, "can't set the power%s%s",
             *power->setting.words != '\0' ? ": " : "", power->setting.words);
    power->failed(reason, power->data);
}

void power_begin(struct power *power, void (*failed)(const char *reason, void *data), void *data)
{
    power->setting = (brief)BRIEF(has_ended, power);
    power->failed = failed;
    power->data = data;
}

int power_differs(const struct power *power, const char *dbm)
{
    return strcmp(dbm, power->told) != 0;
}

void power_set(struct power *power, const char *radio, const char *dbm)
{
    char hundredths[12];
    const int is_fixed = *dbm != '\0';
    if (!power_differs(power, dbm)) return;
    snprintf(hundredths, sizeof hundredths, "%s00", dbm);
    const char *const arguments[] = {"iw",
                                     "dev",
                                     radio,
                                     "set",
                                     "txpower",
                                     is_fixed ? "fixed" : "auto",
                                     is_fixed ? hundredths : NULL,
                                     NULL};
    snprintf(power->told, sizeof power->told, "%s", dbm);
    if (brief_run(&power->setting, arguments) != 0) has_ended(1, power);
}

void power_forget(struct power *power, const char *radio)
{
    power_set(power, radio, "");
    power->told[0] = '\0';
}

int power_goes_on(const struct power *power)
{
    return brief_goes_on(&power->setting);
}
