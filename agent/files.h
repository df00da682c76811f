/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>

#include "protocol/outside.h"

namespace vorn::fleet {

/* Nothing noted where there is no such file, or none that can be read. */
Note read_note(const std::string &path);
/* The file is replaced whole, and on the disk by then. */
bool write_note(const std::string &path, const Note &note);

/* For who shows how the agent is doing: lines of "name value". It need not outlive the device. */
bool write_status(const std::string &path, const std::string &text);

} // namespace vorn::fleet
