/* SPDX-License-Identifier: MIT */
#include "pauses.h"

#include "names.h"

struct pauses {
    names of;
    int are_new;
};

static struct pauses pauses;
static struct pauses kept; /* while others are foreseen */

static const char class_name[] = "wireless-network";

static int is_in(const vorn_actions *actions, const char *network)
{
    return vorn_actions_exists(actions, "wireless", "pause", class_name, network);
}

/*
 * Actions answer yes when they have no memory to look. So a yes counts if it is given twice, with a
 * no between the two for a network that nobody can ask for. -1 when memory is gone.
 */
static int is_asked_for(const vorn_actions *actions, const char *network)
{
    if (!is_in(actions, network)) return 0;
    return is_in(actions, "") || !is_in(actions, network) ? -1 : 1;
}

static int read_actions(names *asked, const vorn_actions *actions,
                        const vorn_instances *configuration)
{
    *asked = (names){.text = NULL};
    vorn_instances_iterator *walk =
        actions != NULL ? vorn_instances_new_class_iterator(configuration, class_name) : NULL;
    if (walk == NULL) return 1;
    while (!asked->is_short && vorn_instances_iterator_has_next(walk)) {
        const char *name = vorn_instance_get_name(vorn_instances_iterator_next(walk));
        const int is_asked = is_asked_for(actions, name);
        if (is_asked > 0) names_add(asked, name);
        if (is_asked < 0) asked->is_short = 1;
    }
    vorn_instances_delete_iterator(walk);
    return names_end(asked);
}

void pauses_take(const vorn_actions *actions, const vorn_instances *configuration)
{
    names asked;
    pauses.are_new = 0;
    if (read_actions(&asked, actions, configuration) != 0) return;
    pauses.are_new = names_differ(&asked, &pauses.of);
    names_free(&pauses.of);
    pauses.of = asked;
}

int pauses_are_new(void)
{
    return pauses.are_new;
}

int pauses_have(const char *network)
{
    return names_have(&pauses.of, network);
}

void pauses_foresee(const vorn_actions *actions, const vorn_instances *configuration)
{
    names asked;
    kept = pauses;
    pauses.are_new = 0;
    if (read_actions(&asked, actions, configuration) != 0) return;
    pauses = (struct pauses){asked, names_differ(&asked, &kept.of)};
}

void pauses_foresee_no_more(void)
{
    if (pauses.of.text != kept.of.text) names_free(&pauses.of);
    pauses = kept;
}
