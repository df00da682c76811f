/* SPDX-License-Identifier: MIT */
/* What there is to do so that hostapd has another text: what disturbs the fewest. */
#include <string.h>

#include "bridges.h"
#include "lists.h"
#include "radio.h"
#include "vorn-plugin/whole_file.h"

static int is_same(const char *left, const char *right)
{
    return left != NULL && right != NULL && strcmp(left, right) == 0;
}

/* While links come and go by what hostapd is asked, nobody else is held to have taken them. */
void radio_look_at_air(struct radio *radio, const vorn_instances *configuration)
{
    if (amends_go_on(&radio->amends)) return;
    air_look(&radio->air, supervise_pid(radio->program), configuration, radio->name);
}

int radio_is_cut_off(struct radio *radio, const vorn_instances *configuration)
{
    if (amends_go_on(&radio->amends)) return 0;
    radio_look_at_air(radio, configuration);
    if (air_has_lost(&radio->air, configuration, radio->name)) return 1;
    return strcmp(supervise_state(radio->program), "running") == 0 &&
           bridges_lack(configuration, radio->name);
}

/* 0, or 1 without memory. */
static int write_anew(hostapd_text *text, const vorn_instance *now,
                      const vorn_instances *configuration, enum places_way way)
{
    hostapd_free(text);
    return hostapd_write(text, now, configuration, way);
}

/* Of a text that differs from what hostapd has been told. */
static int is_to_amend(struct radio *radio, struct radio_telling *plan, hostapd_text *text,
                       const vorn_instance *now, const vorn_instances *configuration)
{
    if (radio->told.whole == NULL || radio->is_stale ||
        strcmp(supervise_state(radio->program), "running") != 0 ||
        !amends_are_possible(radio->name)) {
        return 0;
    }
    if (hostapd_has_network(&radio->told, 0) && hostapd_has_network(text, 0) &&
        !hostapd_part_is_same(&radio->told, text, 0)) {
        plan->places = places_without_first;
        if (write_anew(text, now, configuration, plan->places) != 0) return 0;
    }
    return amends_compare(&plan->amends, &radio->told, text);
}

struct radio_telling radio_plan_telling(struct radio *radio, hostapd_text *text,
                                        const vorn_instance *now,
                                        const vorn_instances *configuration)
{
    char path[hostapd_path_room];
    struct radio_telling plan = {.places = places_as_known};
    hostapd_name_file(path, radio->name);
    const int frame_is_same = is_same(text->frame, radio->told.frame);
    const int whole_is_same = is_same(text->whole, radio->told.whole);
    plan.is_written = whole_file_differs(path, text->whole) || lists_are_new(text, radio->name);
    const int is_spoilt = radio->is_spoilt || (whole_is_same && plan.is_written);
    const int is_lost = is_spoilt || (radio->told.whole != NULL && /* else it may have no program */
                                      radio_is_cut_off(radio, configuration));
    const int is_same_text = frame_is_same && whole_is_same;
    plan.is_amended =
        !is_lost && !is_same_text && is_to_amend(radio, &plan, text, now, configuration);
    if (!plan.is_amended) {
        plan.reads_again = frame_is_same && !whole_is_same;
        plan.starts_anew =
            !frame_is_same || is_lost || radio->is_stale || (plan.reads_again && radio->is_amended);
        const enum places_way way = plan.starts_anew ? places_afresh : places_as_known;
        if (way != plan.places) write_anew(text, now, configuration, way);
        plan.places = way;
    }
    if (text->whole != NULL && plan.places != places_as_known)
        plan.is_written = whole_file_differs(path, text->whole) || lists_are_new(text, radio->name);
    return plan;
}
