/* SPDX-License-Identifier: MIT */
#include "pauses.h"

#include "names.h"

struct pauses {
    names of;
    int are_new;
};

static struct pauses pauses;
static struct pauses kept; /* while others are foreseen */

static int read_actions(names *asked, const vorn_actions *actions,
                        const vorn_instances *configuration)
{
    static const char class_name[] = "wireless-network";
    if (actions == NULL || names_begin(asked) != 0) return 1;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const char *name = vorn_instance_get_name(vorn_instances_iterator_next(walk));
        if (vorn_actions_exists(actions, "wireless", "pause", class_name, name))
            names_add(asked, name);
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
    pauses = (struct pauses){.are_new = 0};
    if (read_actions(&asked, actions, configuration) != 0) return;
    pauses.of = asked;
    pauses.are_new = names_differ(&asked, &kept.of);
}

void pauses_foresee_no_more(void)
{
    names_free(&pauses.of);
    pauses = kept;
}
