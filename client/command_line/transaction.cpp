/* SPDX-License-Identifier: MIT */
/* The one way in which this program changes a device. */
#include "transaction.h"

#include "failure.h"

namespace vorn::client {

void Transaction::update(const std::string &title, const Target &target, const Values &values)
{
    request_.update(target, values);
    titles_.push_back(title);
}

void Transaction::insert(const std::string &title, const Target &target, const Values &values)
{
    request_.insert(target, values);
    titles_.push_back(title);
}

void Transaction::remove(const std::string &title, const Target &target)
{
    request_.remove(target);
    titles_.push_back(title);
}

std::vector<Outcome> Transaction::execute(Device &device) const
{
    if (request_.empty()) return {};
    std::vector<Outcome> outcomes = parse_answer(device.ask(request_.text()));
    for (std::size_t i = 0; i < outcomes.size() && i < titles_.size(); i++) {
        if (outcomes[i].rc != 0) throw Failure(refused, titles_[i] + ": " + outcomes[i].error);
    }
    if (outcomes.size() != titles_.size()) throw Failure(no_answer, "the answer makes no sense");
    return outcomes;
}

} // namespace vorn::client
