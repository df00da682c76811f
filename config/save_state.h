/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/text.h"

#include <ctime>

namespace vorn {

/* Why something was not saved, in a few words; "" while nothing has gone wrong. */
class SaveReason {
public:
    void set(const char *pattern, ...) VORN_PRINTF(2, 3);
    const char *get() const { return text_; }
    bool is_empty() const { return *text_ == '\0'; }

private:
    char text_[160] = "";
};

/* What the last try to save the running configuration came to. */
struct SaveState {
    int result;
    std::time_t time;
    SaveReason reason;
};

extern SaveState last_save;

/* Notes the end of a try: it has succeeded when there is no reason why not. */
void note_save(const SaveReason &reason);
/* Notes that there was none, because saving is held. */
void note_no_save(const SaveReason &reason);
/* What was held is gone: the last save is the one before that again. */
void forget_no_save();
/* Lets those hear of a save who want to. */
void tell_of_save(const Text &document);

} // namespace vorn
