/* SPDX-License-Identifier: MIT */
#pragma once

/* What programs have in common that run beside the daemon, for long and without rights. */
namespace vorn::service {

/*
 * The process is the user from now on, in no group but his own, and nothing that it starts can have
 * more rights. Without a user it stays who it is. False when that failed: the program has said so
 * on its standard error.
 */
bool give_up_rights(const char *program, const char *user);

/* What threads free goes back to the system, and no thread has a heap of its own. */
void stay_small();

/* What is free between what is kept goes back, too. For who is about to wait for long. */
void give_back();

} // namespace vorn::service
