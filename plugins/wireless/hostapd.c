/* SPDX-License-Identifier: MIT */
#include "hostapd.h"

#include <dirent.h>
#include <net/if.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "bridges.h"
#include "country.h"
#include "lists.h"
#include "networks.h"
#include "pauses.h"
#include "roaming.h"
#include "security.h"
#include "standards.h"
#include "values.h"
#include "vorn-plugin/whole_file.h"
#include "writer.h"

#define FOLDER "/var/run"
#define HEAD "vorn-hostapd-"
#define TAIL ".conf"

outcomes network_outcomes = {.class_name = "wireless-network"};

/* An SSID that says nothing, told to nobody. */
const char *const hostapd_quiet[][2] = {{"ssid2", "2d"},
                                        {"ignore_broadcast_ssid", "1"},
                                        {"max_num_sta", "0"},
                                        {"start_disabled", "1"},
                                        {NULL, NULL}};

void writer_frame_line(struct writer *writer, const char *name, const char *value)
{
    fprintf(writer->whole, "%s=%s\n", name, value);
    fprintf(writer->frame, "%s=%s\n", name, value);
}

int writer_close_text(FILE *file)
{
    if (file == NULL) return 1;
    const int failed = ferror(file) != 0;
    return fclose(file) != 0 || failed;
}

void hostapd_name_interface(char name[hostapd_name_room], const char *radio, int place)
{
    if (place == 0) {
        snprintf(name, hostapd_name_room, "%s", radio);
    } else {
        snprintf(name, hostapd_name_room, "%.12s_%d", radio, place);
    }
}

void hostapd_name_file(char path[hostapd_path_room], const char *radio)
{
    snprintf(path, hostapd_path_room, FOLDER "/" HEAD "%.40s" TAIL, radio);
}

/* The radio's own, and up to the highest of those that have a section. */
static int count_networks(const char *radio)
{
    char path[hostapd_path_room];
    char interface[hostapd_name_room];
    char line[256];
    int count = 1;
    hostapd_name_file(path, radio);
    FILE *file = whole_file_read(path);
    if (file == NULL) return 0;
    while (fgets(line, sizeof line, file) != NULL) {
        line[strcspn(line, "\n")] = '\0';
        if (strncmp(line, "bss=", 4) != 0) continue;
        for (int place = count; place < hostapd_most_networks; place++) {
            hostapd_name_interface(interface, radio, place);
            if (strcmp(line + 4, interface) == 0) count = place + 1;
        }
    }
    fclose(file);
    return count;
}

void hostapd_recall(hostapd_recall_fn call)
{
    DIR *folder = opendir(FOLDER);
    const struct dirent *entry;
    while (folder != NULL && (entry = readdir(folder)) != NULL) {
        char radio[IF_NAMESIZE];
        const size_t length = strlen(entry->d_name);
        const size_t around = strlen(HEAD) + strlen(TAIL);
        if (length <= around || length - around >= sizeof radio ||
            strncmp(entry->d_name, HEAD, strlen(HEAD)) != 0 ||
            strcmp(entry->d_name + length - strlen(TAIL), TAIL) != 0) {
            continue;
        }
        snprintf(radio, sizeof radio, "%.*s", (int)(length - around), entry->d_name + strlen(HEAD));
        if (is_link_name(radio)) call(radio, count_networks(radio));
    }
    if (folder != NULL) closedir(folder);
}

int hostapd_carries(const vorn_instance *network, const char *radio)
{
    const char *status = value_of(network, "status");
    return strcmp(value_of(network, "radio"), radio) == 0 &&
           outcomes_reason(&network_outcomes, vorn_instance_get_name(network)) == NULL &&
           !pauses_have(vorn_instance_get_name(network)) &&
           (*status == '\0' || strcmp(status, "up") == 0);
}

void hostapd_find_places(places *found, const vorn_instances *configuration, const char *radio,
                         enum places_way way)
{
    places_find(found, configuration, radio, way, hostapd_carries);
}

void hostapd_for_each_network(const vorn_instances *configuration, const char *radio,
                              hostapd_network_fn call, void *data)
{
    places found;
    hostapd_find_places(&found, configuration, radio, places_as_known);
    for (int place = 0; place < found.end; place++) {
        char interface[hostapd_name_room];
        const hostapd_carried carried = {found.networks[place], interface, place};
        hostapd_name_interface(interface, radio, place);
        if (carried.network != NULL) call(&carried, data);
    }
}

const char *hostapd_part(const hostapd_text *text, int place, size_t *length)
{
    const size_t begin = place == hostapd_head ? 0 : text->whole_begins[place];
    *length = text->whole_begins[place + 1] - begin;
    return text->whole + begin;
}

static int is_same_piece(const char *left, const size_t *left_at, const char *right,
                         const size_t *right_at, int place)
{
    const size_t left_begin = place == hostapd_head ? 0 : left_at[place];
    const size_t right_begin = place == hostapd_head ? 0 : right_at[place];
    const size_t length = left_at[place + 1] - left_begin;
    return length == right_at[place + 1] - right_begin &&
           memcmp(left + left_begin, right + right_begin, length) == 0;
}

int hostapd_part_is_same(const hostapd_text *left, const hostapd_text *right, int place)
{
    return is_same_piece(left->whole, left->whole_begins, right->whole, right->whole_begins,
                         place) &&
           is_same_piece(left->frame, left->frame_begins, right->frame, right->frame_begins, place);
}

int hostapd_has_network(const hostapd_text *text, int place)
{
    const int is_empty = text->whole_begins[place] == text->whole_begins[place + 1];
    return !is_empty && (place > 0 || !text->is_quiet);
}

/* Any bytes are a name on the air; in hexadecimal none of them can end the line. */
static void write_ssid(FILE *file, const char *ssid)
{
    fputs("ssid2=", file);
    for (; *ssid != '\0'; ssid++)
        fprintf(file, "%02x", (unsigned char)*ssid);
    fputc('\n', file);
}

/* The addresses stand in the text too, as comments: a changed list is a changed text. */
static int write_addresses(const struct writer *writer, const char *list)
{
    char **text = &writer->text->lists[hostapd_macs][writer->place];
    size_t size;
    FILE *file = open_memstream(text, &size);
    if (file == NULL) return 1;
    vorn_instances_iterator *walk =
        vorn_instances_new_group_iterator(writer->configuration, "access-list", list);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const char *mac = value_of(vorn_instances_iterator_next(walk), "mac");
        fprintf(file, "%s\n", mac);
        fprintf(writer->whole, "# %s\n", mac);
    }
    vorn_instances_delete_iterator(walk);
    return writer_close_text(file);
}

/* A list that is missing takes nobody, whatever it was to be: nobody is let in by mistake. */
static void write_access(struct writer *writer, const vorn_instance *network, const char *interface)
{
    char path[lists_path_room];
    const char *list = value_of(network, "access-list");
    const int accepts = strcmp(value_of(network, "access-policy"), "accept") == 0 ||
                        !networks_has_list(writer->configuration, list);
    lists_name(path, hostapd_macs, interface);
    if (*list == '\0') return;
    fprintf(writer->whole, "macaddr_acl=%d\n%s_mac_file=%s\n", accepts, accepts ? "accept" : "deny",
            path);
    writer->failed |= write_addresses(writer, list);
}

static void write_network(struct writer *writer, const vorn_instance *network)
{
    char interface[hostapd_name_room];
    hostapd_name_interface(interface, writer->radio, writer->place);
    if (writer->place > 0) writer_frame_line(writer, "bss", interface);
    if (*value_of(network, "bridge") != '\0') {
        writer_frame_line(writer, "bridge", value_of(network, "bridge"));
        fprintf(writer->frame, "# %u\n", bridges_number(value_of(network, "bridge")));
    }
    write_ssid(writer->whole, value_of(network, "ssid"));
    fprintf(writer->whole, "ignore_broadcast_ssid=%d\nap_isolate=%d\n", is_on(network, "hidden"),
            is_on(network, "isolation"));
    if (*value_of(network, "max-stations") != '\0') {
        fprintf(writer->whole, "max_num_sta=%s\n", value_of(network, "max-stations"));
    }
    security_write(writer, network, interface);
    roaming_write(writer, network, interface);
    write_access(writer, network, interface);
}

/* hostapd would bring it back otherwise when it tells all beacons anew; so nobody is let in. */
static void write_quiet(struct writer *writer)
{
    for (const char *const(*line)[2] = hostapd_quiet; (*line)[0] != NULL; line++)
        writer_frame_line(writer, (*line)[0], (*line)[1]);
    writer->text->is_quiet = 1;
}

/* Never open because a key is missing. */
static const char *reason_against(const struct writer *writer, const vorn_instance *network,
                                  int carried)
{
    static char reason[48];
    const char *missing = bridges_missing(network);
    const char *lacking = security_lacks(writer->configuration, network);
    if (lacking != NULL) return lacking;
    if (carried == hostapd_most_networks) return "the radio carries no more";
    if (missing == NULL) return NULL;
    snprintf(reason, sizeof reason, "waiting for %s", missing);
    return reason;
}

static void note_outcomes(struct writer *writer)
{
    int carried = 0;
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(writer->configuration, "wireless-network");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *network = vorn_instances_iterator_next(walk);
        const char *name = vorn_instance_get_name(network);
        if (strcmp(value_of(network, "radio"), writer->radio) != 0) continue;
        const char *reason = reason_against(writer, network, carried);
        if (reason != NULL) {
            outcomes_fail(&network_outcomes, name, reason);
        } else {
            outcomes_succeed(&network_outcomes, name);
        }
        carried += hostapd_carries(network, writer->radio);
    }
    vorn_instances_delete_iterator(walk);
}

static void write_networks(struct writer *writer, enum places_way way)
{
    places found;
    hostapd_find_places(&found, writer->configuration, writer->radio, way);
    for (writer->place = 0; writer->place <= hostapd_most_networks; writer->place++) {
        writer->text->whole_begins[writer->place] = (size_t)ftell(writer->whole);
        writer->text->frame_begins[writer->place] = (size_t)ftell(writer->frame);
        if (writer->place >= found.end) continue;
        const vorn_instance *network = found.networks[writer->place];
        if (network != NULL) {
            write_network(writer, network);
        } else if (writer->place == 0) {
            write_quiet(writer);
        }
    }
    writer->text->networks = found.end;
}

static void write_radio(struct writer *writer, const vorn_instance *radio)
{
    writer_frame_line(writer, "interface", writer->radio);
    writer_frame_line(writer, "driver", "nl80211");
    writer_frame_line(writer, "ctrl_interface", "/var/run/vorn-hostapd");
    writer_frame_line(writer, "country_code", country_code());
    writer_frame_line(writer, "ieee80211d", "1");
    writer_frame_line(writer, "hw_mode", value_of(radio, "mode"));
    standards_write(writer, radio);
}

int hostapd_write(hostapd_text *text, const vorn_instance *radio,
                  const vorn_instances *configuration, enum places_way way)
{
    size_t size;
    *text = (hostapd_text){.whole = NULL};
    struct writer writer = {open_memstream(&text->whole, &size),
                            open_memstream(&text->frame, &size),
                            configuration,
                            vorn_instance_get_name(radio),
                            text,
                            0,
                            0};
    if (writer.whole != NULL && writer.frame != NULL) {
        write_radio(&writer, radio);
        note_outcomes(&writer);
        write_networks(&writer, way);
    }
    const int whole_failed = writer_close_text(writer.whole);
    const int frame_failed = writer_close_text(writer.frame);
    if (!whole_failed && !frame_failed && !writer.failed) return 0;
    hostapd_free(text);
    return 1;
}

void hostapd_free(hostapd_text *text)
{
    free(text->whole);
    free(text->frame);
    for (int each = 0; each < hostapd_lists * hostapd_most_networks; each++)
        free(text->lists[each % hostapd_lists][each / hostapd_lists]);
    *text = (hostapd_text){.whole = NULL};
}
