/* SPDX-License-Identifier: MIT */
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>

#include "system/configured_device.h"

namespace vorn::tests {

/*
 * A device with somebody on it who is not root and has no rights. The sandbox can only let one in
 * when root runs the tests; otherwise they are skipped.
 */
class LocalUsers : public ConfiguredDevice {
protected:
    void SetUp() override;

    /* What the program answers as somebody without rights, who is in further groups or in none: its
     * exit status. */
    int as_local_user(const std::function<int()> &act, const std::vector<gid_t> &groups = {});
    /* The number of the error with which the user's attempt to open a file ends; 0 for none. */
    int opening_ends_with(const std::string &path, int flags);

    static unsigned int mode_of(const std::string &path);
};

} // namespace vorn::tests
