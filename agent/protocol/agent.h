/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "document.h"
#include "outside.h"
#include "signature.h"
#include "spread.h"
#include "states.h"

namespace vorn::fleet {

/* What the device's configuration says of its fleet. */
struct Settings {
    Identity identity;
    std::vector<Key> keys;
    bool answers_requests = false;
    Watch watch = {{}, 60, 0}; /* for always; of nothing */
};

/*
 * One device of a fleet: what it does upon each message of the broker and each answer of its
 * daemon.
 *
 * It waits for nothing and owns no descriptor: whatever happens is told to it by a call, with the
 * time at which it happened, and whatever it wants done it asks of the Outside, which outlives it
 * and does not call it back before it returns. docs/fleet-protocol.md says what it has to do.
 */
class Agent {
public:
    Agent(const Settings &settings, Outside &outside);

    /* Once, before anything else. */
    void start(Time now);
    /* To be called at wake_at() of the monotonic clock, or earlier. */
    void wake(Time now);
    std::int64_t wake_at() const;

    void connected(Time now);
    /* Also when a connection could not be made. */
    void disconnected(Time now);
    /* A publication with this token, at QoS 1, was acknowledged. */
    void acknowledged(unsigned token, Time now);
    void received(const Message &message, Time now);

    /* The device may not be any more as it was when it was looked at. */
    void changed(Time now);
    void looked(View view, Time now);
    void applied(Applied result, Time now);
    void confirmed(const Refusal &refusal, Time now);
    void reverted(Time now);
    void answered(const Refusal &refusal, std::string_view reply, Time now);

    void states_read(const std::vector<Shown> &shown, Time now);

    /* For whoever shows it to people. */
    std::int64_t generation() const { return view_ ? view_->generation : 0; }
    bool is_connected() const { return is_connected_; }
    const std::string &last_error() const { return last_error_; }

private:
    enum class Phase : std::uint8_t {
        waiting,    /* for the first look */
        resting,    /* with what is in force */
        applying,   /* the daemon is at it */
        proving,    /* it is on trial, and the broker has to hear of it */
        confirming, /* the broker has */
        reverting,
    };
    enum class State : std::uint8_t { none, applied, trying, waiting, refused, reverted };

    using Document = std::shared_ptr<const Desired>;
    struct Event {
        const char *what;
        std::string text;
        std::int64_t wall;
    };

    void hear_desired(std::string_view payload, Time now);
    void consider(const Document &wanted, Time now);
    Refusal obstacle(const Desired &wanted, Time now) const;
    bool is_turned_away(const Desired &wanted) const;
    void put_off(const Document &wanted, Refusal why, std::int64_t until_ms, Time now);
    void try_it(const Document &wanted, Time now);
    void begin_proof(Time now);
    void look_at_proof(Time now);
    void look_at_rest(Time now);
    void take_up_trial(Time now);
    void overwrite();
    void end_trial(State state, Refusal why, Time now);
    void look();

    void hear_request(const Message &message, Time now);
    Refusal read_request(std::string_view payload, Question &question, Time now) const;
    void respond(const Refusal &refusal, std::string_view reply);
    void stand(State state, std::int64_t about, Refusal why);
    void say(State state, std::int64_t about, Refusal why, Time now);
    void publish(std::string_view leaf, std::string payload, bool is_retained);
    void publish_report(Time now);
    bool watches() const { return is_connected_ && !is_reading_ && state_token_ == 0; }
    void note_events(const View &before, Time now);
    void tell_events(const View &before, Time now);
    std::string topic(std::string_view leaf) const;
    std::string report() const;

    const Settings &settings_;
    Outside &outside_;
    Spread spread_;
    States states_;
    Phase phase_ = Phase::waiting;
    State state_ = State::none;
    bool is_connected_ = false;
    bool is_looking_ = false;
    bool has_changed_ = false;     /* since the look that is under way was begun */
    bool is_reading_ = false;      /* values that are watched */
    bool is_answering_ = false;    /* a request */
    bool is_told_ = false;         /* what a report would say, on this connection */
    bool has_ended_trial_ = false; /* and not reported it yet */
    bool is_overwriting_ = false;  /* what others have changed, with a number that is in force */
    /* Milliseconds of the monotonic clock. */
    std::int64_t connect_at_ = never;
    std::int64_t look_at_ = never;
    std::int64_t consider_at_ = never;
    std::int64_t report_at_ = never;
    std::int64_t connected_at_ = 0;
    std::int64_t looked_at_ = never;
    std::int64_t reported_at_ = 0;
    std::int64_t about_ = 0; /* the number that the state is about; 0 for none */
    Refusal why_;
    unsigned last_token_ = 0;
    unsigned proof_token_ = 0; /* of the report that proves the trial; 0 for none */
    unsigned state_token_ = 0; /* of the last values that were told; 0 when they are acknowledged */
    std::string trial_id_;
    std::string published_;     /* the last report's SHA-256, on this connection */
    std::vector<Event> untold_; /* of one look at most */
    std::string last_error_;
    std::string response_topic_;
    std::string correlation_;
    std::optional<View> view_;
    Note note_;
    Document in_force_; /* null until its document has come again after a start */
    Document trying_;
    Document next_; /* the newest that has to wait */
    /* What the daemon has rejected, and of which configuration; why. */
    std::string rejected_digest_;
    std::string rejected_commit_;
    Refusal rejected_why_;
};

} // namespace vorn::fleet
