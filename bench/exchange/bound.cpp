/* SPDX-License-Identifier: MIT */
/*
 * What no server in the daemon's style can be quicker than: bound NAME ANSWER-FILE [stay] takes one
 * client after the other, parses each request and dumps the same prepared answer, without
 * evaluating anything. With "stay" a client has any number of framed requests until it leaves.
 */
#include <libxml/parser.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <sys/select.h>

#include "exchange/socket.h"

using namespace vorn::bench;

namespace {

bool is_readable(int descriptor)
{
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(descriptor, &readable);
    return select(descriptor + 1, &readable, nullptr, nullptr, nullptr) >= 0;
}

/* A reply with the head of its length goes out in one piece, as the daemon's does. */
bool answer(int client, std::size_t length, xmlDoc *document, const std::uint32_t *number)
{
    std::vector<char> request(length);
    if (!receive(client, request.data(), length)) return false;
    xmlDoc *parsed =
        xmlReadMemory(request.data(), static_cast<int>(length), nullptr, nullptr, XML_PARSE_NONET);
    xmlChar *text = nullptr;
    int size = 0;
    xmlDocDumpMemory(document, &text, &size);
    std::string reply;
    if (number) {
        const std::uint32_t head[] = {*number, htonl(static_cast<std::uint32_t>(size))};
        reply.assign(reinterpret_cast<const char *>(head), sizeof head);
    }
    reply.append(reinterpret_cast<const char *>(text), static_cast<std::size_t>(size));
    const bool is_sent =
        write(client, reply.data(), reply.size()) == static_cast<ssize_t>(reply.size());
    xmlFree(text);
    xmlFreeDoc(parsed);
    return is_sent;
}

void serve_who_stays(int client, xmlDoc *document)
{
    std::uint32_t head[2];
    while (is_readable(client) && receive(client, head, sizeof head) &&
           answer(client, ntohl(head[1]), document, &head[0]))
        continue;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3 && argc != 4) return 2;
    xmlDoc *document = xmlReadFile(argv[2], nullptr, XML_PARSE_NONET);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    const sockaddr_un address = abstract_address(argv[1]);
    if (!document || bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) ||
        listen(listener, 64)) {
        std::perror("bound");
        return 1;
    }
    std::puts("ready");
    std::fflush(stdout);
    while (is_readable(listener)) {
        const int client = accept(listener, nullptr, nullptr);
        std::uint32_t length = 0;
        if (argc == 4) {
            serve_who_stays(client, document);
        } else if (!receive(client, &length, sizeof length) ||
                   !answer(client, length, document, nullptr)) {
            return 1;
        }
        close(client);
    }
    return 1;
}
