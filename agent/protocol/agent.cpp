/* SPDX-License-Identifier: MIT */
/*
 * The life of a desired document. It waits in next_ until a look at the device shows what it meets
 * there, so that nothing is decided on what was true a while ago. What is tried is written down
 * before (a device that does not survive it must not try it for ever), and changed in one
 * transaction, on trial:
 *
 *     waiting -> resting -> applying -> proving -> confirming -> resting
 *                   ^           |          |            |
 *                   |           v          v            v
 *                   +------- refused    taken back   reverting
 *
 * A trial is proved by one thing: a report that the broker acknowledged on a connection which was
 * made with the change in force, or which has outlived it where the document says that this will
 * do. Nobody but the daemon takes a change back that was not proved in time: it needs no agent for
 * it.
 */
#include "agent.h"

#include <algorithm>
#include <utility>

#include "bounds.h"

namespace vorn::fleet {

namespace {

/* Changes are told; what is not, as that a service keeps ending, shows in a look. */
constexpr std::int64_t between_looks_ms = 60000;
constexpr std::int64_t while_unsettled_ms = 15000;
constexpr std::int64_t shortest_between_looks_ms = 1000;
constexpr std::int64_t between_looks_at_trial_ms = 2000;
constexpr std::int64_t while_busy_ms = 10000;
constexpr std::int64_t longest_put_off_ms = 3600 * ms_of_s;
constexpr std::int64_t lasting_ms = 60000; /* a connection that has lasted so long is one */
constexpr std::int64_t earliest_clock = 1704067200; /* what is before it was never set */

} // namespace

Agent::Agent(const Settings &settings, Outside &outside)
    : settings_(settings), outside_(outside), states_(settings.watch)
{}

void Agent::start(Time now)
{
    note_ = outside_.read_note();
    connect_at_ = now.ms + spread_.delay_ms(Spread::Cause::start, outside_.chance());
    look();
}

std::int64_t Agent::wake_at() const
{
    const bool considers = phase_ == Phase::resting && !is_looking_;
    return std::min({connect_at_, look_at_, considers ? consider_at_ : never, report_at_,
                     watches() ? states_.wake_at() : never});
}

void Agent::wake(Time now)
{
    if (now.ms >= connect_at_) {
        connect_at_ = never;
        outside_.connect();
    }
    const bool considers = phase_ == Phase::resting && now.ms >= consider_at_;
    if (now.ms >= look_at_ || considers) look();
    if (now.ms >= report_at_) publish_report(now);
    if (!watches() || now.ms < states_.wake_at()) return;
    const std::vector<Selection> due = states_.due(now.ms, now.wall);
    is_reading_ = !due.empty();
    if (is_reading_) outside_.read(due);
}

void Agent::connected(Time now)
{
    is_connected_ = true;
    connected_at_ = now.ms;
    published_.clear();
    is_told_ = false;
    proof_token_ = state_token_ = 0;
    states_.begin_anew(now.ms);
    outside_.subscribe(topic("desired"));
    if (settings_.answers_requests) outside_.subscribe(topic("request"));
    publish("online", R"({"version":1,"online":true})", true);
    publish_report(now);
}

void Agent::disconnected(Time now)
{
    const bool has_lasted = is_connected_ && now.ms - connected_at_ >= lasting_ms;
    if (has_lasted) spread_.settle();
    const Spread::Cause cause = phase_ == Phase::proving ? Spread::Cause::proof
                                : is_connected_          ? Spread::Cause::lost
                                                         : Spread::Cause::failed;
    is_connected_ = false;
    is_answering_ = false;
    proof_token_ = 0;
    untold_.clear();
    report_at_ = never;
    connect_at_ = now.ms + spread_.delay_ms(cause, outside_.chance());
}

void Agent::acknowledged(unsigned token, Time)
{
    if (token == state_token_) state_token_ = 0;
    if (phase_ != Phase::proving || token != proof_token_) return;
    phase_ = Phase::confirming;
    outside_.confirm(trial_id_);
}

void Agent::received(const Message &message, Time now)
{
    if (message.topic == topic("desired")) {
        hear_desired(message.payload, now);
    } else if (message.topic == topic("request")) {
        hear_request(message, now);
    }
}

void Agent::hear_desired(std::string_view payload, Time now)
{
    if (payload.empty()) return; /* nobody desires anything any more */
    Desired desired;
    const Opened opened = open(payload, "desired", longest_document, settings_.keys);
    Refusal refusal = opened.refusal;
    if (!refusal) refusal = read_desired(opened.document, settings_.identity, desired);
    if (refusal) {
        if (phase_ == Phase::resting)
            say(State::refused, desired.generation, std::move(refusal), now);
        return;
    }
    const bool is_known =
        (in_force_ && state_ == State::applied && desired.digest == in_force_->digest) ||
        (trying_ && desired.digest == trying_->digest);
    if (is_known || (next_ && desired.generation < next_->generation)) return;
    next_ = std::make_shared<const Desired>(std::move(desired));
    consider_at_ = never;
    look();
}

/* One at a time: what is looked at meanwhile is looked at again. */
void Agent::look()
{
    if (is_looking_) return;
    is_looking_ = true;
    look_at_ = never;
    outside_.look(trying_ ? trying_ : in_force_);
}

void Agent::changed(Time now)
{
    has_changed_ = is_looking_;
    if (is_looking_) return;
    const bool is_early = looked_at_ != never && now.ms < looked_at_ + shortest_between_looks_ms;
    look_at_ = std::min(look_at_, is_early ? looked_at_ + shortest_between_looks_ms : now.ms);
}

void Agent::looked(View view, Time now)
{
    is_looking_ = false;
    looked_at_ = now.ms;
    const View before = view_ ? *view_ : view;
    view_ = std::move(view);
    is_told_ = is_told_ && *view_ == before;
    const bool is_settled = view_->commit == before.commit && view_->problems.empty() &&
                            view_->trial == View::Trial::none;
    look_at_ = now.ms + (has_changed_               ? shortest_between_looks_ms
                         : phase_ == Phase::proving ? between_looks_at_trial_ms
                         : is_settled               ? between_looks_ms
                                                    : while_unsettled_ms);
    has_changed_ = false;
    if (phase_ == Phase::waiting) phase_ = Phase::resting;
    if (phase_ == Phase::proving) {
        look_at_proof(now);
    } else if (phase_ == Phase::resting) {
        look_at_rest(now);
    }
    publish_report(now); /* first: somebody may be waiting for it */
    tell_events(before, now);
}

void Agent::look_at_proof(Time now)
{
    if (view_->trial == View::Trial::ours) {
        if (!trying_ && next_ && next_->digest == view_->digest) trying_ = std::exchange(next_, {});
        return;
    }
    /* The daemon may have confirmed it and died before it said so. */
    const bool is_kept = view_->generation == about_ && !is_overwriting_;
    end_trial(is_kept ? State::applied : State::reverted,
              is_kept ? Refusal() : Refusal{Reason::unreached, "the trial is over"}, now);
}

void Agent::look_at_rest(Time now)
{
    if (!next_) consider_at_ = never;
    if (view_->trial == View::Trial::ours) {
        take_up_trial(now);
    } else if (next_ && (consider_at_ == never || now.ms >= consider_at_)) {
        consider_at_ = never;
        consider(std::exchange(next_, {}), now);
    } else if (is_connected_ && in_force_ && in_force_->local == Local::overwrite &&
               in_force_->generation == view_->generation && !view_->differences.empty() &&
               !is_turned_away(*in_force_)) {
        overwrite();
    }
}

/* It was begun by an agent that is no more, or its answer was lost. */
void Agent::take_up_trial(Time now)
{
    trial_id_ = view_->trial_id;
    about_ = view_->generation;
    if (next_ && next_->digest == view_->digest) trying_ = std::exchange(next_, {});
    begin_proof(now);
}

void Agent::overwrite()
{
    is_overwriting_ = true;
    trying_ = in_force_;
    phase_ = Phase::applying;
    outside_.apply(trying_);
}

Refusal Agent::obstacle(const Desired &wanted, Time now) const
{
    const bool has_bounds = wanted.not_before != 0 || wanted.not_after != 0;
    if (!wanted.schema.empty() && wanted.schema != view_->schema)
        return {Reason::schema, "this device has \"" + view_->schema + "\""};
    if (has_bounds && now.wall < earliest_clock)
        return {Reason::clock, "the device does not know the time"};
    if (wanted.not_after != 0 && now.wall > wanted.not_after) return {Reason::expired, ""};
    if (now.wall < wanted.not_before) return {Reason::not_yet, ""};
    if (view_->trial == View::Trial::others)
        return {Reason::busy, "somebody else's change is on trial"};
    return {};
}

/* Nothing has changed since the daemon rejected it. */
bool Agent::is_turned_away(const Desired &wanted) const
{
    return wanted.digest == rejected_digest_ && view_->commit == rejected_commit_;
}

void Agent::put_off(const Document &wanted, Refusal why, std::int64_t until_ms, Time now)
{
    next_ = wanted;
    consider_at_ = until_ms;
    say(State::waiting, wanted->generation, std::move(why), now);
}

void Agent::consider(const Document &wanted, Time now)
{
    const std::int64_t number = wanted->generation;
    if (number < view_->generation) {
        const std::string detail = std::to_string(view_->generation) + " is in force";
        say(State::refused, number, {Reason::older, detail}, now);
    } else if (number == view_->generation && wanted->digest != view_->digest) {
        say(State::refused, number, {Reason::reused, "another document had this number"}, now);
    } else if (number == view_->generation) {
        in_force_ = wanted;
        say(State::applied, number, {}, now);
        look();
    } else if (Refusal refusal = obstacle(*wanted, now)) {
        const std::int64_t left = (wanted->not_before - now.wall) * ms_of_s;
        if (refusal.reason == Reason::not_yet) {
            put_off(wanted, refusal, now.ms + std::min(left, longest_put_off_ms), now);
        } else if (refusal.reason == Reason::clock || refusal.reason == Reason::busy) {
            put_off(wanted, refusal, now.ms + while_busy_ms, now);
        } else {
            say(State::refused, number, std::move(refusal), now);
        }
    } else if (note_.generation == number && note_.attempts >= wanted->attempts) {
        say(State::reverted, number, {note_.ended, "it is not tried again"}, now);
    } else if (is_turned_away(*wanted)) {
        say(State::refused, number, rejected_why_, now);
    } else {
        try_it(wanted, now);
    }
}

void Agent::try_it(const Document &wanted, Time now)
{
    const std::int64_t attempts = note_.generation == wanted->generation ? note_.attempts : 0;
    const Note note = {wanted->generation, attempts + 1, Reason::interrupted};
    if (!outside_.write_note(note)) {
        say(State::refused, wanted->generation, {Reason::no_note, "the device's disk"}, now);
        return;
    }
    note_ = note;
    is_overwriting_ = false;
    trying_ = wanted;
    phase_ = Phase::applying;
    outside_.apply(wanted);
}

void Agent::applied(Applied result, Time now)
{
    if (phase_ != Phase::applying) return;
    if (!result.refusal) {
        trial_id_ = std::move(result.trial_id);
        about_ = trying_->generation;
        begin_proof(now);
        look();
        return;
    }
    phase_ = Phase::resting;
    const Document wanted = std::exchange(trying_, {});
    if (!is_overwriting_) {
        /* It was not tried: that does not count. */
        note_.attempts--;
        outside_.write_note(note_);
    }
    if (result.refusal.reason == Reason::busy) {
        if (!is_overwriting_ && (!next_ || next_->generation < wanted->generation))
            put_off(wanted, std::move(result.refusal), now.ms + while_busy_ms, now);
    } else {
        rejected_digest_ = wanted->digest;
        rejected_commit_ = view_->commit;
        rejected_why_ = result.refusal;
        say(State::refused, wanted->generation, std::move(result.refusal), now);
    }
    if (next_) look();
}

/* On the same connection the next look has it reported: a report of before proves nothing. */
void Agent::begin_proof(Time now)
{
    phase_ = Phase::proving;
    proof_token_ = 0;
    spread_.settle();
    stand(State::trying, about_, {});
    const bool is_kept = is_overwriting_ || (trying_ && !trying_->connects_anew);
    if (is_connected_ && is_kept) return;
    if (is_connected_ || connect_at_ == never) {
        is_connected_ = false;
        outside_.disconnect();
    } else {
        connect_at_ = now.ms + spread_.delay_ms(Spread::Cause::proof, outside_.chance());
    }
}

void Agent::confirmed(const Refusal &refusal, Time now)
{
    if (phase_ != Phase::confirming) return;
    if (!refusal) {
        end_trial(State::applied, {}, now);
    } else if (refusal.reason == Reason::not_saved) {
        stand(state_, about_, refusal);
        phase_ = Phase::reverting;
        outside_.revert(trial_id_);
    } else {
        phase_ = Phase::proving; /* the next look shows what became of it */
        look();
    }
}

void Agent::reverted(Time now)
{
    if (phase_ == Phase::reverting) end_trial(State::reverted, why_, now);
}

void Agent::end_trial(State state, Refusal why, Time now)
{
    const Document tried = std::exchange(trying_, {});
    phase_ = Phase::resting;
    proof_token_ = 0;
    if (state == State::applied) {
        if (tried) in_force_ = tried;
        if (!tried) in_force_ = nullptr;
    } else if (!is_overwriting_ && note_.generation == about_) {
        note_.ended = why.reason;
        outside_.write_note(note_);
        if (tried && !next_) {
            next_ = tried;
            consider_at_ = now.ms + while_busy_ms * note_.attempts;
        }
    }
    is_overwriting_ = false;
    if (!is_connected_ && connect_at_ != never) {
        spread_.settle();
        connect_at_ = now.ms + spread_.delay_ms(Spread::Cause::proof, outside_.chance());
    }
    has_ended_trial_ = true;
    look();
    say(state, about_, std::move(why), now);
}

} // namespace vorn::fleet
