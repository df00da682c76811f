/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/peer.h"

#include "access/view.h"

namespace vorn {

/* Rules with the views that are made of them. They go when the last request that uses them ends. */
struct RulesInForce : Record {
    AccessRules *rules = nullptr; /* null lets in nobody but root */
    AccessView *views = nullptr;
    unsigned int users = 0;
};

/* Null while nobody is kept from anything: all that a device without rules looks at. */
extern constinit RulesInForce *access_rules;

/* Whether there are classes of rules at all: no plugin brings any after the first load. */
extern constinit bool rules_are_declared;

/* Rules that come into force with the configuration that they are read from. */
class RulesToCome {
public:
    RulesToCome() = default;
    RulesToCome(const RulesToCome &) = delete;
    ~RulesToCome();

    /* Refused when they can't be understood; not to be taken for none, as without memory. */
    Outcome read(const vorn_instances *instances);
    bool are_read() const { return are_read_; }
    void come_into_force();

private:
    RulesInForce *rules_ = nullptr; /* null for none that keep anybody from anything */
    bool are_read_ = false;
    char gate_user_[AccessRules::longest_user + 1] = "";
};

/* Of a store that is running already: without memory for its rules nobody is let in. */
void put_rules_in_force(const vorn_instances *instances);

/* Whether rules are known to be missing from the configuration: then nobody is let in. */
void note_missing_rules(bool are_missing, const vorn_instances *instances);

/*
 * What somebody may, while this lives. Nothing is looked up for whom nothing can be kept from.
 */
class Access {
public:
    Access() = default;
    explicit Access(const vorn_peer *peer)
    {
        if (access_rules && peer) find(*peer);
    }
    explicit Access(const Subject &subject)
    {
        if (access_rules) find(subject);
    }
    Access(const Access &) = delete;
    ~Access()
    {
        if (rules_) end();
    }

    /* Null for everything. */
    const AccessView *view() const { return view_; }
    /* Nothing can be said of what he may: he gets no answer for lack of memory, or a refusal. */
    bool is_locked_out() const { return is_locked_out_; }
    bool failed() const { return failed_; }

private:
    void find(const vorn_peer &peer);
    void find(const Subject &subject);
    void end();

    RulesInForce *rules_ = nullptr;
    AccessView *view_ = nullptr;
    bool is_locked_out_ = false;
    bool failed_ = false;
};

/* Whether the peer may say for whom he speaks, and that may be somebody's name. */
bool may_speak_for(const vorn_peer *peer, const char *name);
bool may_speak(const vorn_peer *peer);

} // namespace vorn
