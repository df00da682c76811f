/* SPDX-License-Identifier: MIT */
/*
 * What a broker sends: a payload as it comes, which nobody has signed, and a document that somebody
 * has. The first is never let through; the second is refused, or all of it is within its bounds.
 */
#include "agent/protocol/bounds.h"
#include "agent/protocol/document.h"
#include "agent/protocol/signature.h"
#include "fuzz/target.h"

namespace {

using namespace vorn::fleet;
using vorn::fuzz::require;

const Identity identity = {"acme", "ap1"};

void read_as_payload(std::string_view text)
{
    static const std::vector<Key> keys = {*Key::of("PUAXw+hDiVqStwqnTRt+vJyYLM8uxJaMwM1V8Sr0Zgw=")};
    for (const char *purpose : {"desired", "request"}) {
        const Opened opened = open(text, purpose, longest_document, keys);
        require(static_cast<bool>(opened.refusal), "nothing unsigned is let through");
        require(opened.document.empty(), "what is refused has no document");
    }
}

void read_as_document(std::string_view text)
{
    Desired desired;
    const Refusal refusal = read_desired(text, identity, desired);
    require(desired.generation >= 0 && desired.generation <= largest_generation,
            "a number is within its bounds");
    if (!refusal) {
        require(desired.trial >= shortest_trial && desired.trial <= longest_trial, "so is a trial");
        require(desired.attempts >= 1 && desired.attempts <= most_attempts, "so are the attempts");
        require(desired.hash == hash_of(desired.content), "the hash is that of the content");
        require(desired.digest == sha256(text), "the digest is that of the bytes");
    }
    Question question;
    if (!read_question(text, identity, question))
        require(question.lsql.size() <= longest_request &&
                    question.watch.every_s <= longest_interval,
                "so is a question");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    vorn::fuzz::ExactCopy text(vorn::fuzz::as_text(data, size));
    const std::string_view exact(text.get(), static_cast<std::size_t>(text.length()));
    read_as_payload(exact);
    read_as_document(exact);
    return 0;
}
