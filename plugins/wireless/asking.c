/* SPDX-License-Identifier: MIT */
#include "asking.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "kept.h"
#include "radios.h"
#include "replace.h"
#include "vorn-plugin/patience.h"

enum {
    mac_room = 18,
    limit_ms = 1000,
    answer_room = 256 * 1024,
    calm_us = 10000000 /* in which one that gave no answer in time is not asked again */
};

/* One iw. */
struct question {
    struct question *next;
    const asking *asked;
    const char *about;
    kept run;
    char answer[answer_room];
};

static struct question *questions; /* of the refresh at hand */

static int64_t deadline_us;
static int64_t no_answer_before_us;

static vorn_instance *make(const asking *asked, vorn_instances *made, const char *about)
{
    vorn_instance *instance = vorn_instance_new(vorn_classes_get(asked->class_name), NULL);
    if (instance == NULL) return NULL;
    vorn_instance_set_value(instance, asked->about, about);
    if (vorn_instances_add(made, instance) == 0) return instance;
    vorn_instance_delete(instance);
    return NULL;
}

void asking_read_value(vorn_instance *instance, const char *const labels[][2], const char *line)
{
    char value[32];
    line += strspn(line, " \t");
    for (; (*labels)[0] != NULL; labels++) {
        const size_t length = strlen((*labels)[0]);
        if (strncmp(line, (*labels)[0], length) != 0) continue;
        if (sscanf(line + length, " %31s", value) != 1) continue;
        vorn_instance_set_value(instance, (*labels)[1], value);
    }
}

static void say_unknown(const asking *asked, vorn_instances *made, const char *about,
                        const char *reason)
{
    vorn_instance *instance = make(asked, made, about);
    if (instance != NULL) vorn_instance_set_value(instance, "unknown", reason);
}

void asking_ask(const asking *asked, vorn_instances *made, const char *about, const char *interface)
{
    static const char no_memory[] = "no memory to ask iw";
    const char *const arguments[] = {"iw", "dev", interface, asked->object, "dump", NULL};
    const kept_plan plan = {arguments, NULL, 0, 2 * limit_ms};
    struct question *question = NULL;
    if (vorn_process_no_actions) return;
    if (patience_now_us() < no_answer_before_us) {
        say_unknown(asked, made, about, "iw gave no answer when it was asked last");
    } else if ((question = malloc(sizeof *question)) == NULL) {
        say_unknown(asked, made, about, no_memory);
    } else {
        question->asked = asked;
        question->about = about;
        question->run = (kept)KEPT(question->answer, answer_room);
        kept_start(&question->run, &plan);
        question->next = questions;
        questions = question;
    }
}

static int begins_one(const asking *asked, const char *line, char mac[mac_room])
{
    const size_t length = strlen(asked->head);
    if (strncmp(line, asked->head, length) != 0) return 0;
    if (asked->mac == NULL) return 1;
    snprintf(mac, mac_room, "%s", line + length);
    return vorn_input_is_mac(mac, (int)strlen(mac));
}

static void read_answer(const asking *asked, vorn_instances *made, const char *about, char *answer)
{
    char mac[mac_room];
    char *rest = NULL;
    vorn_instance *instance = NULL;
    for (char *line = strtok_r(answer, "\n", &rest); line != NULL;
         line = strtok_r(NULL, "\n", &rest)) {
        if (begins_one(asked, line, mac)) {
            instance = make(asked, made, about);
            if (instance != NULL && asked->mac != NULL)
                vorn_instance_set_value(instance, asked->mac, mac);
        } else if (instance != NULL) {
            asked->read(instance, line);
        }
    }
}

static void take_answer(struct question *question, vorn_instances *made)
{
    char reason[160];
    const asking *asked = question->asked;
    if (!kept_await(&question->run, deadline_us)) {
        kept_give_up(&question->run);
        no_answer_before_us = patience_now_us() + calm_us;
        snprintf(question->answer, sizeof question->answer, "no answer within %d ms", limit_ms);
    }
    if (question->run.status == 0) {
        read_answer(asked, made, question->about, question->answer);
    } else {
        kept_make_plain(question->answer);
        snprintf(reason, sizeof reason, "iw: %.150s", question->answer);
        vorn_debug_eprintf("wireless: %ss of %s: %s.\n", asked->class_name, question->about,
                           reason);
        say_unknown(asked, made, question->about, reason);
    }
}

/* In the order in which they were asked. */
static void take_answers(struct question *question, vorn_instances *made)
{
    if (question == NULL) return;
    take_answers(question->next, made);
    take_answer(question, made);
    free(question);
}

int asking_refresh(const asking *asked, vorn_refresh_info *info,
                   void (*ask)(const vorn_instances *store, const char *radio, void *made))
{
    if (!vorn_refresh_info_contains_class(info, asked->class_name)) return 0;

    vorn_instances *store = vorn_refresh_info_get_instances(info);
    vorn_instances *made = vorn_instances_new();
    if (made == NULL) return 0;
    deadline_us = patience_now_us() + (int64_t)limit_ms * 1000;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(store, "radio");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const char *radio = vorn_instance_get_name(vorn_instances_iterator_next(walk));
        if (radios_is_running(radio)) ask(store, radio, made);
    }
    vorn_instances_delete_iterator(walk);
    take_answers(questions, made);
    questions = NULL;
    replace_instances(store, asked->class_name, made, asked->properties);
    vorn_instances_delete_all(made);
    return 1;
}
