/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn {

/* Brings everything up in its fixed order; returns when only the event loop is left to run. */
void start_up(int argc, char **argv);

/* What is left to do once the event loop has returned. */
void wind_down();

} // namespace vorn
