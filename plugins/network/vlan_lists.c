/* SPDX-License-Identifier: MIT */
#include "vlan_lists.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "values.h"

/* Whether it is one, or several from the first to the last. */
static int read_range(const char *word, int *first, int *last)
{
    char begin[vlan_range_room];
    const size_t length = strcspn(word, "-");
    const char *end = word[length] == '-' ? word + length + 1 : word;
    if (length >= sizeof begin) return 0;
    snprintf(begin, sizeof begin, "%.*s", (int)length, word);
    if (!is_plain_number(begin, 1, last_vlan)) return 0;
    *first = atoi(begin);
    if (end == word) {
        *last = *first;
        return 1;
    }
    if (!is_plain_number(end, 1, last_vlan)) return 0;
    *last = atoi(end);
    return *first < *last;
}

static int is_no_range(const char *word, void *data)
{
    int first;
    int last;
    (void)data;
    return !read_range(word, &first, &last);
}

int is_vlan_list(const char *text)
{
    return for_each_word(text, is_no_range, NULL) == 0;
}

static int put_range(const char *word, void *set)
{
    int first;
    int last;
    if (!read_range(word, &first, &last)) return 0;
    for (int vlan = first; vlan <= last; vlan++)
        kernel_put_vlan(set, vlan);
    return 0;
}

void put_vlans(unsigned char set[kernel_vlan_bytes], const char *list)
{
    for_each_word(list, put_range, set);
}

void write_vlans(char text[vlan_range_room], int first, int last)
{
    if (first == last) {
        snprintf(text, vlan_range_room, "%d", first);
    } else {
        snprintf(text, vlan_range_room, "%d-%d", first, last);
    }
}
