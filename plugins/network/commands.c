/* SPDX-License-Identifier: MIT */
/* The commands for ip(8), in words for people. */
#include "commands.h"

#include <net/if.h>
#include <stdio.h>
#include <string.h>

#include "ip.h"

enum { longest_word = 24 };

/* What a command is about, by its object, its verb and, of "link set dev LINK", the fifth word, or
 * the one after "type". */
static const struct meaning {
    const char *object;
    const char *verb;
    const char *setting;
    int weight;
    const char *words;
} meanings[] = {
    {"addr", "del", NULL, VORN_EXPLAIN_INTERRUPTS, "an address is taken away"},
    {"addr", "replace", NULL, VORN_EXPLAIN_LIVE, "an address is set"},
    {"route", "del", NULL, VORN_EXPLAIN_INTERRUPTS, "a route is taken away"},
    {"route", "replace", NULL, VORN_EXPLAIN_LIVE, "a route is set"},
    {"rule", "del", NULL, VORN_EXPLAIN_INTERRUPTS, "a policy route is taken away"},
    {"rule", "add", NULL, VORN_EXPLAIN_LIVE, "a policy route is set"},
    {"link", "del", NULL, VORN_EXPLAIN_INTERRUPTS, "a link is removed, with all that is on it"},
    {"link", "add", NULL, VORN_EXPLAIN_LIVE, "a link is made"},
    {"link", "set", "down", VORN_EXPLAIN_INTERRUPTS, "a link is switched off"},
    {"link", "set", "up", VORN_EXPLAIN_LIVE, "a link is switched on"},
    {"link", "set", "master", VORN_EXPLAIN_INTERRUPTS,
     "a link becomes a member of a bridge or a bond"},
    {"link", "set", "nomaster", VORN_EXPLAIN_INTERRUPTS, "a link leaves its bridge or bond"},
    {"link", "set", "bond", VORN_EXPLAIN_LIVE, "a bond looks at its members more or less often"},
    {"link", "set", "bridge", VORN_EXPLAIN_INTERRUPTS,
     "the spanning tree of a bridge changes: it may forward nothing for half a minute"},
    {"link", "set", "filtering", VORN_EXPLAIN_INTERRUPTS,
     "a bridge begins to filter VLANs or ends it: nothing passes until its ports carry theirs"},
    {"vlan", "del", NULL, VORN_EXPLAIN_INTERRUPTS, "a port of a bridge leaves a VLAN"},
    {"vlan", "add", NULL, VORN_EXPLAIN_LIVE, "a port of a bridge carries a VLAN"},
    {"link", "set", "mtu", VORN_EXPLAIN_LIVE, "a link gets another MTU"},
};

static const struct meaning *meaning_of(const char *object, const char *verb, const char *setting)
{
    for (size_t i = 0; i < sizeof meanings / sizeof *meanings; i++) {
        const struct meaning *each = &meanings[i];
        if (strcmp(each->object, object) != 0 || strcmp(each->verb, verb) != 0) continue;
        if (each->setting == NULL || strcmp(each->setting, setting) == 0) return each;
    }
    return NULL;
}

struct telling {
    vorn_actions *actions;
    vorn_explanation *explanation;
};

/* A link that is removed first is made again. */
static void note_link(vorn_actions *actions, const char *words)
{
    char name[IF_NAMESIZE];
    if (sscanf(words, "link del dev %15s", name) == 1) {
        vorn_actions_add(actions, "network", "removes", "link", name);
    } else if (sscanf(words, "link add name %15s", name) == 1 ||
               sscanf(words, "link add link %*s name %15s", name) == 1) {
        vorn_actions_add(actions, "network", "makes", "link", name);
    }
}

static void say(const char *words, void *data)
{
    const struct telling *to = data;
    char object[longest_word] = "";
    char verb[longest_word] = "";
    char setting[longest_word] = "";
    const size_t begin = ip_words_begin(words);
    sscanf(words + begin, "%23s %23s %*s %*s %23s", object, verb, setting);
    if (strcmp(setting, "type") == 0) sscanf(words, "%*s %*s %*s %*s %*s %23s", setting);
    if (strstr(words, " type bridge vlan_filtering ") != NULL) strcpy(setting, "filtering");
    const struct meaning *meaning = meaning_of(object, verb, setting);
    note_link(to->actions, words);
    vorn_explanation_add(
        to->explanation, meaning != NULL ? meaning->weight : VORN_EXPLAIN_INTERRUPTS, "%s: %s%s",
        meaning != NULL ? meaning->words : "the network changes", ip_program_of(words), words);
}

void commands_explain(vorn_actions *actions, vorn_explanation *explanation)
{
    struct telling to = {actions, explanation};
    ip_for_each_planned(say, &to);
}
