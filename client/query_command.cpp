/* SPDX-License-Identifier: MIT */
/* vornctl query FILE|-: the whole request in, the reply out, and the verdict as exit status. */
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>

#include "commands.h"

namespace vorn::client {

namespace {

struct FreeDocument {
    void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
};

std::optional<std::string> whole(const char *name)
{
    std::ifstream file;
    if (std::strcmp(name, "-") != 0) {
        file.open(name, std::ios::binary);
        if (!file) return std::nullopt;
    }
    std::istream &input = file.is_open() ? file : std::cin;
    return std::string(std::istreambuf_iterator<char>(input), {});
}

bool is_zero(xmlNode *rc)
{
    const std::unique_ptr<xmlChar, decltype(xmlFree)> text(xmlNodeGetContent(rc), xmlFree);
    return text && xmlStrEqual(text.get(), BAD_CAST "0");
}

/* A saved configuration is an answer too, and all there is to it. */
bool every_rc_is_zero(const std::string &reply)
{
    constexpr int quietly = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
    const std::unique_ptr<xmlDoc, FreeDocument> document(xmlReadMemory(
        reply.data(), static_cast<int>(reply.size()), "reply", nullptr, quietly | XML_PARSE_HUGE));
    xmlNode *root = document ? xmlDocGetRootElement(document.get()) : nullptr;
    if (!root || xmlStrEqual(root->name, BAD_CAST "error")) return false;
    if (!xmlStrEqual(root->name, BAD_CAST "lsql_result")) return true;

    for (xmlNode *node = root->children; node; node = node->next) {
        if (xmlStrEqual(node->name, BAD_CAST "rc") && !is_zero(node)) return false;
    }
    return true;
}

} // namespace

int query_command(int argc, char **argv)
{
    if (argc != 1) {
        std::fprintf(stderr, "usage: vornctl query FILE|-\n");
        return misused;
    }
    const std::optional<std::string> request = whole(argv[0]);
    if (!request) {
        std::fprintf(stderr, "vornctl: %s: %s\n", argv[0], std::strerror(errno));
        return misused;
    }
    if (request->empty()) {
        std::fprintf(stderr, "vornctl: %s: the request is empty\n", argv[0]);
        return misused;
    }
    const Exchange exchange = exchange_lsql(*request, limit_seconds);
    if (exchange.failure != Failure::none) return report_failure(exchange);
    if (exchange.reply.empty()) {
        std::fprintf(stderr, "vornctl: no answer: the request is not well-formed XML\n");
        return no_answer;
    }
    std::fwrite(exchange.reply.data(), 1, exchange.reply.size(), stdout);
    return every_rc_is_zero(exchange.reply) ? done : refused;
}

} // namespace vorn::client
