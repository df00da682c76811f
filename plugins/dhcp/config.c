/* SPDX-License-Identifier: MIT */
/*
 * What dnsmasq is told: pools and options in its configuration, fixed leases in a file that it
 * reads again.
 */
#include "config.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "announcements.h"
#include "options.h"
#include "pools.h"
#include "values.h"
#include "vorn-plugin/whole_file.h"

/* Pools go by number here: a name may be any text, and would be part of a line. */
static void write_option(FILE *file, const vorn_instance *pool, int number, const char *option,
                         const char *property)
{
    const char *value = value_of(pool, property);
    if (*value == '\0') return;
    fprintf(file, "dhcp-option=tag:pool%d,option:%s,%s\n", number, option, value);
}

static void write_pool(FILE *file, const vorn_instances *configuration, const vorn_instance *pool,
                       int number)
{
    (void)configuration;
    const char *interface = value_of(pool, "interface");
    const char *netmask = value_of(pool, "netmask");
    const char *lease_time = value_of(pool, "lease-time");

    if (*interface != '\0') fprintf(file, "interface=%s\n", interface);
    fprintf(file, "dhcp-range=set:pool%d,%s,%s", number, value_of(pool, "first"),
            value_of(pool, "last"));
    if (*netmask != '\0') fprintf(file, ",%s", netmask);
    fprintf(file, ",%s\n", *lease_time != '\0' ? lease_time : "3600");
    write_option(file, pool, number, "router", "gateway");
    write_option(file, pool, number, "dns-server", "dns-server");
}

static void write_host(FILE *file, const vorn_instances *configuration, const vorn_instance *host,
                       int number)
{
    (void)configuration;
    (void)number;
    fprintf(file, "%s,%s\n", value_of(host, "mac"), value_of(host, "address"));
}

/* While texts are only foreseen nothing is noted, and what changes is tried again. */
static int is_foreseen;
static const vorn_changes *taken_in;

/* One class of the file's: what is wrong with an instance, and its lines. */
struct section {
    outcomes *left_out;
    int (*judge)(const vorn_instances *configuration, const vorn_instance *instance, fault *found);
    void (*write)(FILE *file, const vorn_instances *configuration, const vorn_instance *instance,
                  int number);
};

static void note_fault(outcomes *left_out, const char *name, const char *reason)
{
    if (is_foreseen) return;
    if (reason != NULL) {
        outcomes_fail(left_out, name, reason);
    } else {
        outcomes_succeed(left_out, name);
    }
}

/* Answers how many instances have been written; they keep their numbers when others are left out.
 */
static int write_each(FILE *file, const vorn_instances *configuration,
                      const struct section *section)
{
    fault found;
    int number = 0;
    int written = 0;
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, section->left_out->class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        const char *name = vorn_instance_get_name(each);
        if (section->judge(configuration, each, &found)) {
            note_fault(section->left_out, name, found.reason);
        } else {
            note_fault(section->left_out, name, NULL);
            section->write(file, configuration, each, number);
            written++;
        }
        number++;
    }
    vorn_instances_delete_iterator(walk);
    return written;
}

/* By dnsmasq, with its words. An option is looked for first: its line may name a pool, too. */
static struct refused {
    outcomes instances;
    const char *mark; /* before the number, on a line of such an instance */
} refused[] = {
    {{.class_name = "ipv6-announcement"}, ANNOUNCEMENT_MARK},
    {{.class_name = "dhcp-option"}, OPTION_MARK},
    {{.class_name = "dhcp-pool"}, ":pool"},
};

enum { refused_announcements, refused_options, refused_pools, refused_classes };

static int judge_words(const struct refused *of, const vorn_instance *instance, fault *found)
{
    const char *words = outcomes_reason(&of->instances, vorn_instance_get_name(instance));
    return words != NULL && !vorn_changes_contains_instance(taken_in, instance) &&
           fault_is(found, NULL, "%s", words);
}

static int judge_pool(const vorn_instances *configuration, const vorn_instance *pool, fault *found)
{
    return judge_words(&refused[refused_pools], pool, found) ||
           pools_judge(configuration, pool, found);
}

static int judge_option(const vorn_instances *configuration, const vorn_instance *option,
                        fault *found)
{
    return judge_words(&refused[refused_options], option, found) ||
           options_judge(configuration, option, found);
}

static int judge_announcement(const vorn_instances *configuration,
                              const vorn_instance *announcement, fault *found)
{
    return judge_words(&refused[refused_announcements], announcement, found) ||
           announcements_judge(configuration, announcement, found);
}

outcomes pool_outcomes = {.class_name = "dhcp-pool"};
outcomes host_outcomes = {.class_name = "dhcp-host"};
outcomes option_outcomes = {.class_name = "dhcp-option"};
outcomes announcement_outcomes = {.class_name = "ipv6-announcement"};

static int pools_written;

static int write_announcements(FILE *file, const vorn_instances *configuration,
                               const struct section *announcements)
{
    const int written = write_each(file, configuration, announcements);
    if (written != 0) fputs("enable-ra\n", file);
    return written;
}

static int write_config(FILE *file, const vorn_instances *configuration)
{
    static const struct section pools = {&pool_outcomes, judge_pool, write_pool};
    static const struct section options = {&option_outcomes, judge_option, options_write};
    static const struct section announcements = {&announcement_outcomes, judge_announcement,
                                                 announcements_write};
    fputs("port=0\nbind-dynamic\nno-ping\nuser=root\n"
          "pid-file=" DHCP_PID_FILE "\ndhcp-leasefile=" DHCP_LEASE_FILE "\n"
          "dhcp-hostsfile=" DHCP_HOSTS_FILE "\n",
          file);
    const int written = write_each(file, configuration, &pools);
    write_each(file, configuration, &options);
    return written + write_announcements(file, configuration, &announcements);
}

static int write_hosts(FILE *file, const vorn_instances *configuration)
{
    static const struct section hosts = {&host_outcomes, pools_judge_host, write_host};
    return write_each(file, configuration, &hosts);
}

int dhcp_count_pools(void)
{
    return pools_written;
}

/* The number after the mark on that line, or -1. */
static int find_number_on_line(int wanted, const char *mark)
{
    char line[512];
    int number = -1;
    FILE *file = whole_file_read(DHCP_CONFIG_FILE);
    if (file == NULL) return -1;
    for (int at = 1; at <= wanted && fgets(line, sizeof line, file) != NULL; at++) {
        const char *place = strstr(line, mark);
        if (at == wanted && place != NULL) number = (int)strtol(place + strlen(mark), NULL, 10);
    }
    fclose(file);
    return number;
}

static const vorn_instance *find_numbered(const vorn_instances *configuration,
                                          const char *class_name, int number)
{
    const vorn_instance *found = NULL;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    for (int at = 0; at <= number && walk != NULL && vorn_instances_iterator_has_next(walk); at++) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (at == number) found = each;
    }
    vorn_instances_delete_iterator(walk);
    return found;
}

/* "dnsmasq: bad dhcp-range at line 8 of FILE", whatever is said before and after. */
int dhcp_leave_out(const vorn_instances *configuration, const char *words)
{
    const char *place = strstr(words, "at line ");
    const vorn_instance *guilty = NULL;
    struct refused *of = refused;
    if (place == NULL) return 0;
    const int line = (int)strtol(place + 8, NULL, 10);
    for (int i = 0; i < refused_classes && guilty == NULL; i++) {
        of = &refused[i];
        guilty = find_numbered(configuration, of->instances.class_name,
                               find_number_on_line(line, of->mark));
    }
    if (guilty == NULL) return 0;
    const char *name = vorn_instance_get_name(guilty);
    vorn_debug_eprintf("dhcp: the %s \"%s\" is left out.\n",
                       strchr(of->instances.class_name, '-') + 1, name);
    outcomes_fail(&of->instances, name, words);
    return outcomes_reason(&of->instances, name) != NULL;
}

static void take_in_class(outcomes *of, const vorn_instances *configuration,
                          const vorn_changes *changes)
{
    outcomes_for_each_deleted(of, changes, NULL);
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, of->class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (!vorn_changes_contains_instance(changes, each)) continue;
        outcomes_succeed(of, vorn_instance_get_name(each));
    }
    vorn_instances_delete_iterator(walk);
}

void dhcp_take_in(const vorn_instances *configuration, const vorn_changes *changes)
{
    for (int i = 0; i < refused_classes; i++)
        take_in_class(&refused[i].instances, configuration, changes);
    outcomes_for_each_deleted(&pool_outcomes, changes, NULL);
    outcomes_for_each_deleted(&host_outcomes, changes, NULL);
    outcomes_for_each_deleted(&option_outcomes, changes, NULL);
    outcomes_for_each_deleted(&announcement_outcomes, changes, NULL);
}

/* The caller's; null without memory. */
static char *text_of(int (*write)(FILE *, const vorn_instances *),
                     const vorn_instances *configuration, int *written)
{
    char *text = NULL;
    size_t size;
    FILE *stream = open_memstream(&text, &size);
    if (stream == NULL) return NULL;
    *written = write(stream, configuration);
    const int failed = ferror(stream) != 0;
    if (fclose(stream) == 0 && !failed) return text;
    free(text);
    return NULL;
}

/* Takes the text over. */
static int replace(const char *path, char *text)
{
    const int result = text != NULL ? write_file_whole(path, text, 0644) : -1;
    free(text);
    return result;
}

int dhcp_write_config(const vorn_instances *configuration)
{
    return replace(DHCP_CONFIG_FILE, text_of(write_config, configuration, &pools_written));
}

int dhcp_write_hosts(const vorn_instances *configuration)
{
    int written;
    return replace(DHCP_HOSTS_FILE, text_of(write_hosts, configuration, &written));
}

void dhcp_foresee(dhcp_texts *texts, const vorn_instances *configuration,
                  const vorn_changes *changes)
{
    int hosts;
    is_foreseen = 1;
    taken_in = changes;
    texts->config = text_of(write_config, configuration, &texts->pools);
    texts->hosts = text_of(write_hosts, configuration, &hosts);
    is_foreseen = 0;
    taken_in = NULL;
}
