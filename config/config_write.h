/* SPDX-License-Identifier: MIT */
#pragma once

#include "config/file_replace.h"
#include "config/save_state.h"
#include "vorn/instances.h"

namespace vorn {

/* Whether a document has the instances of a class, not an abstract one, or the values of one of its
 * properties. */
bool is_saved(const vorn_class &klass);
bool is_saved(const vorn_class &klass, const char *property);

/*
 * The persistent part of a store as a document; empty when memory is gone. The reason tells what no
 * document can hold and had to be left out.
 */
Text config_document(const vorn_instances *instances, SaveReason &left_out);

inline Text config_document(const vorn_instances *instances)
{
    SaveReason left_out;
    return config_document(instances, left_out);
}

/*
 * Writes the persistent part of a store as a document, replacing the file whole. False, with the
 * reason in the log too and the old file untouched, when that can't be done. A reason without that
 * tells what was left out. The document is what was to be written.
 */
bool write_config(const vorn_instances *instances, const char *path, FileKind kind,
                  SaveReason &reason, Text &document);

inline bool write_config(const vorn_instances *instances, const char *path,
                         FileKind kind = FileKind::kept)
{
    SaveReason reason;
    Text document;
    return write_config(instances, path, kind, reason, document);
}

} // namespace vorn
