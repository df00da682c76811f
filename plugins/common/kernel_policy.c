/* SPDX-License-Identifier: MIT */
/* What is beside the main table, through netlink: tables of routes, and rules that lead to them. */
#include <linux/fib_rules.h>
#include <linux/rtnetlink.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>

#include "kernel.h"
#include "netlink.h"

static uint32_t number_in(const struct rtattr *attribute)
{
    uint32_t number = 0;
    if (RTA_PAYLOAD(attribute) >= sizeof number)
        memcpy(&number, RTA_DATA(attribute), sizeof number);
    return number;
}

static uint32_t address_in(const struct rtattr *attribute)
{
    return ntohl(number_in(attribute));
}

static int take_route(const struct nlmsghdr *message, void *kernel)
{
    const struct rtmsg *info = NLMSG_DATA(message);
    struct kernel_route found = {.prefix = info->rtm_dst_len};
    uint32_t table = info->rtm_table;
    int left = (int)RTM_PAYLOAD(message);
    if (message->nlmsg_type != RTM_NEWROUTE || info->rtm_family != AF_INET ||
        info->rtm_type != RTN_UNICAST || table == RT_TABLE_MAIN || table == RT_TABLE_LOCAL) {
        return 0;
    }
    for (const struct rtattr *each = RTM_RTA(info); RTA_OK(each, left);
         each = RTA_NEXT(each, left)) {
        if (each->rta_type == RTA_TABLE) table = number_in(each);
        if (each->rta_type == RTA_DST) found.destination = address_in(each);
        if (each->rta_type == RTA_GATEWAY) found.gateway = address_in(each);
        if (each->rta_type == RTA_PRIORITY) found.metric = (int)number_in(each);
        if (each->rta_type == RTA_OIF) kernel_name_link(kernel, number_in(each), found.link);
    }
    if (table > INT32_MAX) return 0;
    found.table = (int)table;
    kernel_add_route(kernel, &found);
    return 0;
}

static void copy_network(struct in6_addr *to, const struct rtattr *attribute)
{
    if (RTA_PAYLOAD(attribute) <= sizeof *to)
        memcpy(to, RTA_DATA(attribute), RTA_PAYLOAD(attribute));
}

static void take_word(struct kernel_rule *rule, int *protocol, const struct rtattr *word)
{
    const uint32_t number = number_in(word);
    if (word->rta_type == FRA_PRIORITY) rule->priority = (int)number;
    if (word->rta_type == FRA_TABLE) rule->table = (int)number;
    if (word->rta_type == FRA_SRC) copy_network(&rule->from, word);
    if (word->rta_type == FRA_DST) copy_network(&rule->to, word);
    if (word->rta_type == FRA_IIFNAME) {
        snprintf(rule->link, sizeof rule->link, "%.*s", (int)RTA_PAYLOAD(word),
                 (const char *)RTA_DATA(word));
    }
    if (word->rta_type == FRA_PROTOCOL && RTA_PAYLOAD(word) > 0)
        *protocol = *(const unsigned char *)RTA_DATA(word);
}

static int take_rule(const struct nlmsghdr *message, void *kernel)
{
    const struct fib_rule_hdr *info = NLMSG_DATA(message);
    struct kernel_rule found = {
        .family = info->family, .from_prefix = info->src_len, .to_prefix = info->dst_len};
    int protocol = 0;
    int left = (int)NLMSG_PAYLOAD(message, sizeof *info);
    const struct rtattr *each = (const void *)((const char *)info + NLMSG_ALIGN(sizeof *info));
    if (message->nlmsg_type != RTM_NEWRULE || info->action != FR_ACT_TO_TBL ||
        (info->flags & FIB_RULE_INVERT) != 0) {
        return 0;
    }
    for (; RTA_OK(each, left); each = RTA_NEXT(each, left))
        take_word(&found, &protocol, each);
    if (protocol == kernel_rule_protocol) kernel_add_rule(kernel, &found);
    return 0;
}

void kernel_add_rule(struct kernel *kernel, const struct kernel_rule *rule)
{
    struct kernel_rule *added = malloc(sizeof *added);
    if (added == NULL) return;
    *added = *rule;
    added->next = kernel->rules;
    kernel->rules = added;
}

void kernel_read_policy(struct kernel *kernel)
{
    netlink_dump(RTM_GETROUTE, AF_INET, take_route, kernel);
    netlink_dump(RTM_GETRULE, AF_INET, take_rule, kernel);
    netlink_dump(RTM_GETRULE, AF_INET6, take_rule, kernel);
}
