/* SPDX-License-Identifier: MIT */
#pragma once

#include "configuration.h"
#include "schema.h"

namespace vorn::client {

/* Whether somebody may be looking over the shoulder of who reads the standard output. */
bool is_on_terminal();

/* What stands for a secret. */
void hide_secrets(std::vector<Instance> &instances, const Schema &schema);

/* The same on both sides; a secret that has become another is still seen to have changed. */
void hide_secrets(std::vector<Difference> &differences, const Schema &schema);

/*
 * The device tells of a secret only that it is there; a file that has the secret itself is no
 * different for it.
 */
void hide_as_the_device_does(Configuration &saved, const Configuration &running,
                             const Schema &schema);

/* Without the secrets that the file says to be there while the device has none; how many. */
std::size_t drop_hidden(Configuration &file, const Configuration &running, const Schema &schema);

/* Without the secrets; tells whether there were any. */
bool drop_secrets(Configuration &configuration, const Schema &schema);

} // namespace vorn::client
