/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_HISTORY_SHOWN_H
#define PLUGINS_HISTORY_SHOWN_H

#include <stddef.h>

/**
 * A configuration document as clients may see it, without its secrets. What nobody knows any more
 * may have been one. The caller frees it with xmlFree; null when it can't be read or memory is
 * gone.
 */
char *shown_document(const char *document, size_t size);

#endif
