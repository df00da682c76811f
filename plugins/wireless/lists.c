/* SPDX-License-Identifier: MIT */
#include "lists.h"

#include <stdio.h>
#include <unistd.h>

#include "vorn-plugin/whole_file.h"

static const struct {
    const char *tail;
    unsigned int mode;
} kinds[hostapd_lists] = {{"macs", 0644}, {"psk", 0600}, {"vlans", 0644}};

void lists_name(char path[lists_path_room], enum hostapd_list list, const char *interface)
{
    snprintf(path, lists_path_room, "/var/run/vorn-hostapd-%s.%s", interface, kinds[list].tail);
}

static void name_of(char path[lists_path_room], int list, const char *radio, int place)
{
    char interface[hostapd_name_room];
    hostapd_name_interface(interface, radio, place);
    lists_name(path, (enum hostapd_list)list, interface);
}

int lists_are_new(const hostapd_text *text, const char *radio)
{
    char path[lists_path_room];
    int are_new = 0;
    for (int each = 0; each < hostapd_lists * hostapd_most_networks; each++) {
        const char *content = text->lists[each % hostapd_lists][each / hostapd_lists];
        name_of(path, each % hostapd_lists, radio, each / hostapd_lists);
        are_new |= content != NULL && whole_file_differs(path, content);
    }
    return are_new;
}

int lists_write(const hostapd_text *text, const char *radio)
{
    char path[lists_path_room];
    int has_new = 0;
    for (int each = 0; each < hostapd_lists * hostapd_most_networks; each++) {
        const int list = each % hostapd_lists;
        const char *content = text->lists[list][each / hostapd_lists];
        name_of(path, list, radio, each / hostapd_lists);
        if (content == NULL) {
            unlink(path);
            continue;
        }
        const int result = write_file_whole(path, content, kinds[list].mode);
        if (result < 0) return -1;
        has_new |= result;
    }
    return has_new;
}

void lists_forget(const char *radio)
{
    const hostapd_text none = {.whole = NULL};
    lists_write(&none, radio);
}
