/* SPDX-License-Identifier: MIT */
#include "ruleset.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "concerns.h"
#include "table.h"
#include "values.h"

static void write_counters(const struct writing *to)
{
    for (size_t i = 0; i < to->count; i++)
        fprintf(to->file, "%s ", vorn_instance_get_name(to->rules[i]));
}

/* The caller's; null without memory. */
static char *text_of(struct writing *to, void (*write)(const struct writing *to))
{
    char *text = NULL;
    size_t size;
    to->file = open_memstream(&text, &size);
    if (to->file == NULL) return NULL;
    write(to);
    const int failed = ferror(to->file) != 0;
    if (fclose(to->file) == 0 && !failed) return text;
    free(text);
    return NULL;
}

/* Those of the same number stay as they are in the store. */
static void put_in_order(struct writing *to, const vorn_instance *rule)
{
    size_t place = to->count++;
    const int order = atoi(value_of(rule, "order"));
    for (; place > 0 && atoi(value_of(to->rules[place - 1], "order")) > order; place--)
        to->rules[place] = to->rules[place - 1];
    to->rules[place] = rule;
}

static int make_room(struct writing *to, size_t *room)
{
    if (to->count < *room) return 0;
    const size_t wanted = 2 * *room + 8;
    const vorn_instance **more = realloc(to->rules, wanted * sizeof *more);
    if (more == NULL) return 1;
    to->rules = more;
    *room = wanted;
    return 0;
}

static int collect_rules(struct writing *to)
{
    size_t room = 0;
    int is_short = 0;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(to->all, "firewall-rule");
    if (walk == NULL) return 1;
    while (!is_short && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *rule = vorn_instances_iterator_next(walk);
        if (!is_in_force(to->all, rule)) continue;
        is_short = make_room(to, &room) != 0;
        if (!is_short) put_in_order(to, rule);
    }
    vorn_instances_delete_iterator(walk);
    return is_short;
}

int ruleset_make(ruleset *made, const vorn_instances *configuration)
{
    struct writing to = {configuration, NULL, 0, NULL};
    *made = (ruleset){NULL, NULL};
    if (!is_filtering(configuration)) return 0;
    if (collect_rules(&to) == 0) {
        made->table = text_of(&to, table_write);
        made->counters = text_of(&to, write_counters);
    }
    free(to.rules);
    if (made->table != NULL && made->counters != NULL) return 0;
    ruleset_free(made);
    return 1;
}

int ruleset_equals(const ruleset *left, const ruleset *right)
{
    if (left->table == NULL || right->table == NULL) return left->table == right->table;
    return strcmp(left->table, right->table) == 0;
}

void ruleset_free(ruleset *it)
{
    free(it->table);
    free(it->counters);
    *it = (ruleset){NULL, NULL};
}

struct vanishing {
    FILE *file;
    const char *wanted;
};

static int delete_counter(const char *name, void *data)
{
    const struct vanishing *one = data;
    if (!has_word(one->wanted, name))
        fprintf(one->file, "delete counter inet vorn rule-%s\n", name);
    return 0;
}

/* A table that is not there can't be deleted; to make one that is there changes nothing. */
char *ruleset_document(const ruleset *now, const ruleset *before, enum deed deed)
{
    char *text = NULL;
    size_t size;
    FILE *file = open_memstream(&text, &size);
    if (file == NULL) return NULL;
    fputs("table inet vorn\n", file);
    if (deed == FIREWALL_CHANGES) {
        struct vanishing one = {file, now->counters};
        fputs("flush table inet vorn\n", file);
        for_each_word(before->counters, delete_counter, &one);
    } else {
        fputs("delete table inet vorn\n", file);
    }
    if (deed != FIREWALL_REMOVES) fputs(now->table, file);
    const int failed = ferror(file) != 0;
    if (fclose(file) == 0 && !failed) return text;
    free(text);
    return NULL;
}
