/* SPDX-License-Identifier: MIT */
/*
 * Radios, the networks on the air with them, who may join, and who has. Through hostapd, with a
 * little of iw.
 */
#include <stdio.h>
#include <string.h>

#include "bridges.h"
#include "country.h"
#include "declare.h"
#include "describe.h"
#include "effects.h"
#include "hiding.h"
#include "hostapd.h"
#include "keys.h"
#include "kick.h"
#include "networks.h"
#include "pauses.h"
#include "radios.h"
#include "radius.h"
#include "roaming.h"
#include "security.h"
#include "spectrum.h"
#include "standards.h"
#include "station_keys.h"
#include "stations.h"
#include "values.h"
#include "vorn-plugin/repair.h"

static int is_channel(const char *value)
{
    if (strcmp(value, channel_auto) == 0) return 1;
    if (!is_plain_number(value, 1, 255)) return 0;
    if (country_allows_channel(value)) return 1;
    return vorn_property_refuse_value("The country %s does not allow it.", country_code());
}

static const char *const own_classes[] = {"radio",         "wireless-network", "access-list",
                                          "radius-server", "station-key",      NULL};

static void commit(vorn_commit_info *info)
{
    vorn_instances *configuration = vorn_commit_info_get_after(info);
    const vorn_changes *changes = vorn_commit_info_get_changes(info);
    if (!repair_concerns(info, own_classes)) return;
    hiding_hide_all(configuration, vorn_changes_get_before(changes));
    pauses_take(vorn_commit_info_get_actions(info), configuration);
    radios_commit(configuration, changes);
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    const vorn_instances *configuration = vorn_commit_info_get_after(info);
    if (!repair_concerns(info, own_classes)) return;
    explain_file(explanation, KEYS_FILE, hiding_is_due(configuration) && !explains_held_save(info));
    bridges_foresee(vorn_commit_info_get_actions(info));
    pauses_foresee(vorn_commit_info_get_actions(info), configuration);
    radios_explain(configuration, vorn_commit_info_get_changes(info), explanation);
    pauses_foresee_no_more();
    bridges_foresee(NULL);
}

static void check(vorn_check_info *info, void *data)
{
    (void)data;
    const vorn_changes *changes = vorn_check_info_get_changes(info);
    if (vorn_changes_contains_class(changes, "wireless-network") ||
        vorn_changes_contains_class(changes, "radio") ||
        vorn_changes_contains_class(changes, "bridge") ||
        vorn_changes_contains_class(changes, "access-list") ||
        vorn_changes_contains_class(changes, "radius-server") ||
        vorn_changes_contains_class(changes, "station-key")) {
        judge_class(info, "radio", radios_judge);
        judge_class(info, "wireless-network", networks_judge);
        judge_class(info, "station-key", station_keys_judge);
    }
}

/* object=kick&station=MAC: it may come back at once. */
static int kick(void)
{
    const char *station = vorn_inform_get_value("station");
    if (station == NULL || !vorn_input_is_mac(station, (int)strlen(station))) {
        vorn_debug_eprintf("wireless: \"%s\" is not the MAC address of a station.\n",
                           station != NULL ? station : "");
        return 1;
    }
    vorn_commit_report_set_result("station sent away");
    if (kick_station(station)) return 0;
    vorn_debug_eprintf("wireless: no network has let a station %s go.\n", station);
    return 1;
}

static const char *radio_state(vorn_instance *instance, const char *property,
                               vorn_refresh_info *info)
{
    (void)property;
    (void)info;
    const char *name = vorn_instance_get_name(instance);
    const char *left_behind = radios_left_behind(name);
    const char *own = radios_state(name);
    const int is_settled = strcmp(own, "running") == 0 || strcmp(own, "stopped") == 0;
    return is_settled && left_behind != NULL ? left_behind : own;
}

/* Of a network whose hostapd runs. */
static const char *why_cut_off(const vorn_instance *network, const char *radio)
{
    const vorn_instances *running = vorn_config_get_running();
    const vorn_instance *on_the_air =
        vorn_instances_get(running, "wireless-network", vorn_instance_get_name(network));
    const char *reason = on_the_air != NULL ? radios_off_air(radio, on_the_air) : NULL;
    return reason != NULL ? reason : bridges_reason(running, network, radios_may_be_joining(radio));
}

static const char *state_on_the_air(const vorn_instance *instance, vorn_refresh_info *info)
{
    const char *name = vorn_instance_get_name(instance);
    const char *radio = value_of(instance, "radio");
    fault found;
    const char *failure = outcomes_state(&network_outcomes, name);
    if (failure != NULL) return failure;
    if (networks_judge(vorn_refresh_info_get_instances(info), instance, &found)) {
        return failed_state(found.reason);
    }
    if (!hostapd_carries(instance, radio)) return "stopped";
    const char *state = radios_state(radio);
    const char *reason = strcmp(state, "running") == 0 ? why_cut_off(instance, radio) : NULL;
    return reason != NULL ? reason : state;
}

/* A key on the air that the next boot does not find is applied, and yet nothing to rely on. */
static const char *network_state(vorn_instance *instance, const char *property,
                                 vorn_refresh_info *info)
{
    static char text[128];
    (void)property;
    const char *state = state_on_the_air(instance, info);
    const char *unsaved = keys_why_unsaved(value_of(instance, "key"));
    if (unsaved == NULL || (strcmp(state, "running") != 0 && strcmp(state, "stopped") != 0)) {
        return state;
    }
    snprintf(text, sizeof text, "%s, but not saved: its key: %s", state, unsaved);
    return text;
}

static vorn_refresher *radio_refresher;
static vorn_refresher *network_refresher;

static void refresh(vorn_refresh_info *info, void *data)
{
    vorn_refresh_info_set_data(info, radio_refresher);
    vorn_refresher_fn(info, data);
    vorn_refresh_info_set_data(info, network_refresher);
    vorn_refresher_fn(info, data);
    radius_refresh(info, data);
    station_keys_refresh(info, data);
    stations_refresh(info);
    spectrum_refresh(info);
}

static const char *const modes[] = {"a", "b", "g", NULL};
static const char *const policies[] = {"accept", "deny", NULL};

/* Those of the country, whatever the mode; which of them a mode has is looked at with it. */
static int accept_channels(vorn_property *channel)
{
    enum { highest = 255 };
    vorn_input_set *all = NULL;
    for (int number = 1; number <= highest; number++) {
        char text[4];
        snprintf(text, sizeof text, "%d", number);
        if (!country_allows_channel(text)) continue;
        vorn_input_set *more = vorn_input_get_set_from_range(number, number, all);
        vorn_input_free_set(all);
        all = more;
    }
    const char *const words[] = {channel_auto, NULL};
    const int failed =
        vorn_property_accept_numbers(channel, all) || vorn_property_accept_words(channel, words);
    vorn_input_free_set(all);
    return failed;
}

static int declare_channel(vorn_class *radio)
{
    char channels[country_list_room + sizeof "|auto"];
    country_list_channels(NULL, "|", channels);
    strcat(channels, "|auto");
    declare_required(radio, "channel", is_channel, channels);
    describe(radio, "channel", "Channel",
             "One that the country allows in the mode; auto takes the one that is least in use.",
             "6");
    return accept_channels(vorn_class_get_property(radio, "channel"));
}

static void declare_standard(vorn_class *radio)
{
    declare_one_of(radio, "standard", standard_words);
    describe(radio, "standard", "Standard",
             "802.11n, ac or ax, or legacy for none of them; n if it isn't set, legacy in mode b.",
             "ax");
    declare_one_of(radio, "width", width_words);
    describe(radio, "width", "Width", "How much of the air it takes; 20 if it isn't set.", "80");
    describe_unit(radio, "width", "MHz");
    declare_number(radio, "beacon-interval", 15, 65535, VORN_INPUT_NOTHING);
    describe(radio, "beacon-interval", "Beacon interval",
             "How often it says that it is there; 100 if it isn't set.", "100");
    describe_unit(radio, "beacon-interval", "time units of 1.024 ms");
}

static int declare_radio(void)
{
    vorn_class *radio = declare_class("radio", VORN_CLASS_UNIQUE_NAMED);
    radio_refresher = vorn_refresher_new("radio");
    if (radio == NULL || radio_refresher == NULL) return 1;
    describe_class(radio, "Radio", "A wireless device. Its name is the kernel's, such as wlan0.",
                   "Wireless", 300);
    declare_one_of(radio, "mode", modes);
    declare_needed(radio, "mode");
    describe(radio, "mode", "Mode", "a is sent at 5 GHz, b and g at 2.4; a and g with 802.11n.",
             "g");
    if (declare_channel(radio) != 0) return 1;
    declare_number(radio, "power", 1, 30, VORN_INPUT_NOTHING);
    vorn_property_set_syntax(vorn_class_get_property(radio, "power"), "<1 to 30 dBm>|<nothing>");
    describe(radio, "power", "Power", "How loud it sends; the driver's choice if it isn't set.",
             "20");
    describe_unit(radio, "power", "dBm");
    declare_input(radio, "status", VORN_INPUT_UP_DOWN);
    describe(radio, "status", "Switched", "Whether it is on.", "up");
    declare_standard(radio);
    declare_state(radio, "state");
    describe(radio, "state", "State", "Whether it is on the air, or why not.", NULL);
    vorn_refresher_set_property_fn(radio_refresher, "state", radio_state);
    return vorn_classes_add(radio);
}

static void declare_basics(vorn_class *network)
{
    declare_name(network, "radio", "radio", is_link_name, 0);
    declare_needed(network, "radio");
    describe(network, "radio", "Radio", "The radio that sends it.", "wlan0");
    declare_input(network, "ssid", VORN_INPUT_SSID);
    declare_needed(network, "ssid");
    describe(network, "ssid", "Name (SSID)", "What people see when they look for networks.",
             "guests");
    declare_input(network, "status", VORN_INPUT_UP_DOWN);
    describe(network, "status", "Switched", "Whether it is on the air; it is if it isn't set.",
             "up");
    declare_name(network, "bridge", "bridge", is_link_name_or_none, VORN_INPUT_NOTHING);
    describe(network, "bridge", "Bridge", "What its stations are connected to.", "br-lan");
}

static void declare_security(vorn_class *network)
{
    declare_one_of(network, "security", security_words);
    declare_needed(network, "security");
    describe(
        network, "security", "Security",
        "How stations prove who they are: by a key, with eap to a RADIUS server; with none and "
        "owe anybody joins.",
        "wpa2-psk");
    declare_input(network, "key", VORN_INPUT_WPA_PSK_KEY | VORN_INPUT_NOTHING);
    vorn_property_set_readable(vorn_class_get_property(network, "key"), 0);
    vorn_property_set_secret(vorn_class_get_property(network, "key"), VORN_SECRET_BY_REFERENCE);
    describe(network, "key", "Key",
             "What stations have to know; needed with wpa2-psk, wpa3-sae and wpa2-wpa3.",
             "correct horse");
    declare_name(network, "access-list", "access-list", NULL, VORN_INPUT_NOTHING);
    describe(network, "access-list", "Access list",
             "A list of stations. One without entries lets nobody in.", "staff");
    declare_one_of(network, "access-policy", policies);
    describe(network, "access-policy", "Access policy",
             "Whether those on the list alone may join, or all others; deny if it isn't set.",
             "accept");
}

static void declare_protection(vorn_class *network)
{
    declare_one_of(network, "management-frame-protection", security_protections);
    describe(network, "management-frame-protection", "Management frame protection",
             "Whether nobody else can send stations away; as the security has it if it isn't set, "
             "which is required with wpa3 and owe.",
             "optional");
    declare_one_of(network, "dynamic-vlan", security_vlans);
    describe(network, "dynamic-vlan", "Dynamic VLAN",
             "Whether the RADIUS server, or the station's own key, says in which VLAN it is.",
             "optional");
    declare_input(network, "vlan-bridge", VORN_INPUT_LINK_NAME | VORN_INPUT_NOTHING);
    describe(network, "vlan-bridge", "Bridge of a VLAN",
             "How names of their bridges begin, before the VLAN's number; brvlan if it isn't set.",
             "br-v");
}

static void declare_servers(vorn_class *network)
{
    declare_name(network, "radius-servers", "radius-server", NULL, 0);
    vorn_property_accept_list(vorn_class_get_property(network, "radius-servers"), 1);
    describe(network, "radius-servers", "RADIUS servers",
             "Who knows the stations; the second one is asked when the first is silent.",
             "first second");
    declare_characters(network, "nas-identifier", " ~", 0, 48);
    describe(network, "nas-identifier", "NAS identifier",
             "How RADIUS servers call this network; by its interface if it isn't set.", "attic");
}

static void declare_limits(vorn_class *network)
{
    declare_input(network, "hidden", VORN_INPUT_ON_OFF);
    describe(network, "hidden", "Hidden", "Whether its name is told only to who asks for it.",
             "off");
    declare_input(network, "isolation", VORN_INPUT_ON_OFF);
    describe(network, "isolation", "Isolation", "Whether its stations can't reach each other.",
             "on");
    declare_number(network, "max-stations", 1, 2007, VORN_INPUT_NOTHING);
    describe(network, "max-stations", "Most stations", "How many may join; 2007 if it isn't set.",
             "30");
}

static int declare_network(void)
{
    vorn_class *network = declare_class("wireless-network", VORN_CLASS_UNIQUE_NAMED);
    network_refresher = vorn_refresher_new("wireless-network");
    if (network == NULL || network_refresher == NULL) return 1;
    describe_class(network, "Wireless network", "A network that stations can join.", "Wireless",
                   310);
    declare_basics(network);
    declare_security(network);
    declare_limits(network);
    declare_protection(network);
    declare_servers(network);
    roaming_declare(network);
    declare_state(network, "state");
    describe(network, "state", "State", "Whether it is on the air, or why not.", NULL);
    vorn_refresher_set_property_fn(network_refresher, "key", hiding_tell);
    vorn_refresher_set_property_fn(network_refresher, "state", network_state);
    return vorn_classes_add(network);
}

static int declare_access_list(void)
{
    vorn_class *list = declare_class("access-list", VORN_CLASS_GROUP_NAMED);
    if (list == NULL || declare_input(list, "mac", VORN_INPUT_MAC) != 0 ||
        declare_needed(list, "mac") != 0)
        return 1;
    describe_class(list, "Access list", "One station; those of one name are one list.", "Wireless",
                   320);
    describe(list, "mac", "MAC address", "The station's.", "00:11:22:33:44:55");
    return vorn_classes_add(list);
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    country_read();
    vorn_provider *provider = vorn_provider_new("wireless");
    if (provider == NULL || declare_radio() != 0 || declare_network() != 0 ||
        declare_access_list() != 0 || radius_declare() != 0 || station_keys_declare() != 0 ||
        stations_declare() != 0 || spectrum_declare() != 0) {
        return;
    }
    keys_read();
    if (radios_watch() != 0) vorn_debug_eprintf("wireless: links can't be watched.\n");
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_refresh_fn(provider, refresh, NULL);
    vorn_provider_set_asks_first(provider);
    vorn_providers_add(provider);
    vorn_providers_order("network", "wireless");
    vorn_providers_order("wireless", "dhcp");
    vorn_providers_order("wireless", "save");
    vorn_inform_fn_add("kick", kick);
}
