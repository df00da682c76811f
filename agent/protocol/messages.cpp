/* SPDX-License-Identifier: MIT */
/*
 * What an agent says. A report is retained and tells all there is to tell, so that nobody needs the
 * one before it; it goes out when it differs from the last one, once a second at most, whatever a
 * broker makes the device do; but how a trial has ended is what somebody waits for.
 */
#include <algorithm>
#include <array>
#include <utility>

#include "agent.h"
#include "bounds.h"
#include "json.h"

namespace vorn::fleet {

namespace {

constexpr std::int64_t between_reports_ms = 1000;
constexpr std::uint32_t response_expires_after = 300;

constexpr std::array state_words = {"none", "applied", "trying", "waiting", "refused", "reverted"};
constexpr std::array trial_words = {"none", "ours", "others"};

Json json_of(const Difference &difference)
{
    Json json = owned(json_object());
    put(json.get(), "class", text(difference.class_name));
    put(json.get(), "name", text(difference.name));
    put(json.get(), "property", text(difference.property));
    put(json.get(), "wanted", text(cut(difference.wanted, longest_detail)));
    put(json.get(), "found", text(cut(difference.found, longest_detail)));
    return json;
}

Json differences_of(const std::vector<Difference> &differences)
{
    Json list = owned(json_array());
    for (std::size_t i = 0; i < std::min(differences.size(), most_differences); i++)
        append(list.get(), json_of(differences[i]));
    return list;
}

Json texts_of(const std::vector<std::string> &texts)
{
    Json list = owned(json_array());
    for (std::size_t i = 0; i < std::min(texts.size(), most_differences); i++)
        append(list.get(), text(cut(texts[i], longest_detail)));
    return list;
}

Json texts_of(const std::map<std::string, std::string> &texts)
{
    Json object = owned(json_object());
    for (const auto &[name, each] : texts)
        put(object.get(), name.c_str(), text(each));
    return object;
}

} // namespace

std::string Agent::topic(std::string_view leaf) const
{
    return "v1/" + settings_.identity.tenant + '/' + settings_.identity.device + '/' +
           std::string(leaf);
}

std::string Agent::report() const
{
    Json json = owned(json_object());
    json_t *report = json.get();
    put(report, "version", owned(json_integer(1)));
    put(report, "generation", owned(json_integer(view_->generation)));
    put(report, "digest", text(view_->digest));
    put(report, "state", text(state_words[static_cast<std::size_t>(state_)]));
    put(report, "about", owned(json_integer(about_)));
    put(report, "reason", text(word_of(why_.reason)));
    put(report, "detail", text(cut(why_.detail, longest_detail)));
    put(report, "trial", text(trial_words[static_cast<std::size_t>(view_->trial)]));
    put(report, "schema", text(view_->schema));
    put(report, "versions", texts_of(view_->versions));
    put(report, "labels", texts_of(view_->labels));
    put(report, "hash", text(view_->hash));
    put(report, "desired-hash", text(view_->desired_hash));
    put(report, "differences", differences_of(view_->differences));
    put(report, "difference-count",
        owned(json_integer(static_cast<json_int_t>(view_->differences.size()))));
    put(report, "healthy", Json(json_boolean(view_->problems.empty())));
    put(report, "problems", texts_of(view_->problems));
    return written(json);
}

void Agent::stand(State state, std::int64_t about, Refusal why)
{
    is_told_ = is_told_ && state == state_ && about == about_ && why == why_;
    state_ = state;
    about_ = about;
    why_ = std::move(why);
}

void Agent::say(State state, std::int64_t about, Refusal why, Time now)
{
    stand(state, about, std::move(why));
    if (why_) last_error_ = std::string(word_of(why_.reason)) + ": " + why_.detail;
    publish_report(now);
}

void Agent::publish(std::string_view leaf, std::string payload, bool is_retained)
{
    outside_.publish({++last_token_, topic(leaf), std::move(payload), {}, is_retained, 0});
}

void Agent::publish_report(Time now)
{
    report_at_ = never;
    if (!is_connected_ || !view_) return;
    if (has_ended_trial_ && is_looking_ && !published_.empty()) return; /* at what is left */
    const bool is_proof =
        phase_ == Phase::proving && proof_token_ == 0 && view_->trial == View::Trial::ours;
    const bool is_awaited = is_proof || std::exchange(has_ended_trial_, false);
    if (is_told_ && !is_proof) return;
    if (!is_awaited && !published_.empty() && now.ms < reported_at_ + between_reports_ms) {
        report_at_ = reported_at_ + between_reports_ms;
        return;
    }
    std::string present = report();
    const std::string digest = sha256(present);
    is_told_ = true;
    if (!is_proof && digest == published_) return;
    published_ = digest;
    reported_at_ = now.ms;
    publish("reported", std::move(present), true);
    if (is_proof) proof_token_ = last_token_;
}

void Agent::note_events(const View &before, Time now)
{
    if (view_->commit != before.commit) untold_.push_back({"changed", view_->commit, now.wall});
    if (view_->trial != before.trial)
        untold_.push_back({"trial", trial_words[static_cast<std::size_t>(view_->trial)], now.wall});
    if (view_->problems.empty() != before.problems.empty())
        untold_.push_back(
            {"health", view_->problems.empty() ? "" : view_->problems.front(), now.wall});
}

/* What the broker has to do for them would be in the way of a trial's end, for which somebody may
 * be waiting: those of its begin are told after that, or with the next look. */
void Agent::tell_events(const View &before, Time now)
{
    const bool can_wait =
        untold_.empty() && phase_ == Phase::proving && proof_token_ == last_token_;
    if (!is_connected_) return;
    note_events(before, now);
    if (can_wait) return;
    for (const Event &each : std::exchange(untold_, {})) {
        Json json = owned(json_object());
        put(json.get(), "version", owned(json_integer(1)));
        put(json.get(), "time", owned(json_integer(each.wall)));
        put(json.get(), "event", text(each.what));
        put(json.get(), "text", text(cut(each.text, longest_detail)));
        publish("event", written(json), false);
    }
}

Refusal Agent::read_request(std::string_view payload, Question &question, Time now) const
{
    if (is_answering_) return {Reason::busy, "another request is being answered"};
    const Opened opened = open(payload, "request", longest_request, settings_.keys);
    if (opened.refusal) return opened.refusal;
    if (Refusal refusal = read_question(opened.document, settings_.identity, question))
        return refusal;
    if (question.not_after < now.wall) return {Reason::expired, ""};
    if (question.not_after > now.wall + longest_request_life)
        return {Reason::malformed, "\"not-after\" is too far away"};
    if (question.watch.until > now.wall + longest_watch)
        return {Reason::malformed, "\"until\" is too far away"};
    return {};
}

void Agent::hear_request(const Message &message, Time now)
{
    const std::string folder = topic("response/");
    const bool is_ours =
        message.response_topic == topic("response") || message.response_topic.starts_with(folder);
    if (!is_ours || message.response_topic.find_first_of("+#") != std::string_view::npos) return;
    Question question;
    Refusal refusal = settings_.answers_requests
                          ? read_request(message.payload, question, now)
                          : Refusal{Reason::off, "this device answers no requests"};
    if (refusal && is_answering_) return; /* whose answer is under way has it undisturbed */
    if (!refusal && !question.watch.what.empty() && !states_.add(question.watch, now.ms, now.wall))
        refusal = {Reason::busy, "too much is watched already"};
    response_topic_ = message.response_topic;
    correlation_ = message.correlation;
    if (refusal || !question.watch.what.empty()) {
        respond(refusal, {});
        return;
    }
    is_answering_ = true;
    outside_.ask(question.lsql);
}

void Agent::answered(const Refusal &refusal, std::string_view reply, Time)
{
    if (!std::exchange(is_answering_, false)) return;
    const bool is_too_large = reply.size() > longest_response;
    respond(is_too_large ? Refusal{Reason::too_large, std::to_string(reply.size()) + " bytes"}
                         : refusal,
            reply);
}

/* The next look has to wait for what this one had to tell: a slow broker is told less often. */
void Agent::states_read(const std::vector<Shown> &shown, Time now)
{
    is_reading_ = false;
    if (!is_connected_) return;
    for (States::Message &each : states_.differences(shown, now.wall)) {
        publish("state/" + each.class_name, std::move(each.payload), false);
        state_token_ = last_token_;
    }
}

void Agent::respond(const Refusal &refusal, std::string_view reply)
{
    Json json = owned(json_object());
    put(json.get(), "version", owned(json_integer(1)));
    put(json.get(), "refused", text(word_of(refusal.reason)));
    put(json.get(), "detail", text(cut(refusal.detail, longest_detail)));
    put(json.get(), "reply", text(refusal ? std::string_view() : reply));
    outside_.publish({++last_token_, response_topic_, written(json), correlation_, false,
                      response_expires_after});
}

} // namespace vorn::fleet
