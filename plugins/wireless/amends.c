/* SPDX-License-Identifier: MIT */
/*
 * hostapd takes the file of a further network by the name that it has for the radio's hardware,
 * which it is asked for first. The address of the network is chosen here: of those that hostapd
 * chooses itself it forgets which ones are in use.
 */
#include "amends.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "address.h"
#include "control.h"
#include "vorn-plugin/whole_file.h"

enum { limit_s = 10, pause_us = 500000, path_room = 64 };

/* An order, and the place or the line that it is about in the lower bits. */
enum {
    ask = 0,
    removing = 0x10,
    adding = 0x20,
    setting = 0x30,
    leaving = 0x40,
    pausing = 0x50,
    stopping = 0x60
};
enum { kind_bits = 0xf0, about_bits = 0x0f };

void amends_name_socket(char path[amends_path_room], const char *radio)
{
    snprintf(path, amends_path_room, "/var/run/vorn-hostapd-radios/%.15s", radio);
}

static void name_part(char path[path_room], const char *radio, int place)
{
    char interface[hostapd_name_room];
    hostapd_name_interface(interface, radio, place);
    snprintf(path, path_room, "/var/run/vorn-hostapd-%s.bss", interface);
}

int amends_compare(amends_plan *plan, const hostapd_text *before, const hostapd_text *now)
{
    int kept = 0;
    *plan = (amends_plan){.removed = 0};
    if (!hostapd_part_is_same(before, now, hostapd_head)) return 0;
    for (int place = 0; place < hostapd_most_networks; place++) {
        const int was = hostapd_has_network(before, place);
        const int is = hostapd_has_network(now, place);
        if (was && is && hostapd_part_is_same(before, now, place)) {
            kept++;
        } else if (place > 0) {
            plan->removed |= (unsigned int)was << place;
            plan->added |= (unsigned int)is << place;
        } else if (is) {
            return 0;
        } else {
            plan->quiets_first = was;
        }
    }
    return kept > 0 && (plan->removed != 0 || plan->added != 0 || plan->quiets_first);
}

/* Explanations ask too, which talk to nobody. */
int amends_are_possible(const char *radio)
{
    char path[amends_path_room];
    struct stat found;
    amends_name_socket(path, radio);
    return stat(path, &found) == 0 && S_ISSOCK(found.st_mode);
}

/* Those in use, by the place of who has it. */
struct addresses {
    int is_known[hostapd_most_networks];
    unsigned char of[hostapd_most_networks][address_bytes];
};

static void read_addresses(struct addresses *all, const char *radio, unsigned int gone)
{
    for (int place = 0; place < hostapd_most_networks; place++) {
        char interface[hostapd_name_room];
        hostapd_name_interface(interface, radio, place);
        all->is_known[place] = (gone >> place & 1) == 0 && address_read(interface, all->of[place]);
    }
}

static int is_in_use(const struct addresses *all, const unsigned char *address)
{
    for (int place = 0; place < hostapd_most_networks; place++) {
        if (all->is_known[place] && memcmp(all->of[place], address, address_bytes) == 0) return 1;
    }
    return 0;
}

/* The place's own number after the radio's, as hostapd counts, or the next one that is free. */
static int choose_address(struct addresses *all, int place)
{
    unsigned char *address = all->of[place];
    if (!all->is_known[0]) return 0;
    memcpy(address, all->of[0], address_bytes);
    address[address_bytes - 1] = (unsigned char)(address[address_bytes - 1] + place);
    for (int tries = 0; is_in_use(all, address) && tries < hostapd_most_networks; tries++)
        address[address_bytes - 1]++;
    all->is_known[place] = 1;
    return 1;
}

/* What the whole has before its first network, as if it were the only one; but for the radio's
 * link, its first line, and for the line that begins the network's part. */
static void write_lines(FILE *file, const hostapd_text *text, int place, struct addresses *all)
{
    size_t length;
    const char *part = hostapd_part(text, hostapd_head, &length);
    const size_t first = strcspn(part, "\n") + 1;
    fprintf(file, "%.*s", (int)(length - first), part + first);
    if (choose_address(all, place)) {
        const unsigned char *address = all->of[place];
        fprintf(file, "bssid=%02x:%02x:%02x:%02x:%02x:%02x\n", address[0], address[1], address[2],
                address[3], address[4], address[5]);
    }
    part = hostapd_part(text, place, &length);
    const size_t begin = strcspn(part, "\n") + 1;
    fprintf(file, "%.*s", (int)(length - begin), part + begin);
}

/* The file is only root's: the key is in it. */
static int write_part(const char *radio, const hostapd_text *text, int place, struct addresses *all)
{
    char path[path_room];
    char interface[hostapd_name_room];
    char *lines = NULL;
    size_t size;
    FILE *file = open_memstream(&lines, &size);
    if (file == NULL) return 1;
    hostapd_name_interface(interface, radio, place);
    fprintf(file, "interface=%s\n", interface);
    write_lines(file, text, place, all);
    const int has_failed = ferror(file) != 0;
    name_part(path, radio, place);
    const int result = fclose(file) != 0 || has_failed || write_file_whole(path, lines, 0600) < 0;
    free(lines);
    return result;
}

static int write_parts(const char *radio, const amends_plan *plan, const hostapd_text *text)
{
    struct addresses all = {{0}, {{0}}};
    int has_failed = 0;
    read_addresses(&all, radio, plan->removed);
    for (int place = 1; place < hostapd_most_networks; place++) {
        if (plan->added >> place & 1) has_failed |= write_part(radio, text, place, &all);
    }
    return has_failed;
}

static void remove_parts(const char *radio)
{
    char path[path_room];
    for (int place = 1; place < hostapd_most_networks; place++) {
        name_part(path, radio, place);
        unlink(path);
    }
}

static void add(amends *of, int kind, int about)
{
    if (of->count < amends_most) of->orders[of->count] = (unsigned char)(kind | about);
    of->count++;
}

static void add_all(amends *of, const amends_plan *plan)
{
    if (of->count == 0) add(of, ask, 0);
    for (int line = 0; plan->quiets_first && hostapd_quiet[line][0] != NULL; line++)
        add(of, setting, line);
    if (plan->quiets_first) {
        add(of, leaving, 0);
        add(of, pausing, 0); /* those who sleep hear it with a later beacon */
        add(of, stopping, 0);
    }
    for (int place = 1; place < hostapd_most_networks; place++) {
        if (plan->removed >> place & 1) add(of, removing, place);
    }
    for (int place = 1; place < hostapd_most_networks; place++) {
        if (plan->added >> place & 1) add(of, adding, place);
    }
}

/* Where the order goes, and its words. */
static void put_in_words(const amends *of, char path[path_room], char words[128])
{
    char file[path_room];
    char interface[hostapd_name_room];
    const int order = of->orders[of->next];
    const int about = order & about_bits;
    hostapd_name_interface(interface, of->radio, about);
    snprintf(path, path_room, CONTROL_FOLDER "/%s", of->radio);
    switch (order & kind_bits) {
    case removing:
        amends_name_socket(path, of->radio);
        snprintf(words, 128, "REMOVE %s", interface);
        break;
    case adding:
        amends_name_socket(path, of->radio);
        name_part(file, of->radio, about);
        snprintf(words, 128, "ADD bss_config=%s:%s", of->phy, file);
        break;
    case setting:
        snprintf(words, 128, "SET %s %s", hostapd_quiet[about][0], hostapd_quiet[about][1]);
        break;
    case leaving:
        snprintf(words, 128, "DEAUTHENTICATE ff:ff:ff:ff:ff:ff");
        break;
    case stopping:
        snprintf(words, 128, "STOP_AP");
        break;
    default:
        snprintf(words, 128, "STATUS");
    }
}

static void give_up_waiting(amends *of);
static void ask_next(amends *of);

static void end(amends *of, const char *reason)
{
    amends_stop(of);
    of->ended(reason, of->data);
}

static int is_good(amends *of, const char *answer)
{
    if ((of->orders[of->next] & kind_bits) != ask) return strcmp(answer, "OK\n") == 0;
    const char *phy = strstr(answer, "\nphy=");
    return phy != NULL && sscanf(phy, "\nphy=%31[-_.a-zA-Z0-9]", of->phy) == 1;
}

static int is_pausing(const amends *of)
{
    return (of->orders[of->next] & kind_bits) == pausing;
}

static void go_on(amends *of)
{
    if (++of->next == of->count) {
        end(of, NULL);
    } else {
        ask_next(of);
    }
}

static void is_over(void *eloop_data, void *user_data)
{
    (void)eloop_data;
    amends *of = user_data;
    if (is_pausing(of)) {
        go_on(of);
    } else {
        end(of, "hostapd does not answer");
    }
}

static void hear(int sock, void *eloop_data, void *user_data)
{
    char answer[4096];
    amends *of = user_data;
    (void)eloop_data;
    const ssize_t count = recv(sock, answer, sizeof answer - 1, MSG_DONTWAIT);
    if (count == -1 && (errno == EAGAIN || errno == EINTR)) return;
    answer[count > 0 ? count : 0] = '\0';
    give_up_waiting(of);
    if (is_good(of, answer)) {
        go_on(of);
    } else {
        end(of, "hostapd does not do it");
    }
}

static void give_up_waiting(amends *of)
{
    eloop_cancel_timeout(is_over, NULL, of);
    if (of->sock == -1) return;
    eloop_unregister_read_sock(of->sock);
    close(of->sock);
    of->sock = -1;
}

static int send_order(amends *of)
{
    char path[path_room];
    char words[128];
    if (is_pausing(of)) return eloop_register_timeout(0, pause_us, is_over, NULL, of);
    put_in_words(of, path, words);
    of->sock = control_open(path);
    if (of->sock == -1) return 1;
    if (eloop_register_read_sock(of->sock, hear, NULL, of) == 0) {
        if (eloop_register_timeout(limit_s, 0, is_over, NULL, of) == 0 &&
            send(of->sock, words, strlen(words), MSG_DONTWAIT) != -1) {
            return 0;
        }
    }
    give_up_waiting(of);
    return 1;
}

static void ask_next(amends *of)
{
    if (send_order(of) != 0) end(of, "hostapd can't be asked");
}

int amends_start(amends *of, const amends_plan *plan, const hostapd_text *text)
{
    const int has_begun = of->goes_on;
    if (!has_begun) of->sock = -1;
    of->goes_on = 1;
    add_all(of, plan);
    if (of->count <= amends_most && write_parts(of->radio, plan, text) == 0 &&
        (has_begun || send_order(of) == 0)) {
        return 0;
    }
    amends_stop(of);
    return 1;
}

int amends_go_on(const amends *of)
{
    return of->goes_on;
}

void amends_stop(amends *of)
{
    if (!of->goes_on) return;
    give_up_waiting(of);
    of->goes_on = 0;
    of->count = 0;
    of->next = 0;
    remove_parts(of->radio);
}
