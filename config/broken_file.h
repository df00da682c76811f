/* SPDX-License-Identifier: MIT */
#pragma once

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

    void keep();
};

} // namespace vorn
