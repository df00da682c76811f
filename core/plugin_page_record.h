/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/plugin_page.h"

namespace vorn {

/*
 * The record of plugins under suspicion, on the disk: a reset of the machine takes the page with
 * it, and what comes up next has to know all the same. It is there only while there is something to
 * say. One line for each plugin: deaths, callback, signal, size and digest of the file,
 * name.
 *
 * Writes what the page says. Of the plugin whose code runs it says what is true once the daemon has
 * died there of the signal, or the watchdog has ended it. For signal handlers too.
 */
void write_plugin_record(bool dying, int signal_number);

/* Fills an empty page from it. Lines that are no such lines are passed over. */
void read_plugin_record(PluginPage &page);

} // namespace vorn
