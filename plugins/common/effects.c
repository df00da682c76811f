/* SPDX-License-Identifier: MIT */
#include "effects.h"

void explain_program(vorn_explanation *explanation, const char *program, enum supervise_deed deed,
                     const char *loss)
{
    static const struct {
        int weight;
        const char *words;
    } deeds[] = {[SUPERVISE_LEAVES] = {VORN_EXPLAIN_NOTHING, NULL},
                 [SUPERVISE_STARTS] = {VORN_EXPLAIN_LIVE, "starts"},
                 [SUPERVISE_RESTARTS] = {VORN_EXPLAIN_INTERRUPTS, "starts anew"},
                 [SUPERVISE_ENDS] = {VORN_EXPLAIN_INTERRUPTS, "ends"}};
    const int has_loss = loss != NULL && deeds[deed].weight == VORN_EXPLAIN_INTERRUPTS;
    if (deeds[deed].words == NULL) return;
    vorn_explanation_add(explanation, deeds[deed].weight, "%s %s%s%s", program, deeds[deed].words,
                         has_loss ? ": " : "", has_loss ? loss : "");
}

void explain_file(vorn_explanation *explanation, const char *path, int is_replaced)
{
    if (is_replaced) vorn_explanation_add(explanation, VORN_EXPLAIN_NOTHING, "%s is written", path);
}

int explains_held_save(const vorn_commit_info *info)
{
    const vorn_actions *actions = vorn_commit_info_get_actions(info);
    return vorn_config_is_held() || vorn_actions_exists(actions, "save", "hold", NULL, NULL);
}
