/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_HISTORY_SCHEMA_ID_H
#define PLUGINS_HISTORY_SCHEMA_ID_H

/** Eight digits that are others when a class or a property of what is saved has come or gone. */
const char *schema_id(void);

#endif
