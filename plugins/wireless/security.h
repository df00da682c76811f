/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_SECURITY_H
#define PLUGINS_WIRELESS_SECURITY_H

#include "judge.h"
#include "writer.h"

/* How the stations of a network prove who they are, and what is protected then. */

/** The words of the property "security" of a network, a null after the last. */
extern const char *const security_words[];

/** Those of "management-frame-protection" and of "dynamic-vlan". */
extern const char *const security_protections[];
extern const char *const security_vlans[];

/** Judges what else the security of a network asks for, and what of it goes together. */
int security_judge(const vorn_instances *configuration, const vorn_instance *network, fault *found);

/**
 * What keeps a network off the air that is never to be open by mistake, or null. The text is good
 * until the next call.
 */
const char *security_lacks(const vorn_instances *configuration, const vorn_instance *network);

/** Whether stations may have keys of their own there, and whether they are put into VLANs. */
int security_has_station_keys(const vorn_instance *network);
int security_has_vlans(const vorn_instance *network);

/** Whether stations come over from other access points of that key without proving it again. */
int security_is_fast(const vorn_instance *network);

/** Writes the lines of a network that lacks nothing. */
void security_write(struct writer *writer, const vorn_instance *network, const char *interface);

#endif
