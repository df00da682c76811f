/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn {

/*
 * Sends a message with its terminating NUL to one subscriber, or leaves it out when an earlier
 * one is still on its way. True when it went out whole at once.
 */
bool send_message(int fd, const char *message);

/* Forgets what is still to be sent; the descriptor is about to be closed. */
void forget_unsent(int fd);

} // namespace vorn
