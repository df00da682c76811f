/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn {

/* While the daemon comes up: the handlers run in signal context, as the signals arrive. */
void install_direct_signal_handlers();

/* From the first pass of the loop on: signals are counted, and the loop runs the handlers. */
void hand_signals_to_eloop();

} // namespace vorn
