/* SPDX-License-Identifier: MIT */
/*
 * Small C libraries take the zone from the text in /etc/TZ, others from /etc/localtime, which leads
 * to the file of a zone or says the rule itself. Both are replaced whole, and neither depends on
 * what was set before. Programs that run already keep the old zone.
 */
#include "time_zone.h"

#include "vorn/vorn.h"

#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "vorn-plugin/whole_file.h"

static const char zone_folder[] = "/usr/share/zoneinfo";
static const char text_file[] = "/etc/TZ";
static const char link_file[] = "/etc/localtime";
static const char link_scratch[] = "/etc/localtime.new";

enum { block_size = 54, second_size = 63 };
enum { rule_room = block_size + second_size + longest_zone + 3 };

/* Never a way out of the folder of zones. */
int time_zone_is_valid(const char *zone)
{
    static const char characters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                     "0123456789+-_,./:<>";
    return strlen(zone) <= longest_zone && strspn(zone, characters) == strlen(zone) &&
           zone[0] != '/' && strstr(zone, "..") == NULL;
}

/* The end of a name in a rule, three letters at least, or anything between angle brackets. */
static const char *skip_name(const char *rule)
{
    const size_t letters = strspn(rule, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
    const char *end = *rule == '<' ? strchr(rule, '>') : NULL;
    if (end != NULL) return end + 1;
    return letters >= 3 ? rule + letters : rule;
}

/* A name and how far it is from UTC; then, perhaps, that of the summer and when it begins and ends.
 */
static int is_rule(const char *zone)
{
    const char *offset = skip_name(zone);
    const char *summer = offset + strspn(offset, "+-0123456789:");
    if (offset == zone || offset[strspn(offset, "+-")] < '0' || summer == offset) return 0;
    if (*summer == '\0') return 1;
    const char *rest = skip_name(summer);
    rest += rest != summer ? strspn(rest, "+-0123456789:") : 0;
    return rest != summer && (*rest == '\0' || *rest == ',') &&
           rest[strspn(rest, ",.:/+-0123456789MJ")] == '\0';
}

static int is_in_folder(const char *zone)
{
    struct stat status;
    char path[sizeof zone_folder + longest_zone + 1];
    snprintf(path, sizeof path, "%s/%s", zone_folder, zone);
    return stat(path, &status) == 0 && S_ISREG(status.st_mode);
}

int time_zone_exists(const char *zone)
{
    return *zone == '\0' || is_rule(zone) || is_in_folder(zone) || access(zone_folder, F_OK) != 0;
}

static int write_text(const char *zone)
{
    FILE *file = whole_file_open(text_file, 0644);
    if (file == NULL) return 1;
    fprintf(file, "%s\n", zone);
    return whole_file_close(file, text_file, 1);
}

/* On a device without zones nobody reads such a file. */
static int has_data_of_rule(const char *zone)
{
    return !is_in_folder(zone) && is_rule(zone) && access(zone_folder, F_OK) == 0;
}

/*
 * What a file of a zone is when the rule holds for all times (RFC 8536): a block for programs that
 * know short times only, one for others, and the rule. In the second block the time of the rule
 * begins long before anything else, since the GNU library looks at it only then. Returns the size.
 */
static size_t make_data_of_rule(const char *zone, char data[rule_room])
{
    /* One kind of time each, with a name of four bytes. */
    static const char block[block_size] = {
        'T', 'Z', 'i', 'f', '2', [39] = 1, [43] = 4, [50] = 'U', 'T', 'C'};
    static const char second[second_size] = {
        'T', 'Z', 'i', 'f', '2', [35] = 1, [39] = 1, [43] = 4, [44] = '\xf8', [59] = 'U', 'T', 'C'};
    char *rule = data + block_size + second_size;
    memcpy(data, block, sizeof block);
    memcpy(data + block_size, second, sizeof second);
    return (size_t)(rule - data + snprintf(rule, longest_zone + 3, "\n%s\n", zone));
}

static int write_data_of_rule(const char *zone)
{
    char data[rule_room];
    const size_t size = make_data_of_rule(zone, data);
    FILE *file = whole_file_open(link_file, 0644);
    if (file == NULL) return 1;
    fwrite(data, 1, size, file);
    return whole_file_close(file, link_file, 1);
}

static int write_link(const char *zone)
{
    char target[sizeof zone_folder + longest_zone + 1];
    if (has_data_of_rule(zone)) return write_data_of_rule(zone);
    if (!is_in_folder(zone)) return 0;
    snprintf(target, sizeof target, "%s/%s", zone_folder, zone);
    unlink(link_scratch);
    if (symlink(target, link_scratch) == 0 && rename(link_scratch, link_file) == 0) return 0;
    unlink(link_scratch);
    return 1;
}

static int has_text(const char *zone)
{
    char text[longest_zone + 3] = "";
    char wanted[sizeof text];
    FILE *file = whole_file_read(text_file);
    if (file == NULL) return 0;
    text[fread(text, 1, sizeof text - 1, file)] = '\0';
    fclose(file);
    snprintf(wanted, sizeof wanted, "%s\n", zone);
    return strcmp(text, wanted) == 0;
}

static int is_data_of_rule(const char *zone)
{
    char data[rule_room];
    char found[rule_room];
    const size_t size = make_data_of_rule(zone, data);
    FILE *file = whole_file_read(link_file);
    if (file == NULL) return 0;
    const size_t there = fread(found, 1, sizeof found, file);
    fclose(file);
    return there == size && memcmp(found, data, size) == 0;
}

static int has_link(const char *zone)
{
    char target[sizeof zone_folder + longest_zone + 1];
    char wanted[sizeof target];
    if (has_data_of_rule(zone)) return is_data_of_rule(zone);
    if (!is_in_folder(zone)) return 1;
    const ssize_t size = readlink(link_file, target, sizeof target - 1);
    target[size > 0 ? size : 0] = '\0';
    snprintf(wanted, sizeof wanted, "%s/%s", zone_folder, zone);
    return strcmp(target, wanted) == 0;
}

int time_zone_is_left(const char *zone)
{
    if (*zone == '\0') zone = "UTC";
    return vorn_process_no_actions || (has_text(zone) && has_link(zone));
}

int time_zone_apply(const char *zone)
{
    if (vorn_process_no_actions) return 0;
    if (*zone == '\0') zone = "UTC";
    return write_text(zone) || write_link(zone);
}
