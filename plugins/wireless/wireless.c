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
#include "effects.h"
#include "hostapd.h"
#include "keys.h"
#include "kick.h"
#include "networks.h"
#include "radios.h"
#include "stations.h"
#include "values.h"

DECLARE_VALIDITY(is_mode, length == 1 && vorn_input_is_mode(value, length))
DECLARE_VALIDITY(is_status, vorn_input_is_up_down(value, length))
DECLARE_VALIDITY(is_ssid, vorn_input_is_ssid(value, length))
DECLARE_VALIDITY(is_key_or_none, length == 0 || vorn_input_is_wpa_psk_key(value, length))
DECLARE_VALIDITY(is_on_off, vorn_input_is_on_off(value, length))
DECLARE_VALIDITY(is_mac, vorn_input_is_mac(value, length))

static const char *const securities[] = {"none", "wpa2-psk", "wpa3-sae", NULL};
static const char *const policies[] = {"accept", "deny", NULL};

DECLARE_VALIDITY(is_security, vorn_input_is_string_in_array(value, length, securities))
DECLARE_VALIDITY(is_policy, vorn_input_is_string_in_array(value, length, policies))

static int is_channel(const char *value)
{
    if (!is_plain_number(value, 1, 255)) return 0;
    if (country_allows_channel(value)) return 1;
    return vorn_property_refuse_value("The country %s does not allow it.", country_code());
}

static int is_power_or_none(const char *value)
{
    return *value == '\0' || is_plain_number(value, 1, 30);
}

static int is_station_count(const char *value)
{
    return *value == '\0' || is_plain_number(value, 1, 2007);
}

static int is_link_name_or_none(const char *value)
{
    return *value == '\0' || is_link_name(value);
}

static int is_any_name(const char *value)
{
    (void)value;
    return 1;
}

static int is_to_hide(const vorn_instance *network)
{
    const char *key = value_of(network, "key");
    return *key != '\0' && !keys_is_reference(key);
}

/* The reference that takes the key's place, or null when it can stay as it is. */
static const char *hide(const vorn_instance *network, const vorn_instances *configuration,
                        const vorn_instances *before)
{
    if (!is_to_hide(network)) return NULL;
    return keys_keep(value_of(network, "key"), configuration, before);
}

static void hide_keys(const vorn_instances *configuration, const vorn_instances *before)
{
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, "wireless-network");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        vorn_instance *network = vorn_instances_iterator_next(walk);
        const char *reference = hide(network, configuration, before);
        if (reference != NULL) vorn_instance_set_value(network, "key", reference);
    }
    vorn_instances_delete_iterator(walk);
    keys_write(configuration);
}

static void commit(vorn_commit_info *info)
{
    vorn_instances *configuration = vorn_commit_info_get_after(info);
    const vorn_changes *changes = vorn_commit_info_get_changes(info);
    hide_keys(configuration, vorn_changes_get_before(changes));
    radios_commit(configuration, changes);
}

static int has_keys_to_hide(const vorn_instances *configuration)
{
    int has_one = 0;
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, "wireless-network");
    while (walk != NULL && !has_one && vorn_instances_iterator_has_next(walk))
        has_one = is_to_hide(vorn_instances_iterator_next(walk));
    vorn_instances_delete_iterator(walk);
    return has_one;
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    const vorn_instances *configuration = vorn_commit_info_get_after(info);
    explain_file(explanation, KEYS_FILE,
                 has_keys_to_hide(configuration) && !explains_held_save(info));
    bridges_foresee(vorn_commit_info_get_actions(info));
    radios_explain(configuration, vorn_commit_info_get_changes(info), explanation);
    bridges_foresee(NULL);
}

static void check(vorn_check_info *info, void *data)
{
    (void)data;
    const vorn_changes *changes = vorn_check_info_get_changes(info);
    if (vorn_changes_contains_class(changes, "wireless-network") ||
        vorn_changes_contains_class(changes, "radio") ||
        vorn_changes_contains_class(changes, "bridge") ||
        vorn_changes_contains_class(changes, "access-list")) {
        judge_class(info, "radio", radios_judge);
        judge_class(info, "wireless-network", networks_judge);
    }
}

/* object=kick&station=MAC: it may come back at once. */
static int kick(void)
{
    const char *station = vorn_inform_get_value("station");
    if (station == NULL || !is_mac(station)) {
        vorn_debug_eprintf("wireless: \"%s\" is not the MAC address of a station.\n",
                           station != NULL ? station : "");
        return 1;
    }
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

/* An update that no commit follows leaves the key as it came: nobody is to read it. */
static const char *key(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)property;
    return hide(instance, vorn_refresh_info_get_instances(info), NULL);
}

static vorn_refresher *radio_refresher;
static vorn_refresher *network_refresher;

static void refresh(vorn_refresh_info *info, void *data)
{
    vorn_refresh_info_set_data(info, radio_refresher);
    vorn_refresher_fn(info, data);
    vorn_refresh_info_set_data(info, network_refresher);
    vorn_refresher_fn(info, data);
    stations_refresh(info);
}

static int declare_radio(void)
{
    char channels[country_list_room];
    vorn_class *radio = declare_class("radio", VORN_CLASS_UNIQUE_NAMED);
    radio_refresher = vorn_refresher_new("radio");
    if (radio == NULL || radio_refresher == NULL) return 1;
    declare_required(radio, "mode", is_mode, "a|b|g");
    declare_required(radio, "channel", is_channel, country_list_channels(NULL, "|", channels));
    declare_setting(radio, "power", is_power_or_none, "<1 to 30 dBm>|<nothing>");
    declare_setting(radio, "status", is_status, "up|down");
    declare_state(radio, "state");
    vorn_refresher_set_property_fn(radio_refresher, "state", radio_state);
    return vorn_classes_add(radio);
}

static int declare_network(void)
{
    vorn_class *network = declare_class("wireless-network", VORN_CLASS_UNIQUE_NAMED);
    network_refresher = vorn_refresher_new("wireless-network");
    if (network == NULL || network_refresher == NULL) return 1;
    declare_required(network, "radio", is_link_name, "<the name of a radio>");
    declare_required(network, "ssid", is_ssid,
                     "<1 to 32 bytes, of which letters beyond ASCII take several>");
    declare_required(network, "security", is_security, "none|wpa2-psk|wpa3-sae");
    declare_setting(network, "key", is_key_or_none, "<8 to 63 characters of ASCII>|<nothing>");
    vorn_property_set_readable(vorn_class_get_property(network, "key"), 0);
    vorn_property_set_secret(vorn_class_get_property(network, "key"), VORN_SECRET_BY_REFERENCE);
    declare_setting(network, "status", is_status, "up|down");
    declare_setting(network, "hidden", is_on_off, "on|off");
    declare_setting(network, "isolation", is_on_off, "on|off");
    declare_setting(network, "max-stations", is_station_count, "<1 to 2007>|<nothing>");
    declare_setting(network, "bridge", is_link_name_or_none, "<the name of a bridge>|<nothing>");
    declare_setting(network, "access-list", is_any_name, "<the name of an access list>|<nothing>");
    declare_setting(network, "access-policy", is_policy, "accept|deny");
    declare_state(network, "state");
    vorn_property_set_reference(vorn_class_get_property(network, "radio"), "radio");
    vorn_property_set_reference(vorn_class_get_property(network, "bridge"), "bridge");
    vorn_property_set_reference(vorn_class_get_property(network, "access-list"), "access-list");
    vorn_refresher_set_property_fn(network_refresher, "key", key);
    vorn_refresher_set_property_fn(network_refresher, "state", network_state);
    return vorn_classes_add(network);
}

static int declare_access_list(void)
{
    vorn_class *list = declare_class("access-list", VORN_CLASS_GROUP_NAMED);
    return list == NULL ||
           declare_required(list, "mac", is_mac, "<a MAC address such as 00:11:22:33:44:55>") ||
           vorn_classes_add(list);
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    country_read();
    vorn_provider *provider = vorn_provider_new("wireless");
    if (provider == NULL || declare_radio() != 0 || declare_network() != 0 ||
        declare_access_list() != 0 || stations_declare() != 0) {
        return;
    }
    keys_read();
    if (radios_watch() != 0) vorn_debug_eprintf("wireless: links can't be watched.\n");
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_refresh_fn(provider, refresh, NULL);
    vorn_providers_add(provider);
    vorn_providers_order("network", "wireless");
    vorn_providers_order("wireless", "dhcp");
    vorn_providers_order("wireless", "save");
    vorn_inform_fn_add("kick", kick);
}
