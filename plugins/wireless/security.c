/* SPDX-License-Identifier: MIT */
/*
 * What is asked of a network that could not be as it should, as one that came in without a check,
 * makes it no weaker: management frames are protected as much as its security demands, VLANs are
 * those of who may have them, and no haste takes a station out of its own.
 */
#include "security.h"

#include <string.h>

#include "keys.h"
#include "lists.h"
#include "radius.h"
#include "station_keys.h"
#include "values.h"

enum protection { unprotected, may_be_protected, are_protected };

enum { longest_start = 11 }; /* of the names of bridges */

enum proof { by_nothing, by_key, by_server };

struct security {
    const char *management; /* as hostapd has it */
    const char *fast;       /* with fast transition; null where it has none */
    enum proof proof;
    enum protection least;
    enum protection usual;
};

const char *const security_words[] = {"none",     "wpa2-psk", "wpa3-sae", "wpa2-wpa3",
                                      "wpa2-eap", "wpa3-eap", "owe",      NULL};
const char *const security_protections[] = {"off", "optional", "required", NULL};
const char *const security_vlans[] = {"off", "optional", "required", NULL};

/* In the order of the words. */
static const struct security securities[] = {
    {NULL, NULL, by_nothing, unprotected, unprotected},
    {"WPA-PSK", "WPA-PSK FT-PSK", by_key, unprotected, may_be_protected},
    {"SAE", NULL, by_key, are_protected, are_protected},
    {"WPA-PSK SAE", "WPA-PSK FT-PSK SAE", by_key, may_be_protected, may_be_protected},
    {"WPA-EAP", NULL, by_server, unprotected, may_be_protected},
    {"WPA-EAP-SHA256", NULL, by_server, are_protected, are_protected},
    {"OWE", NULL, by_nothing, are_protected, are_protected},
};

/* The place of the word, or that for what is none of them. */
static int place_of(const char *word, const char *const words[], int otherwise)
{
    for (int place = 0; words[place] != NULL; place++) {
        if (strcmp(words[place], word) == 0) return place;
    }
    return otherwise;
}

static const struct security *security_of(const vorn_instance *network)
{
    enum { psk = 1 };
    return &securities[place_of(value_of(network, "security"), security_words, psk)];
}

static enum protection asked_of(const vorn_instance *network)
{
    const char *asked = value_of(network, "management-frame-protection");
    return (enum protection)place_of(asked, security_protections, (int)security_of(network)->usual);
}

static int is_psk(const vorn_instance *network)
{
    return strcmp(value_of(network, "security"), "wpa2-psk") == 0;
}

int security_has_station_keys(const vorn_instance *network)
{
    return is_psk(network);
}

/* 0 for none, 1 where stations need not have one, 2 where they must. */
static int vlans_of(const vorn_instance *network)
{
    enum { off, optional };
    const int asked = place_of(value_of(network, "dynamic-vlan"), security_vlans, off);
    if (security_of(network)->proof == by_server) return asked;
    return is_psk(network) && asked != off ? optional : off;
}

int security_has_vlans(const vorn_instance *network)
{
    return vlans_of(network) != 0;
}

int security_is_fast(const vorn_instance *network)
{
    return is_on(network, "fast-transition") && security_of(network)->fast != NULL &&
           !security_has_vlans(network);
}

static int judge_protection(const vorn_instance *network, fault *found)
{
    static const char property[] = "management-frame-protection";
    const struct security *security = security_of(network);
    const char *word = value_of(network, "security");
    if (security->management == NULL && asked_of(network) != unprotected) {
        return fault_is(found, property, "without security no frames are protected");
    }
    if (asked_of(network) >= security->least) return 0;
    return fault_is(found, property, "%s needs it to be %s%s", word,
                    security_protections[security->least],
                    security->least == may_be_protected ? " or required" : "");
}

static int judge_vlans(const vorn_instance *network, fault *found)
{
    const char *asked = value_of(network, "dynamic-vlan");
    if (strlen(value_of(network, "vlan-bridge")) > longest_start) {
        return fault_is(found, "vlan-bridge",
                        "it has %d characters at most: a number of up to four follows",
                        longest_start);
    }
    if (*asked == '\0' || strcmp(asked, "off") == 0) return 0;
    if (security_of(network)->proof == by_server) return 0;
    if (!is_psk(network)) {
        return fault_is(found, "dynamic-vlan",
                        "only wpa2-eap, wpa3-eap and wpa2-psk know who a station is");
    }
    if (strcmp(asked, "required") != 0) return 0;
    return fault_is(found, "dynamic-vlan",
                    "only wpa2-eap and wpa3-eap can turn away who has no VLAN");
}

/* Who comes over is not asked for his key again, which is what tells his VLAN. */
static int judge_speed(const vorn_instance *network, fault *found)
{
    static const char property[] = "fast-transition";
    if (!is_on(network, property)) return 0;
    if (security_of(network)->fast == NULL) {
        return fault_is(found, property,
                        "only of wpa2-psk and wpa2-wpa3 does every access point know the key");
    }
    if (!security_has_vlans(network)) return 0;
    return fault_is(found, property, "a station that comes over would be in no VLAN");
}

int security_judge(const vorn_instances *configuration, const vorn_instance *network, fault *found)
{
    const int needs_server = security_of(network)->proof == by_server;
    return judge_protection(network, found) ||
           radius_judge(configuration, network, needs_server, found) ||
           judge_vlans(network, found) || judge_speed(network, found);
}

static const char *lacks_key(const vorn_instances *configuration, const vorn_instance *network)
{
    if (keys_of(network, "key") != NULL) return NULL;
    if (*value_of(network, "key") != '\0') return "its key is not on this device";
    return station_keys_are_there(configuration, network) ? NULL : "no key";
}

const char *security_lacks(const vorn_instances *configuration, const vorn_instance *network)
{
    switch (security_of(network)->proof) {
    case by_key:
        return lacks_key(configuration, network);
    case by_server:
        return radius_lacks(configuration, network);
    default:
        return NULL;
    }
}

/* hostapd makes such a list itself, but forgets it when it reads its file again. */
static void write_names(struct writer *writer, const char *interface)
{
    char path[lists_path_room];
    size_t size;
    lists_name(path, hostapd_vlans, interface);
    writer_frame_line(writer, "vlan_file", path);
    FILE *file = open_memstream(&writer->text->lists[hostapd_vlans][writer->place], &size);
    if (file != NULL) fprintf(file, "* %s.#\n", interface);
    writer->failed |= writer_close_text(file);
}

static void write_vlans(struct writer *writer, const vorn_instance *network, const char *interface)
{
    char bridge[longest_start + 1] = "brvlan";
    const char *asked = value_of(network, "vlan-bridge");
    const char mode[] = {(char)('0' + vlans_of(network)), '\0'};
    if (!security_has_vlans(network)) return;
    writer_frame_line(writer, "dynamic_vlan", mode);
    if (*asked != '\0') snprintf(bridge, sizeof bridge, "%s", asked);
    writer_frame_line(writer, "vlan_bridge", bridge);
    write_names(writer, interface);
}

void security_write(struct writer *writer, const vorn_instance *network, const char *interface)
{
    const struct security *security = security_of(network);
    const enum protection asked = asked_of(network);
    const enum protection protection = asked > security->least ? asked : security->least;
    const char mode[] = {(char)('0' + (int)protection), '\0'};
    const char *key = keys_of(network, "key");
    if (security->management == NULL) return;
    writer_frame_line(writer, "wpa", "2");
    writer_frame_line(writer, "wpa_key_mgmt",
                      security_is_fast(network) ? security->fast : security->management);
    writer_frame_line(writer, "rsn_pairwise", "CCMP");
    writer_frame_line(writer, "ieee80211w", mode);
    if (strcmp(value_of(network, "security"), "wpa2-wpa3") == 0)
        writer_frame_line(writer, "sae_require_mfp", "1");
    if (security->proof == by_key && key != NULL)
        fprintf(writer->whole, "wpa_passphrase=%s\n", key);
    if (security_has_station_keys(network)) station_keys_write(writer, network, interface);
    if (security->proof == by_server) radius_write(writer, network, interface);
    write_vlans(writer, network, interface);
}
