/* SPDX-License-Identifier: MIT */
/* The one way in which this program changes a device. */
#include "transaction.h"

#include <algorithm>
#include <sstream>

#include "advice.h"
#include "effects.h"
#include "explanation.h"
#include "failure.h"
#include "text.h"
#include "trial.h"
#include "view.h"

namespace vorn::client {

namespace {

constexpr char nothing_there[] = "No instance ";
constexpr char moved_on[] = "The configuration has changed";
constexpr char unknown_root[] = "Top level name is not lsql.";

/* What is said against one operation begins in one of these ways. */
bool is_about_all(std::string_view error)
{
    constexpr const char *heads[] = {"Unknown class", "Value ",   "Bad instance", "Instance is ",
                                     "Couldn't add",  "Invalid ", "Incomplete ",  "No class"};
    const bool is_about_property = error.starts_with("Property ") &&
                                   (error.find(" is not valid for class ") != std::string::npos ||
                                    error.find(" is not writable.") != std::string::npos);
    return !is_about_property &&
           std::ranges::none_of(heads, [&](const char *head) { return error.starts_with(head); });
}

Missing missing(const Target &target)
{
    return target.name ? Missing::is_an_error : Missing::passes;
}

} // namespace

/* What can't be sent is said without the secrets in it. */
template <typename Add>
void Transaction::add(const std::string &title, const Target &target, const Values &values,
                      Add add_to)
try {
    add_to(request_);
    operations_.push_back({title, target, values});
    touched_.push_back(target);
} catch (const Failure &failure) {
    throw Failure(failure.status(),
                  without_secrets(failure.what(), schema_, target.class_name, values));
}

void Transaction::update(const std::string &title, const Target &target, const Values &values)
{
    add(title, target, values,
        [&](Request &request) { request.update(target, values, missing(target)); });
}

void Transaction::insert(const std::string &title, const Target &target, const Values &values,
                         const std::string &secrets_of)
{
    add(title, target, values,
        [&](Request &request) { request.insert(target, values, secrets_of); });
}

void Transaction::remove(const std::string &title, const Target &target)
{
    add(title, target, {}, [&](Request &request) { request.remove(target, missing(target)); });
}

void Transaction::only_if(const std::string &commit)
{
    if (!commit.empty()) request_.only_if(commit);
}

/* Of a reference to nothing, what it may have been meant to refer to. */
std::string Transaction::with_advice(Device &device, const std::string &line) const
{
    const Property *property =
        schema_.find_property(quoted_after(line, " of class "), quoted_after(line, "Property "));
    const std::size_t reason = line.find("\": ");
    if (!property || property->references.empty() || reason == std::string::npos) return line;
    const std::string meant = quoted_after(line.substr(reason + 3), " ");
    const std::vector<std::string> names = names_of(device, property->references);
    return meant.empty() || contains(names, meant) ? line : go_on(line, did_you_mean(meant, names));
}

void Transaction::fail_as_a_whole(Device &device, std::string error, ExitStatus status) const
{
    for (const Operation &each : operations_)
        error = without_secrets(error, schema_, each.target.class_name, each.values);
    std::istringstream lines(error);
    std::string text;
    for (std::string line; std::getline(lines, line);)
        text += (text.empty() ? "" : "\nvornctl: ") + with_advice(device, line);
    throw Failure(status, text);
}

Failure Transaction::refusal_of(Device &device, const std::string &error, std::size_t index) const
{
    const Operation &operation = operations_[index];
    if (error.starts_with(nothing_there)) {
        const std::string more = !operation.target.where.empty()
                                     ? " that fulfils the condition"
                                     : did_you_mean(operation.target.name.value_or(""),
                                                    names_of(device, operation.target.class_name));
        return Failure(differs, concat({operation.title, ": there is no such instance", more}));
    }
    return Failure(status_after(error, schema_, operation.target, operation.values),
                   concat({operation.title, ": ",
                           explained(error, schema_, operation.target, operation.values)}));
}

/* What is said against the whole, and not against an operation, names whom it means itself. */
void Transaction::fail(Device &device, const Outcome &outcome, std::size_t index) const
{
    if (outcome.error.starts_with(moved_on)) throw MovedOn(outcome.error);
    if (!outcome.error.starts_with(nothing_there) && is_about_all(outcome.error))
        fail_as_a_whole(device, outcome.error, refused);
    throw refusal_of(device, outcome.error, index);
}

/* Each in a line; the status is that of the first, as the change itself would end. */
void Transaction::fail_with(Device &device, const std::vector<Explanation::Error> &errors) const
{
    std::string text;
    ExitStatus status = refused;
    for (const Explanation::Error &each : errors) {
        const bool is_known = each.operation > 0 && each.operation <= operations_.size();
        const Failure failure =
            is_known ? refusal_of(device, each.sentence, each.operation - 1)
                     : Failure(each.sentence.starts_with(nothing_there) ? differs : refused,
                               each.sentence);
        if (text.empty()) status = failure.status();
        text += concat({text.empty() ? "" : "\nvornctl: ", failure.what()});
    }
    throw Failure(status, text);
}

int Transaction::explain(Device &device)
{
    if (request_.empty()) {
        print(options_.output, Explanation(), "<?xml version=\"1.0\"?>\n<explanation/>\n");
        return done;
    }
    if (is_on_trial()) begin_trial();
    request_.only_explain();
    const std::string answer = device.ask(request_.text());
    if (!Explanation::is_one(answer)) {
        const std::vector<Outcome> outcomes = parse_answer(answer);
        const std::string error =
            outcomes.empty() ? "the answer makes no sense" : outcomes[0].error;
        if (error.starts_with(moved_on)) throw MovedOn(error);
        client::fail(refused, {error.starts_with(unknown_root)
                                   ? "the daemon of this device can't explain a change"
                                   : error});
    }
    const Explanation explanation = Explanation::of(answer);
    if (!explanation.errors.empty()) fail_with(device, explanation.errors);
    print(options_.output, explanation, answer);
    if (!explanation.refused.empty())
        fail_as_a_whole(device, joined(explanation.refused, "\n"), refused);
    return done;
}

/* In the same transaction, which tells the id as well. */
void Transaction::begin_trial()
{
    Values words;
    if (!options_.joins.empty()) words.emplace_back("join", options_.joins);
    if (options_.trial_seconds > 0)
        words.emplace_back("seconds", std::to_string(options_.trial_seconds));
    request_.update(trial_target, words);
    request_.select(trial_target, {"id"});
    const Operation both = {"--trial", trial_target, words};
    operations_.push_back(both);
    operations_.push_back(both);
}

int Transaction::execute(Device &device)
{
    outcomes_.clear();
    if (options_.explains) return explain(device);
    if (options_.asks) prepare_to_ask();
    if (!options_.comment.empty() && !request_.empty())
        update("comment", {"history", {}, {}}, {{"comment", options_.comment}});
    const Effects effects(device, schema_);
    if (request_.empty()) return effects.report(touched_, options_.waits);
    const std::size_t own = operations_.size();
    if (is_on_trial()) begin_trial();
    outcomes_ = parse_answer(device.ask(request_.text()));
    for (std::size_t i = 0; i < outcomes_.size() && i < operations_.size(); i++) {
        if (outcomes_[i].rc != 0) fail(device, outcomes_[i], i);
    }
    if (outcomes_.size() != operations_.size()) {
        client::fail(no_answer, {"the answer makes no sense"});
    }
    const std::vector<Instance> trials = outcomes_.back().instances;
    outcomes_.erase(outcomes_.begin() + static_cast<std::ptrdiff_t>(own), outcomes_.end());
    const int status = effects.report(touched_, options_.waits);
    if (!is_on_trial()) return status;
    if (trials.empty()) client::fail(no_answer, {"the answer makes no sense"});
    const int kept = tell_of_trial(device, schema_, options_, trials[0].value("id"));
    return kept != done ? kept : status;
}

} // namespace vorn::client
