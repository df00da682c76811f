/* SPDX-License-Identifier: MIT */
#pragma once

#include "config/save_state.h"

namespace vorn {

/*
 * A startup file that can't be read, kept under a second name while the fallbacks are tried, which
 * may put something else in its place. Only when all of them fail is it kept for good: the next
 * save would overwrite the only copy of what somebody had set up.
 */
class BrokenFile {
public:
    BrokenFile();
    BrokenFile(const BrokenFile &) = delete;
    ~BrokenFile();

    /* 0, or the system's error after a message: the next save has to try again then. */
    int keep();

private:
    bool is_there_;
    int error_ = 0;
};

/*
 * Before a save: where the boot could not keep the file, on a disk that was read-only or full, it
 * is kept now. False, with the reason in the log too, while that fails: a save would destroy it.
 */
bool keep_broken_file_first(SaveReason &reason);

/* What lies in the startup file's place was read, or copied there from what can be. */
void startup_file_is_good();

} // namespace vorn
