/* SPDX-License-Identifier: MIT */
/* The records that a plugin lays out, or reads by field, as this compiler lays them out. */
#include <stdalign.h>
#include <stddef.h>
#include <stdio.h>
#include <vorn/vorn.h>

#define RECORD(type) printf("%s: size %zu, alignment %zu\n", #type, sizeof(type), alignof(type))
#define FIELD(type, field)                                                                         \
    printf("%s.%s: offset %zu, size %zu\n", #type, #field, offsetof(type, field),                  \
           sizeof(((type *)0)->field))

int main(void)
{
    RECORD(ght_key);
    FIELD(ght_key, length);
    FIELD(ght_key, bytes);
    RECORD(ght_iterator);
    FIELD(ght_iterator, current);
    FIELD(ght_iterator, next);
    RECORD(struct vorn_migration);
    FIELD(struct vorn_migration, version);
    FIELD(struct vorn_migration, kind);
    FIELD(struct vorn_migration, class_name);
    FIELD(struct vorn_migration, property);
    FIELD(struct vorn_migration, to_class);
    FIELD(struct vorn_migration, to_property);
    FIELD(struct vorn_migration, names);
    FIELD(struct vorn_migration, from);
    FIELD(struct vorn_migration, to);
    FIELD(struct vorn_migration, split);
    FIELD(struct vorn_migration, join);
    RECORD(vorn_plugin);
    FIELD(vorn_plugin, name);
    RECORD(vorn_util_txt_table);
    FIELD(vorn_util_txt_table, last_transaction);
    FIELD(vorn_util_txt_table, read);
    FIELD(vorn_util_txt_table, read_argument);
    FIELD(vorn_util_txt_table, parse);
    FIELD(vorn_util_txt_table, parse_argument);
    FIELD(vorn_util_txt_table, columns);
    return 0;
}
