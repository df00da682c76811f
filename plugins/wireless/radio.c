/* SPDX-License-Identifier: MIT */
#include "radio.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static struct radio *radios;

struct radio *radio_first(void)
{
    return radios;
}

struct radio *radio_find(const char *name)
{
    struct radio *radio = radios;
    while (radio != NULL && strcmp(radio->name, name) != 0)
        radio = radio->next;
    return radio;
}

static void free_radio(struct radio *radio)
{
    free(radio->name);
    free(radio->service);
    free(radio);
}

static char *name_service(const char *name)
{
    static const char program[] = "hostapd ";
    const size_t size = sizeof program + strlen(name);
    char *service = malloc(size);
    if (service != NULL) snprintf(service, size, "%s%s", program, name);
    return service;
}

struct radio *radio_new(const char *name)
{
    struct radio *radio = calloc(1, sizeof *radio);
    if (radio == NULL) return NULL;
    radio->name = strdup(name);
    radio->service = name_service(name);
    if (radio->name != NULL && radio->service != NULL) {
        radio->program = supervise_new(radio->service);
    }
    if (radio->program == NULL) {
        free_radio(radio);
        return NULL;
    }
    radio->next = radios;
    radios = radio;
    return radio;
}
