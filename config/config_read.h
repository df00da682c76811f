/* SPDX-License-Identifier: MIT */
#pragma once

#include "config/config_document.h"
#include "config/kept_pieces.h"
#include "vorn/changes.h"
#include "vorn/instances.h"

namespace vorn {

/*
 * Fills a store with the instances of a document, recording each as inserted. A document of an
 * earlier version is first brought to those of this device's plugins. What is bad is
 * skipped with a message. The document is used up. False when something may be missing only
 * because memory ran out. Counts the instances and values of which no plugin knows the class or the
 * property. What nobody knows and what is refused is kept, if there is a place for it.
 */
bool read_instances(ConfigDocument &document, vorn_instances *instances, vorn_changes *changes,
                    unsigned int &unknown, KeptPieces *kept = nullptr);

inline bool read_instances(ConfigDocument &document, vorn_instances *instances,
                           vorn_changes *changes)
{
    unsigned int unknown = 0;
    return read_instances(document, instances, changes, unknown);
}

/* The same for one instance of it. */
bool read_instance(const WrittenInstance &written, vorn_instances *instances, vorn_changes *changes,
                   unsigned int &unknown, KeptPieces *kept = nullptr);

/* The same for the singletons that the document left out and those that no document may decide. */
bool add_missing_singletons(vorn_instances *instances, vorn_changes *changes);

} // namespace vorn
