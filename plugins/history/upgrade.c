/* SPDX-License-Identifier: MIT */
#include "upgrade.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "declare.h"
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

static int is_one_of(const char *value, const char *const words[])
{
    while (*words != NULL && strcmp(*words, value) != 0)
        words++;
    return *words != NULL;
}

static int is_upgrade(const char *value)
{
    static const char *const words[] = {"", "confirm", "none", "pending", "confirmed", NULL};
    return is_one_of(value, words);
}

static int is_choice(const char *value)
{
    static const char *const words[] = {"", "own", "newest", NULL};
    return is_one_of(value, words);
}

static int is_time_or_never(const char *value)
{
    return *value == '\0' || strcmp(value, never) == 0 || is_plain_number(value, 0, most_seconds);
}

/* A device that runs on what it was given for good and can keep it, with all its plugins. */
static int is_healthy(void)
{
    for (unsigned int rank = 0; vorn_plugins_get_name(rank) != NULL; rank++) {
        if (vorn_plugins_get_state(rank) != VORN_PLUGIN_RUNNING) return 0;
    }
    return !vorn_config_is_held() && strcmp(vorn_config_get_source(), "startup") == 0 &&
           vorn_config_get_save_result() != VORN_SAVE_FAILED && vorn_service_get_failing(0) == NULL;
}

static void look(void *eloop_data, void *user_data);

static void look_again(const vorn_instance *settings)
{
    const char *after = value_of(settings, "upgrade-after");
    eloop_cancel_timeout(look, NULL, NULL);
    if (began == 0 || !slots_is_pending() || strcmp(after, never) == 0) return;
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

void upgrade_commit(vorn_instance *settings)
{
    if (strcmp(value_of(settings, "upgrade"), "confirm") == 0) {
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
    return declare_setting(history, "upgrade", is_upgrade, "confirm") != 0 ||
           vorn_property_set_persistence(vorn_class_get_property(history, "upgrade"), 0) != 0 ||
           declare_setting(history, "upgrade-after", is_time_or_never,
                           "<0 to 31536000>|never|<nothing>") != 0 ||
           declare_setting(history, "other-slot", is_choice, "own|newest|<nothing>") != 0 ||
           declare_state(history, "taken") != 0;
}
