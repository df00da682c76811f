/* SPDX-License-Identifier: MIT */
#include "api/query_unread.h"

#include "api/query_rights.h"
#include "config/config_hold.h"
#include "model/instances_walk.h"
#include "model/lazy/working_copy.h"
#include "vorn/config.h"

#include <cstring>

namespace vorn {

namespace {

constexpr char hidden_reason[] = "It does not fit something that may not be read.";
constexpr char hidden_holder[] = "A change is on trial";

bool is_of_word(char each)
{
    const bool is_letter = (each >= 'a' && each <= 'z') || (each >= 'A' && each <= 'Z');
    return is_letter || (each >= '0' && each <= '9') || static_cast<unsigned char>(each) >= 0x80;
}

/* As a part of a longer word it is another one. */
bool has_word(const char *text, const char *word)
{
    if (!word || *word == '\0') return false;
    const std::size_t length = std::strlen(word);
    for (const char *at = text; (at = std::strstr(at, word)); at++) {
        const bool begins = at == text || !is_of_word(at[-1]) || !is_of_word(*word);
        const bool ends = !is_of_word(at[length]) || !is_of_word(word[length - 1]);
        if (begins && ends) return true;
    }
    return false;
}

bool has_unread_of(const AccessView &view, const vorn_instance &instance, const char *text)
{
    const bool is_there = view.is_there(instance);
    if (!is_there && has_word(text, instance.name.get())) return true;
    if (!is_there && has_word(text, instance.klass->name.get())) return true;
    const ClassRights &rights = view.of(*instance.klass);
    for (auto [property, value] : instance.values) {
        if ((!is_there || !rights.may_read(property.name)) && has_word(text, value)) return true;
    }
    return false;
}

/* Without memory for the walk it has. */
bool has_unread_in(const AccessView &view, const vorn_instances *store, const char *text)
{
    const Walk walk(new_reading_iterator(store, nullptr, nullptr));
    for (const vorn_instance *each : walk) {
        if (has_unread_of(view, *each, text)) return true;
    }
    return !walk;
}

bool knows_holder(const QueryRequest &request)
{
    const vorn_class *trial = known_class(request, "trial");
    return trial && may_read(rights_to(request, *trial), "holder");
}

} // namespace

bool names_unread(const QueryRequest &request, const char *sentence)
{
    if (!request.view || request.view->reads_everything()) return false;
    return has_unread_in(*request.view, request.instances, sentence) ||
           has_unread_in(*request.view, vorn_config_get_running(), sentence) ||
           request.view->out_of_memory();
}

const char *told_hold(const QueryRequest &request)
{
    const char *reason = reason_to_hold();
    return reason && request.view && !knows_holder(request) ? hidden_holder : reason;
}

const char *told_refusal(const QueryRequest &request, const Refusal &refusal)
{
    const char *sentence = refusal.sentence.get();
    if (!request.view || request.view->reads_everything()) return sentence;
    const ClassRights *rights = refusal.klass ? &request.view->of(*refusal.klass) : nullptr;
    if (rights && !rights->is_there) return hidden_reason;
    if (rights && refusal.property && !rights->may_read(refusal.property->name.get()))
        return hidden_reason;
    if (!rights && reason_to_hold() && !knows_holder(request)) return "A change is on trial.";
    return names_unread(request, sentence) ? hidden_reason : sentence;
}

} // namespace vorn
