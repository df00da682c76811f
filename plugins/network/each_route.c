/* SPDX-License-Identifier: MIT */
#include "each_route.h"

#include "declare.h"
#include "describe.h"
#include "values.h"

enum { most_tables = 252 }; /* the kernel has its own from there on */

/* An earlier instance that has its place in the table. */
static const char *find_twin(const struct route_family *family, const vorn_instances *configuration,
                             const vorn_instance *route)
{
    const char *twin = NULL;
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, family->class_name);
    while (walk != NULL && twin == NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (each == route) break;
        if (family->have_one_place(each, route)) twin = vorn_instance_get_name(each);
    }
    vorn_instances_delete_iterator(walk);
    return twin;
}

static void plan_those(const struct route_family *family, const vorn_instances *configuration,
                       struct kernel *kernel, int with_gateway)
{
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, family->class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *route = vorn_instances_iterator_next(walk);
        if ((*value_of(route, "gateway") != '\0') != with_gateway) continue;
        const char *twin = find_twin(family, configuration, route);
        if (twin != NULL) {
            outcomes_explain(family->outcomes, vorn_instance_get_name(route),
                             "failed: route \"%s\" has its place", twin);
        } else {
            family->plan(kernel, route);
        }
    }
    vorn_instances_delete_iterator(walk);
}

void each_route_plan(const struct route_family *family, const vorn_instances *configuration,
                     struct kernel *kernel)
{
    plan_those(family, configuration, kernel, 0);
    plan_those(family, configuration, kernel, 1);
}

void declare_table(vorn_class *route)
{
    declare_number(route, "table", 1, most_tables, VORN_INPUT_NOTHING);
    describe(route, "table", "Table",
             "The table it is in, which packets ask that a policy route leads there; if it isn't "
             "set, the main one, which all ask.",
             "7");
}
