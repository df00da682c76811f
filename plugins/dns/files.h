/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_DNS_FILES_H
#define PLUGINS_DNS_FILES_H

#include "judge.h"

#define DNS_CONFIG_FILE "/var/run/vorn-dns.conf"
#define DNS_RECORDS_FILE "/var/run/vorn-dns.hosts"
#define DNS_STUB_FILE "/var/run/vorn-dns-tls.yml"

/** What is wrong with a server: the files leave it out. */
int servers_judge(const vorn_instances *configuration, const vorn_instance *server, fault *found);

/** Whether any server is asked over TLS: then all are. */
int servers_are_private(const vorn_instances *configuration);

/** What the files are to hold: the caller's texts; null without memory. */
typedef struct dns_texts {
    char *config;
    char *records;
    char *stub;
} dns_texts;
void dns_make_texts(dns_texts *texts, const vorn_instances *configuration);
void dns_free_texts(dns_texts *texts);

#endif
