/* SPDX-License-Identifier: MIT */
#pragma once

#include "services/xml/xml.h"
#include "vorn/changes.h"
#include "vorn/instances.h"

namespace vorn {

/* Parses a configuration file; empty, with the reason in the log, when it holds none. */
XmlDocument parse_config(const char *path);
/* The same with what the default file holds, where it lies. */
XmlDocument parse_default(const char *path);

/*
 * Fills a store with the instances of a document, recording each as inserted. What is bad is
 * skipped with a message. The document is used up. False when something may be missing only
 * because memory ran out. Counts the instances and values of which no plugin knows the class or the
 * property.
 */
bool read_instances(xmlDoc *document, vorn_instances *instances, vorn_changes *changes,
                    unsigned int &unknown);

inline bool read_instances(xmlDoc *document, vorn_instances *instances, vorn_changes *changes)
{
    unsigned int unknown = 0;
    return read_instances(document, instances, changes, unknown);
}

/* The same for the singletons that the document left out and those that no document may decide. */
bool add_missing_singletons(vorn_instances *instances, vorn_changes *changes);

} // namespace vorn
