/* SPDX-License-Identifier: MIT */
#include "station_keys.h"

#include <string.h>

#include "declare.h"
#include "describe.h"
#include "hiding.h"
#include "keys.h"
#include "lists.h"
#include "security.h"
#include "values.h"

static const char class_name[] = "station-key";

static vorn_refresher *refresher;

void station_keys_refresh(vorn_refresh_info *info, void *data)
{
    vorn_refresh_info_set_data(info, refresher);
    vorn_refresher_fn(info, data);
}

/* Whether it is among those that its network's stations may use, and why not. */
static const char *state(vorn_instance *key, const char *property, vorn_refresh_info *info)
{
    static fault found;
    (void)property;
    if (station_keys_judge(vorn_refresh_info_get_instances(info), key, &found))
        return failed_state(found.reason);
    if (keys_of(key, "key") == NULL) return failed_state("its key is not on this device");
    return "running";
}

static void declare_key(vorn_class *key)
{
    declare_input(key, "key", VORN_INPUT_WPA_PSK_KEY);
    declare_needed(key, "key");
    vorn_property_set_readable(vorn_class_get_property(key, "key"), 0);
    vorn_property_set_secret(vorn_class_get_property(key, "key"), VORN_SECRET_BY_REFERENCE);
    describe(key, "key", "Key", "What the station has to know.", "battery staple");
    vorn_refresher_set_property_fn(refresher, "key", hiding_tell);
}

int station_keys_declare(void)
{
    static const char *const anybody[] = {"any", NULL};
    vorn_class *key = declare_class(class_name, VORN_CLASS_UNIQUE_NAMED);
    refresher = vorn_refresher_new(class_name);
    if (key == NULL || refresher == NULL) return 1;
    describe_class(key, "Key of a station", "A key beside the network's, for one station or any.",
                   "Wireless", 315);
    declare_name(key, "network", "wireless-network", NULL, 0);
    declare_needed(key, "network");
    describe(key, "network", "Network", "The network that it opens; it has wpa2-psk.", "home");
    declare_input(key, "mac", VORN_INPUT_MAC);
    vorn_property_accept_words(vorn_class_get_property(key, "mac"), anybody);
    describe(key, "mac", "MAC address", "The station's; any if it isn't set.", "00:11:22:33:44:55");
    declare_key(key);
    declare_number(key, "vlan", 1, 4094, VORN_INPUT_NOTHING);
    describe(key, "vlan", "VLAN", "Where whoever uses it is put; the network has dynamic VLANs.",
             "20");
    declare_state(key, "state");
    describe(key, "state", "State", "Whether it can be used, or why not.", NULL);
    vorn_refresher_set_property_fn(refresher, "state", state);
    return vorn_classes_add(key);
}

int station_keys_judge(const vorn_instances *configuration, const vorn_instance *key, fault *found)
{
    const char *name = value_of(key, "network");
    const vorn_instance *network = vorn_instances_get(configuration, "wireless-network", name);
    if (network == NULL) {
        return fault_is(found, "network", "there is no wireless network \"%.64s\"", name);
    }
    if (!security_has_station_keys(network)) {
        return fault_is(found, "network", "\"%.64s\" has no wpa2-psk", name);
    }
    if (*value_of(key, "vlan") == '\0' || security_has_vlans(network)) return 0;
    return fault_is(found, "vlan", "\"%.64s\" has no dynamic VLANs", name);
}

static int is_usable_in(const vorn_instances *configuration, const vorn_instance *key,
                        const vorn_instance *network)
{
    fault found;
    return strcmp(value_of(key, "network"), vorn_instance_get_name(network)) == 0 &&
           keys_of(key, "key") != NULL && !station_keys_judge(configuration, key, &found);
}

int station_keys_are_there(const vorn_instances *configuration, const vorn_instance *network)
{
    int are_there = 0;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    while (walk != NULL && !are_there && vorn_instances_iterator_has_next(walk))
        are_there = is_usable_in(configuration, vorn_instances_iterator_next(walk), network);
    vorn_instances_delete_iterator(walk);
    return are_there;
}

static void write_line(FILE *file, const char *before, const vorn_instance *key)
{
    const char *vlan = value_of(key, "vlan");
    const char *mac = value_of(key, "mac");
    const int is_any = *mac == '\0' || strcmp(mac, "any") == 0;
    fputs(before, file);
    if (*vlan != '\0') fprintf(file, "vlanid=%s ", vlan);
    fprintf(file, "%s %s\n", is_any ? "00:00:00:00:00:00" : mac, keys_of(key, "key"));
}

/* They stand in the text too, as comments: a changed key is a changed text. */
void station_keys_write(struct writer *writer, const vorn_instance *network, const char *interface)
{
    char path[lists_path_room];
    size_t size;
    if (!station_keys_are_there(writer->configuration, network)) return;
    lists_name(path, hostapd_psk, interface);
    fprintf(writer->whole, "wpa_psk_file=%s\n", path);
    FILE *file = open_memstream(&writer->text->lists[hostapd_psk][writer->place], &size);
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(writer->configuration, class_name);
    while (file != NULL && walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *key = vorn_instances_iterator_next(walk);
        if (!is_usable_in(writer->configuration, key, network)) continue;
        write_line(file, "", key);
        write_line(writer->whole, "# ", key);
    }
    vorn_instances_delete_iterator(walk);
    writer->failed |= writer_close_text(file);
}
