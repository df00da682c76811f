/* SPDX-License-Identifier: MIT */
#ifndef VORN_CONFIG_H
#define VORN_CONFIG_H

#include "vorn/api.h"
#include "vorn/instances.h"

/* libxml2's xmlDoc and xmlNode, so that a plugin that does not use them needs no libxml2. */
struct _xmlDoc;
struct _xmlNode;

VORN_BEGIN

VORN_API int vorn_config_init(void);
VORN_API vorn_instances *vorn_config_get_running(void);
VORN_API vorn_instances *vorn_config_replace_running(vorn_instances *instances);
VORN_API int vorn_config_copy_running_to_startup(void);
VORN_API int vorn_config_copy_running_to_default(void);
VORN_API int vorn_config_copy_startup_to_running(void);
VORN_API int vorn_config_copy_default_to_startup(void);
VORN_API int vorn_config_copy_rescue_to_startup(void);
VORN_API int vorn_config_copy_rescue_to_default(void);
VORN_API const char *vorn_config_get_class_name(struct _xmlDoc *document, struct _xmlNode *element);
VORN_API char *vorn_config_get_startup_as_xml(void);

VORN_END

#endif
