/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_DNS_CLASSES_H
#define PLUGINS_DNS_CLASSES_H

/** The classes "dns", "dns-server" and "dns-record". 0, or 1. */
int dns_declare(void);

#endif
