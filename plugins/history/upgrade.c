/* SPDX-License-Identifier: MIT */
#include "upgrade.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "declare.h"
#include "describe.h"
#include "slots.h"
#include "values.h"

enum { usual_seconds = 86400, most_seconds = 31536000, seconds_between_looks = 60 };

static const char never[] = "never";
static int64_t began; /* by the clock that setting the time does not move */
static int was_pending;

static int64_t now(void)
{
    struct timespec time;
    clock_gettime(CLOCK_BOOTTIME, &time);
    return time.tv_sec;
}

/*
 * A device that runs on what it was given for good and can keep it. It has all its plugins, or
 * nothing would be pending.
 */
static int is_healthy(void)
{
    return !vorn_config_is_held() && strcmp(vorn_config_get_source(), "startup") == 0 &&
           vorn_config_get_save_result() != VORN_SAVE_FAILED && vorn_service_get_failing(0) == NULL;
}

static void look(void *eloop_data, void *user_data);

static void look_again(const vorn_instance *settings)
{
    const char *after = value_of(settings, "upgrade-after");
    eloop_cancel_timeout(look, NULL, NULL);
    if (!slots_is_pending() || strcmp(after, never) == 0) return;
    const int64_t seconds = *after != '\0' ? atoi(after) : usual_seconds;
    const int64_t left = began + seconds - now();
    eloop_register_timeout(left > 0 ? (unsigned int)left : 0, 0, look, NULL, NULL);
}

static void confirm(void)
{
    if (slots_is_pending() && slots_confirm() == 0)
        vorn_debug_printf("history: this firmware is confirmed.\n");
}

static void look(void *eloop_data, void *user_data)
{
    (void)eloop_data;
    (void)user_data;
    if (is_healthy()) {
        confirm();
    } else {
        eloop_register_timeout(seconds_between_looks, 0, look, NULL, NULL);
    }
}

void upgrade_begin(const vorn_instance *settings)
{
    began = now();
    was_pending = slots_is_pending();
    look_again(settings);
}

static int is_to_be_confirmed(const vorn_instance *settings)
{
    return strcmp(value_of(settings, "upgrade"), "confirm") == 0;
}

/* It is noted on the disk, which knows nothing of what is on trial. */
void upgrade_check(vorn_check_info *info, const vorn_instance *settings)
{
    if (vorn_config_is_held() && is_to_be_confirmed(settings))
        vorn_check_info_refuse(info, settings, "upgrade", "not while a change is on trial");
}

void upgrade_commit(vorn_instance *settings)
{
    if (is_to_be_confirmed(settings)) {
        vorn_instance_set_value(settings, "upgrade", "");
        confirm();
        if (slots_is_pending())
            vorn_commit_report_add_failure(
                "history: that this firmware is confirmed can't be kept");
    }
    look_again(settings);
}

void upgrade_show(vorn_instance *settings)
{
    vorn_instance_set_value(settings, "upgrade",
                            slots_is_pending() ? "pending"
                            : was_pending      ? "confirmed"
                                               : "none");
    vorn_instance_set_value(settings, "taken", slots_taken());
}

int upgrade_declare(vorn_class *history)
{
    static const char *const steps[] = {"", "confirm", "none", "pending", "confirmed", NULL};
    static const char *const or_never[] = {never, "", NULL};
    static const char *const choices[] = {"own", "newest", "", NULL};
    const int failed =
        declare_one_of(history, "upgrade", steps) != 0 ||
        vorn_property_set_syntax(vorn_class_get_property(history, "upgrade"), "confirm") != 0 ||
        vorn_property_set_persistence(vorn_class_get_property(history, "upgrade"), 0) != 0 ||
        declare_number(history, "upgrade-after", 0, most_seconds, 0) != 0 ||
        vorn_property_accept_words(vorn_class_get_property(history, "upgrade-after"), or_never) !=
            0 ||
        declare_one_of(history, "other-slot", choices) != 0 || declare_state(history, "taken") != 0;
    if (failed) return 1;
    describe(history, "upgrade", "Upgrade",
             "Whether this firmware is confirmed; \"confirm\" confirms it.", "confirm");
    describe(history, "upgrade-after", "Upgrade after",
             "After how long a firmware that runs well is confirmed by itself; 86400 if it isn't "
             "set.",
             "86400");
    describe_unit(history, "upgrade-after", "seconds");
    describe(history, "other-slot", "Other slot",
             "What an older firmware starts with: its own configuration, also if it isn't set, or "
             "the newest.",
             "own");
    describe(history, "taken", "Taken",
             "Which save was taken at this start because of another firmware, and why.", NULL);
    return 0;
}
