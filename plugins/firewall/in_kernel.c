/* SPDX-License-Identifier: MIT */
#include "in_kernel.h"

#include <endian.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netlink.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

enum { answer_room = 32768 };

static const char table_name[] = "vorn";
static const char counter_prefix[] = "rule-";

/* Attributes one after the other. */
struct attributes {
    const char *next;
    size_t left;
};

static const struct nlattr *take_attribute(struct attributes *from)
{
    const struct nlattr *one = (const void *)from->next;
    if (from->left < sizeof *one || one->nla_len < sizeof *one || one->nla_len > from->left)
        return NULL;
    const size_t whole = NLA_ALIGN((size_t)one->nla_len);
    from->left -= whole < from->left ? whole : from->left;
    from->next += whole;
    return one;
}

static const char *value_of_attribute(const struct nlattr *one, size_t *size)
{
    *size = one->nla_len - (size_t)NLA_HDRLEN;
    return (const char *)one + NLA_HDRLEN;
}

/* The first of that type, of a message or of what another attribute holds. */
static const struct nlattr *find_attribute(struct attributes from, int type)
{
    const struct nlattr *one;
    while ((one = take_attribute(&from)) != NULL) {
        if ((one->nla_type & NLA_TYPE_MASK) == type) return one;
    }
    return NULL;
}

static struct attributes attributes_in(const struct nlattr *one)
{
    struct attributes found = {NULL, 0};
    if (one != NULL) found.next = value_of_attribute(one, &found.left);
    return found;
}

static int is_text_of(const struct nlattr *one, const char *text)
{
    size_t size;
    if (one == NULL) return 0;
    const char *value = value_of_attribute(one, &size);
    return size == strlen(text) + 1 && memcmp(value, text, size) == 0;
}

/* Chains, rules and objects begin with the name of their table. */
static int is_ours(struct attributes message)
{
    return is_text_of(find_attribute(message, NFTA_RULE_TABLE), table_name);
}

typedef void (*take_fn)(struct attributes message, void *data);

/* Whether more is to come. */
static int take_messages(const char *answer, size_t size, take_fn take, void *data)
{
    for (const struct nlmsghdr *each = (const void *)answer; NLMSG_OK(each, size);
         each = NLMSG_NEXT(each, size)) {
        if (each->nlmsg_type == NLMSG_DONE || each->nlmsg_type == NLMSG_ERROR) return 0;
        if (each->nlmsg_len < NLMSG_SPACE(sizeof(struct nfgenmsg))) continue;
        const struct attributes message = {(const char *)NLMSG_DATA(each) +
                                               NLMSG_ALIGN(sizeof(struct nfgenmsg)),
                                           each->nlmsg_len - NLMSG_SPACE(sizeof(struct nfgenmsg))};
        if (is_ours(message)) take(message, data);
    }
    return 1;
}

/* The kernel answers while it is asked: nobody waits. */
static void ask(int question, take_fn take, void *data)
{
    const struct {
        struct nlmsghdr header;
        struct nfgenmsg about;
    } request = {.header = {.nlmsg_len = sizeof request,
                            .nlmsg_type = (NFNL_SUBSYS_NFTABLES << 8) | question,
                            .nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP},
                 .about = {.nfgen_family = NFPROTO_INET}};
    char *answer = malloc(answer_room);
    const int door = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_NETFILTER);
    int more = answer != NULL && door >= 0 &&
               send(door, &request, sizeof request, 0) == (ssize_t)sizeof request;
    while (more) {
        const ssize_t size = recv(door, answer, answer_room, MSG_DONTWAIT);
        more = size > 0 && take_messages(answer, (size_t)size, take, data);
    }
    if (door >= 0) close(door);
    free(answer);
}

/* FNV-1a. */
static void add_to_mark(struct attributes message, void *data)
{
    uint64_t *mark = data;
    for (size_t i = 0; i < message.left; i++)
        *mark = (*mark ^ (unsigned char)message.next[i]) * 0x100000001b3U;
}

uint64_t in_kernel_mark(void)
{
    const uint64_t nothing = 0xcbf29ce484222325U;
    uint64_t mark = nothing;
    ask(NFT_MSG_GETCHAIN, add_to_mark, &mark);
    ask(NFT_MSG_GETRULE, add_to_mark, &mark);
    return mark == nothing ? 0 : mark;
}

struct counting {
    struct counted *found;
    size_t count;
    size_t room;
};

static uint64_t number_in(const struct nlattr *one)
{
    uint64_t number = 0;
    size_t size;
    if (one == NULL) return 0;
    const char *value = value_of_attribute(one, &size);
    if (size == sizeof number) memcpy(&number, value, size);
    return be64toh(number);
}

static int make_room(struct counting *to)
{
    if (to->count < to->room) return 0;
    const size_t wanted = 2 * to->room + 16;
    struct counted *more = realloc(to->found, wanted * sizeof *more);
    if (more == NULL) return 1;
    to->found = more;
    to->room = wanted;
    return 0;
}

static void take_counter(struct attributes message, void *data)
{
    struct counting *to = data;
    size_t size;
    const size_t prefix = sizeof counter_prefix - 1;
    const struct nlattr *name = find_attribute(message, NFTA_OBJ_NAME);
    const struct attributes values = attributes_in(find_attribute(message, NFTA_OBJ_DATA));
    if (name == NULL) return;
    const char *text = value_of_attribute(name, &size);
    if (size <= prefix || strncmp(text, counter_prefix, prefix) != 0 || make_room(to) != 0) return;
    struct counted *one = &to->found[to->count++];
    snprintf(one->name, sizeof one->name, "%.*s", (int)(size - prefix), text + prefix);
    one->packets = number_in(find_attribute(values, NFTA_COUNTER_PACKETS));
    one->bytes = number_in(find_attribute(values, NFTA_COUNTER_BYTES));
}

size_t in_kernel_count(struct counted **found)
{
    struct counting all = {NULL, 0, 0};
    ask(NFT_MSG_GETOBJ, take_counter, &all);
    *found = all.found;
    return all.count;
}
