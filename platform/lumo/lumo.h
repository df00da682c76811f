/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/api.h"

VORN_BEGIN

/* A copy of the text in which markup is escaped for XML, to be freed by the caller; null when
 * memory is gone. */
char *lumo_xml_escape(const char *text);

VORN_END
