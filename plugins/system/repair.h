/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SYSTEM_REPAIR_H
#define PLUGINS_SYSTEM_REPAIR_H

/** Makes the class "repair", by which clients ask for what differs to be put right. */
void repair_declare(void);

#endif
