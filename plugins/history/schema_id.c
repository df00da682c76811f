/* SPDX-License-Identifier: MIT */
#include "schema_id.h"

#include "vorn/vorn.h"

#include <stdio.h>
#include <string.h>
#include <zlib.h>

/* One after the other in whatever order plugins were loaded: a sum does not depend on it. */
static unsigned long word(const char *class_name, const char *property)
{
    unsigned long sum = crc32(0, (const Bytef *)class_name, (uInt)strlen(class_name) + 1);
    return crc32(sum, (const Bytef *)property, (uInt)strlen(property));
}

static unsigned long sum_of(const vorn_class *klass)
{
    char type[16];
    const char *name = vorn_class_get_name(klass);
    snprintf(type, sizeof type, "%d", vorn_class_get_type(klass));
    unsigned long sum = word(name, type);
    vorn_class_property_iterator *walk = vorn_class_new_property_iterator(klass);
    while (walk != NULL && vorn_class_property_iterator_has_next(walk)) {
        const vorn_property *property = vorn_class_property_iterator_next(walk);
        if (vorn_property_get_persistence(property) != 0)
            sum += word(name, vorn_property_get_name(property));
    }
    if (walk != NULL) vorn_class_delete_property_iterator(walk);
    return sum;
}

const char *schema_id(void)
{
    static char text[16];
    unsigned long sum = 0;
    if (text[0] != '\0') return text;
    vorn_classes_iterator *walk = vorn_classes_new_iterator();
    while (walk != NULL && vorn_classes_iterator_has_next(walk)) {
        const vorn_class *klass = vorn_classes_iterator_next(walk);
        if (vorn_class_get_persistence(klass) != 0) sum += sum_of(klass);
    }
    if (walk == NULL) return "";
    vorn_classes_delete_iterator(walk);
    snprintf(text, sizeof text, "%08lx", sum & 0xffffffffUL);
    return text;
}
