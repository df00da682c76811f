/* SPDX-License-Identifier: MIT */
/*
 * Fast transition needs no word between access points here: each makes what it has to know of a
 * station from the key that all of them have. So they have to agree on the number of their domain,
 * which follows from the SSID unless somebody sets it, and to be called differently, which their
 * hardware's address sees to. Nobody is told to go elsewhere: stations decide.
 */
#include "roaming.h"

#include <stdint.h>
#include <string.h>

#include "address.h"
#include "declare.h"
#include "describe.h"
#include "security.h"
#include "values.h"

enum { identity_room = 2 * address_bytes + 1 };

void roaming_declare(vorn_class *network)
{
    enum { digits = 4 };
    declare_input(network, "fast-transition", VORN_INPUT_ON_OFF);
    describe(network, "fast-transition", "Fast transition (802.11r)",
             "Whether stations change over from another access point of this name and key without "
             "a break; off if it isn't set. Some old stations don't join then.",
             "on");
    declare_characters(network, "mobility-domain", "09afAF", digits, digits);
    vorn_property_accept(vorn_class_get_property(network, "mobility-domain"), VORN_INPUT_NOTHING);
    describe(network, "mobility-domain", "Mobility domain",
             "The number that access points with fast transition share; it follows from the SSID "
             "if it isn't set.",
             "a1b2");
    declare_input(network, "neighbour-reports", VORN_INPUT_ON_OFF);
    describe(network, "neighbour-reports", "Neighbour reports (802.11k)",
             "Whether stations may ask for reports of neighbours and be asked for what they hear; "
             "off if it isn't set.",
             "on");
    declare_input(network, "transition-management", VORN_INPUT_ON_OFF);
    describe(
        network, "transition-management", "Transition management (802.11v)",
        "Whether stations can be advised to go elsewhere; off if it isn't set. The device itself "
        "advises nobody.",
        "on");
}

/* Devices of all versions have to agree on it. */
static unsigned int domain_of(const char *ssid)
{
    uint32_t sum = 2166136261U;
    for (; *ssid != '\0'; ssid++)
        sum = (sum ^ (unsigned char)*ssid) * 16777619U;
    return ((sum >> 16) ^ sum) & 0xffff;
}

/*
 * Of the radio's address, since those of further networks are not there before hostapd is. The
 * place of the network goes into bits that are the same in all addresses of one maker: the next
 * radio's address is often the next number.
 */
static int identify(const struct writer *writer, char identity[identity_room])
{
    unsigned char address[address_bytes];
    if (!address_read(writer->radio, address)) return 0;
    address[0] ^= (unsigned char)(writer->place << 2);
    if (writer->place > 0) address[0] |= 2; /* nobody's own */
    for (int each = 0; each < address_bytes; each++)
        snprintf(identity + 2 * each, 3, "%02x", address[each]);
    return 1;
}

/* hostapd would take the address itself, but forgets it when it reads its file again. */
static void write_identity(struct writer *writer, const char *interface)
{
    char identity[identity_room];
    if (!identify(writer, identity)) {
        fprintf(writer->whole, "nas_identifier=%s\n", interface);
        return;
    }
    fprintf(writer->whole, "nas_identifier=%s\nr1_key_holder=%s\n", identity, identity);
}

static void write_fast(struct writer *writer, const vorn_instance *network, const char *interface)
{
    const char *domain = value_of(network, "mobility-domain");
    if (*domain != '\0') {
        fprintf(writer->whole, "mobility_domain=%s\n", domain);
    } else {
        fprintf(writer->whole, "mobility_domain=%04x\n", domain_of(value_of(network, "ssid")));
    }
    write_identity(writer, interface);
    writer_frame_line(writer, "ft_psk_generate_local", "1");
    writer_frame_line(writer, "ft_over_ds", "0"); /* others would have to be asked for that */
}

void roaming_write(struct writer *writer, const vorn_instance *network, const char *interface)
{
    if (security_is_fast(network)) write_fast(writer, network, interface);
    if (is_on(network, "neighbour-reports")) {
        writer_frame_line(writer, "rrm_neighbor_report", "1");
        writer_frame_line(writer, "rrm_beacon_report", "1");
    }
    if (is_on(network, "transition-management")) fputs("bss_transition=1\n", writer->whole);
}
