/* SPDX-License-Identifier: MIT */
#include "known_answers.h"

#include <algorithm>

#include "bounds.h"

namespace vorn::gate {

namespace {

template <typename Schema>
bool is_known_by(const KnownAnswer &known, const Schema &schema, const std::string &user,
                 const std::string &uri)
{
    return known.uri == uri && known.user == user && !known.schema.owner_before(schema) &&
           !schema.owner_before(known.schema);
}

} // namespace

std::shared_ptr<const KnownAnswer>
KnownAnswers::find(const std::shared_ptr<const DeviceSchema> &schema, const std::string &user,
                   const std::string &uri)
{
    const std::lock_guard lock(mutex_);
    const auto found = std::ranges::find_if(
        known_, [&](const auto &each) { return is_known_by(*each, schema, user, uri); });
    if (found == known_.end()) return nullptr;
    known_.splice(known_.begin(), known_, found);
    return known_.front();
}

void KnownAnswers::keep(KnownAnswer answer)
{
    const std::size_t size = answer.uri.size() + answer.question.size() + answer.reply.size() +
                             answer.answer.body.size();
    if (size > longest_known_answer) return;
    const auto kept = std::make_shared<const KnownAnswer>(std::move(answer));
    const std::lock_guard lock(mutex_);
    std::erase_if(known_, [&](const auto &each) {
        return is_known_by(*each, kept->schema, kept->user, kept->uri);
    });
    if (known_.size() >= most_known_answers) known_.pop_back();
    known_.push_front(kept);
}

} // namespace vorn::gate
