/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>

#include "device.h"
#include "lsql.h"
#include "options.h"
#include "schema.h"
#include "verb.h"

namespace vorn::client {

/* The one instance of the class that trials are about. */
extern const Target trial_target;

/*
 * Throws a Misuse when there is nobody to ask. From here on signals are noted, and are an answer:
 * whoever goes away, with the terminal or without, must not take the question along.
 */
void prepare_to_ask();

/*
 * Tells of a trial that has begun or was joined: scripts its id, people how to end it. Or asks
 * them, if that is wanted, and ends it as they say; also when their terminal goes away. Gives the
 * status.
 */
int tell_of_trial(Device &device, const Schema &schema, const Options &options,
                  const std::string &id);

/* "confirm" or "revert": ends the trial that is named, or else the one that is pending. */
int end_trial(const Invocation &invocation, const char *how);

} // namespace vorn::client
