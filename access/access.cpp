/* SPDX-License-Identifier: MIT */
/*
 * The rules in force, and what those may who were here last. What it protects: whoever can't be
 * told what he may is let in nowhere, and only root is never asked.
 */
#include "access/access.h"

#include "core/announce.h"
#include "core/peer.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <utility>

namespace vorn {

constinit RulesInForce *access_rules = nullptr;
constinit bool rules_are_declared = false;

namespace {

constexpr unsigned int most_views = 16;
constexpr std::int64_t trusted_s = 10; /* what the system says of users and groups */

constinit RulesInForce nobody = {};
constinit bool rules_are_missing = false;
constinit char gate_user[AccessRules::longest_user + 1] = "vorn-gate";

std::int64_t now_s()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return now.tv_sec;
}

void discard(RulesInForce *rules)
{
    if (!rules || rules == &nobody || rules->users > 0) return;
    while (rules->views)
        delete std::exchange(rules->views, rules->views->next);
    delete rules->rules;
    delete rules;
}

/* Whoever awaits it has been told. */
void put_in_force(RulesInForce *rules)
{
    if (rules_are_missing) {
        discard(rules);
        rules = &nobody;
    }
    discard(std::exchange(access_rules, rules));
}

/* The kernel is asked for groups only when there are rules about some: each question costs. */
Subject subject_of(const vorn_peer *peer, const AccessRules *rules)
{
    Subject subject;
    subject.uid = vorn_peer_get_uid(peer);
    std::strcpy(subject.gate_name, vorn_peer_get_for_user(peer));
    if (*subject.gate_name || !rules || !rules->names_groups()) return subject;
    subject.gid = vorn_peer_get_gid(peer);
    const int count = known_groups(peer, subject.groups, Subject::most_groups);
    subject.knows_groups = subject.gid != Subject::unknown && count >= 0 &&
                           count <= static_cast<int>(Subject::most_groups);
    if (subject.knows_groups) subject.group_count = static_cast<unsigned int>(count);
    return subject;
}

bool is_root(const Subject &subject)
{
    return subject.uid == 0 && *subject.gate_name == '\0';
}

/* The one that was made for him, unless it is too old; it comes to the front. */
AccessView *find_view(RulesInForce &rules, const Subject &subject, std::int64_t now)
{
    for (AccessView **place = &rules.views; *place; place = &(*place)->next) {
        AccessView *view = *place;
        if (!view->subject().is_same(subject) || view->out_of_memory() ||
            now - view->made_at >= trusted_s)
            continue;
        *place = view->next;
        view->next = std::exchange(rules.views, view);
        return view;
    }
    return nullptr;
}

/* Those that were not asked for longest. */
void drop_old_views(RulesInForce &rules, std::int64_t now)
{
    unsigned int count = 0;
    for (AccessView **place = &rules.views; *place;) {
        AccessView *view = *place;
        const bool is_old = ++count >= most_views || now - view->made_at >= trusted_s;
        if (!is_old || view->users > 0) {
            place = &view->next;
            continue;
        }
        *place = view->next;
        delete view;
    }
}

AccessView *make_view(RulesInForce &rules, const Subject &subject, std::int64_t now)
{
    drop_old_views(rules, now);
    Owned<AccessView> view = make<AccessView>();
    if (!view || !view->begin(subject, *rules.rules)) return nullptr;
    view->made_at = now;
    view->next = rules.views;
    return rules.views = view.release();
}

} // namespace

RulesToCome::~RulesToCome()
{
    discard(rules_);
}

Outcome RulesToCome::read(const vorn_instances *instances)
{
    Owned<AccessRules> rules;
    rules_are_declared = vorn_classes_get(access_rule_class) != nullptr;
    const Outcome outcome = AccessRules::read(instances, rules);
    if (outcome != Outcome::done) return outcome;
    std::strcpy(gate_user_, rules->gate_user());
    if (rules->restricts()) {
        discard(std::exchange(rules_, make<RulesInForce>().release()));
        if (!rules_) return Outcome::out_of_memory;
        rules_->rules = rules.release();
    }
    are_read_ = true;
    return outcome;
}

void RulesToCome::come_into_force()
{
    rights_are_about_to_change();
    std::strcpy(gate_user, gate_user_);
    put_in_force(std::exchange(rules_, nullptr));
}

void put_rules_in_force(const vorn_instances *instances)
{
    RulesToCome rules;
    if (rules.read(instances) == Outcome::done) {
        rules.come_into_force();
    } else {
        rights_are_about_to_change();
        put_in_force(&nobody);
    }
}

void note_missing_rules(bool are_missing, const vorn_instances *instances)
{
    if (std::exchange(rules_are_missing, are_missing) != are_missing) put_rules_in_force(instances);
}

void Access::find(const vorn_peer &peer)
{
    find(subject_of(&peer, access_rules->rules));
}

void Access::find(const Subject &subject)
{
    if (is_root(subject)) return;
    rules_ = access_rules;
    rules_->users++;
    is_locked_out_ = !rules_->rules;
    if (is_locked_out_) return;
    const std::int64_t now = now_s();
    view_ = find_view(*rules_, subject, now);
    if (!view_) view_ = make_view(*rules_, subject, now);
    failed_ = !view_;
    if (view_) view_->users++;
}

void Access::end()
{
    if (view_) view_->users--;
    rules_->users--;
    if (rules_ != access_rules) discard(rules_);
}

bool may_speak_for(const vorn_peer *peer, const char *name)
{
    return is_gate_name(name) && may_speak(peer);
}

bool may_speak(const vorn_peer *peer)
{
    if (!peer) return false;
    const std::uint32_t uid = vorn_peer_get_uid(peer);
    return uid == 0 || (uid != Subject::unknown && std::strcmp(user_name(uid), gate_user) == 0);
}

} // namespace vorn
