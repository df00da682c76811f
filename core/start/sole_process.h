/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn {

/*
 * Makes this the only daemon of the device for as long as it lives, or says that there is one
 * already and ends the process with status 1. Comes before anything is touched.
 */
void become_sole_process(int argc, char **argv);

} // namespace vorn
