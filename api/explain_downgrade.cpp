/* SPDX-License-Identifier: MIT */
#include "api/explain_downgrade.h"

#include "api/query_result.h"
#include "config/config_state.h"
#include "config/config_write.h"
#include "config/migrate_document.h"

#include <cstring>

namespace vorn {

namespace {

/* Each line of its own; the text is cut up. */
void add_losses(Answer &answer, Text losses)
{
    char *line = losses.data();
    while (char *end = std::strchr(line, '\n')) {
        *end = '\0';
        answer.add("lost", line);
        line = end + 1;
    }
}

} // namespace

Text explain_downgrade(const char *versions)
{
    const Text before = *versions ? copy_of(versions) : versions_before();
    const Text document = config_document(running_config);
    if (!before || !document) return {};
    Text migrated;
    Text losses;
    const Outcome outcome = migrate_document(document.get(), before.get(), migrated, losses);
    if (outcome == Outcome::out_of_memory) return {};

    Answer answer(TextBuffer::unbounded, Answer::Form::explanation);
    std::int32_t errors = 0;
    if (outcome == Outcome::refused) {
        answer.add_error("These are no versions that the plugins of this device had.", errors);
    } else {
        answer.add("versions", before.get());
        add_losses(answer, std::move(losses));
    }
    answer.add_rc(errors);
    return answer.take();
}

} // namespace vorn
