/* SPDX-License-Identifier: MIT */
/*
 * At 5 GHz the channels that are sent together are fixed: 36 and 40, 44 and 48, and so on, of which
 * two or four are one again. At 2.4 GHz the second one may lie on either side. Where nothing of
 * this is set, hostapd is told what it always was, and of radar nothing.
 */
#include "standards.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "country.h"
#include "values.h"

const char *const standard_words[] = {"legacy", "n", "ac", "ax", NULL};
const char *const width_words[] = {"20", "40", "80", "160", NULL};
const char channel_auto[] = "auto";

enum standard { legacy, n, ac, ax };

enum { usual_width = 20, channel_step = 4, first_radar = 52, last_radar = 144 };

static int has_mode(const vorn_instance *radio, const char *mode)
{
    return strcmp(value_of(radio, "mode"), mode) == 0;
}

static enum standard standard_of(const vorn_instance *radio)
{
    const char *word = value_of(radio, "standard");
    for (int each = legacy; each <= ax; each++) {
        if (strcmp(word, standard_words[each]) == 0) return (enum standard)each;
    }
    return has_mode(radio, "b") ? legacy : n;
}

static int width_of(const vorn_instance *radio)
{
    const char *word = value_of(radio, "width");
    return *word != '\0' ? atoi(word) : usual_width;
}

static int is_auto(const vorn_instance *radio)
{
    return strcmp(value_of(radio, "channel"), channel_auto) == 0;
}

static int is_allowed(int channel, const char *mode)
{
    char text[12];
    snprintf(text, sizeof text, "%d", channel);
    return country_allows_channel_in(text, mode);
}

/* The channels of 20 MHz that are sent together; none where the count is 0. */
struct block {
    int first;
    int count;
};

static int are_allowed(const struct block *block, const char *mode)
{
    for (int each = 0; each < block->count; each++) {
        if (!is_allowed(block->first + each * channel_step, mode)) return 0;
    }
    return 1;
}

static struct block block_at_5_ghz(int channel, int width)
{
    const int base = channel >= 149 ? 149 : 36;
    const int count = width / usual_width;
    const int place = (channel - base) / channel_step;
    const struct block block = {base + place / count * count * channel_step, count};
    const struct block none = {channel, 0};
    if (channel < base || (channel - base) % channel_step != 0) return none;
    return are_allowed(&block, "a") ? block : none;
}

static struct block block_at_2_4_ghz(int channel, const char *mode)
{
    struct block block = {channel, 2};
    if (are_allowed(&block, mode)) return block;
    block.first = channel - channel_step;
    if (!are_allowed(&block, mode)) block.count = 0;
    return block;
}

static struct block block_of(const vorn_instance *radio)
{
    const int channel = atoi(value_of(radio, "channel"));
    const int width = width_of(radio);
    if (width == usual_width) return (struct block){channel, 1};
    if (has_mode(radio, "a")) return block_at_5_ghz(channel, width);
    return block_at_2_4_ghz(channel, value_of(radio, "mode"));
}

static int judge_standard(const vorn_instance *radio, fault *found)
{
    const char *word = value_of(radio, "standard");
    if (standard_of(radio) == ac && !has_mode(radio, "a")) {
        return fault_is(found, "standard", "ac is sent at 5 GHz, which is mode a");
    }
    if (standard_of(radio) == legacy || !has_mode(radio, "b")) return 0;
    return fault_is(found, "standard", "mode b is older than %s: it has legacy", word);
}

static int judge_width(const vorn_instance *radio, fault *found)
{
    const int width = width_of(radio);
    if (width == usual_width) return 0;
    if (standard_of(radio) == legacy) {
        return fault_is(found, "width", "legacy is sent with 20 MHz");
    }
    if (width > 2 * usual_width && (standard_of(radio) < ac || !has_mode(radio, "a"))) {
        return fault_is(found, "width", "%d MHz are sent with ac or ax in mode a", width);
    }
    if (is_auto(radio) || block_of(radio).count != 0) return 0;
    return fault_is(found, "width", "the country has no %d MHz with channel %s", width,
                    value_of(radio, "channel"));
}

int standards_judge(const vorn_instance *radio, fault *found)
{
    return judge_standard(radio, found) || judge_width(radio, found);
}

static void number_line(struct writer *writer, const char *name, int number)
{
    char text[12];
    snprintf(text, sizeof text, "%d", number);
    writer_frame_line(writer, name, text);
}

/* hostapd looks for the one that is least in use, and not where it would have to listen first. */
static void write_choice(struct writer *writer, const char *mode)
{
    enum { highest = 255 };
    char list[country_list_room];
    size_t used = 0;
    list[0] = '\0';
    for (int channel = 1; channel <= highest && used < sizeof list; channel++) {
        if (!is_allowed(channel, mode) || (channel >= first_radar && channel <= last_radar))
            continue;
        used +=
            (size_t)snprintf(list + used, sizeof list - used, "%s%d", used > 0 ? " " : "", channel);
    }
    writer_frame_line(writer, "channel", "acs_survey");
    writer_frame_line(writer, "chanlist", list);
}

/* Where radars are, whoever sends listens for them, and leaves when there is one. */
static int is_radars(const vorn_instance *radio, const struct block *block)
{
    const int last = block->first + (block->count - 1) * channel_step;
    const int is_set = *value_of(radio, "standard") != '\0' || *value_of(radio, "width") != '\0';
    return is_set && !is_auto(radio) && has_mode(radio, "a") && last >= first_radar &&
           block->first <= last_radar;
}

static void write_centre(struct writer *writer, const char *prefix, const vorn_instance *radio,
                         const struct block *block)
{
    char name[40];
    snprintf(name, sizeof name, "%s_oper_chwidth", prefix);
    number_line(writer, name, width_of(radio) == 160 ? 2 : 1);
    if (is_auto(radio)) return;
    snprintf(name, sizeof name, "%s_oper_centr_freq_seg0_idx", prefix);
    number_line(writer, name, block->first + (block->count - 1) * channel_step / 2);
}

/* The second channel of the pair is above that which is set, or below. */
static void write_width(struct writer *writer, const vorn_instance *radio,
                        const struct block *block)
{
    const int place = (atoi(value_of(radio, "channel")) - block->first) / channel_step;
    const int is_above = is_auto(radio) || place % 2 == 0;
    if (width_of(radio) == usual_width) return;
    writer_frame_line(writer, "ht_capab", is_above ? "[HT40+]" : "[HT40-]");
    if (width_of(radio) == 2 * usual_width) return;
    if (width_of(radio) == 160) writer_frame_line(writer, "vht_capab", "[VHT160]");
    write_centre(writer, "vht", radio, block);
    if (standard_of(radio) == ax) write_centre(writer, "he", radio, block);
}

void standards_write(struct writer *writer, const vorn_instance *radio)
{
    const enum standard standard = standard_of(radio);
    const struct block block = block_of(radio);
    const char *interval = value_of(radio, "beacon-interval");
    if (is_auto(radio)) {
        write_choice(writer, value_of(radio, "mode"));
    } else {
        char number[12]; /* zeros before it make no other channel */
        snprintf(number, sizeof number, "%d", atoi(value_of(radio, "channel")));
        writer_frame_line(writer, "channel", number);
    }
    writer_frame_line(writer, "wmm_enabled", "1");
    writer_frame_line(writer, "ieee80211n", standard == legacy ? "0" : "1");
    if (standard >= ac && has_mode(radio, "a")) writer_frame_line(writer, "ieee80211ac", "1");
    if (standard == ax) writer_frame_line(writer, "ieee80211ax", "1");
    write_width(writer, radio, &block);
    if (is_radars(radio, &block)) writer_frame_line(writer, "ieee80211h", "1");
    if (*interval != '\0') writer_frame_line(writer, "beacon_int", interval);
}
