/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WEB_LIGHTTPD_H
#define PLUGINS_WEB_LIGHTTPD_H

#include "vorn/vorn.h"

#define WEB_FOLDER "/run/vorn-web"
#define WEB_CONFIG WEB_FOLDER "/lighttpd.conf"
#define WEB_SOCKET WEB_FOLDER "/gate"
#define WEB_SPOOL WEB_FOLDER "/spool"
#define WEB_SERVER_USER "www-data"

/** Where the certificate and its key are: as configured, or the self-made one. */
const char *lighttpd_certificate(const vorn_instance *web);

/** Writes the web server's configuration, if it is another than what is there. Answers 0 or 1. */
int lighttpd_write(const vorn_instance *web);

/**
 * Makes the folder where the web server puts what it cannot pass on at once: of an answer, or of
 * what comes, beyond 64 KiB. Nobody else may look in there. Answers 0, or 1 with errno.
 */
int lighttpd_make_spool(void);

#endif
