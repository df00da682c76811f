/* SPDX-License-Identifier: MIT */
#pragma once

#include "config/file_replace.h"
#include "vorn/instances.h"

namespace vorn {

/* The persistent part of a store as a document; empty when memory is gone. */
Text config_document(const vorn_instances *instances);

/*
 * Writes the persistent part of a store as a document, replacing the file whole. False, with the
 * reason in the log and the old file untouched, when that can't be done.
 */
bool write_config(const vorn_instances *instances, const char *path,
                  FileKind kind = FileKind::kept);

} // namespace vorn
