/* SPDX-License-Identifier: MIT */
/*
 * What no server in the daemon's style can be quicker than: bound NAME ANSWER-FILE takes one
 * client after the other, parses each request and dumps the same prepared answer, without
 * evaluating anything.
 */
#include <libxml/parser.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include <sys/select.h>

#include "exchange/socket.h"

using namespace vorn::bench;

int main(int argc, char **argv)
{
    if (argc != 3) return 2;
    xmlDoc *answer = xmlReadFile(argv[2], nullptr, XML_PARSE_NONET);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    const sockaddr_un address = abstract_address(argv[1]);
    if (!answer || bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) ||
        listen(listener, 64)) {
        std::perror("bound");
        return 1;
    }
    for (;;) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(listener, &readable);
        if (select(listener + 1, &readable, nullptr, nullptr, nullptr) < 0) return 1;
        const int client = accept(listener, nullptr, nullptr);
        std::uint32_t length = 0;
        if (!receive(client, &length, sizeof length)) return 1;
        std::vector<char> request(length);
        if (!receive(client, request.data(), length)) return 1;

        xmlDoc *parsed = xmlReadMemory(request.data(), static_cast<int>(length), nullptr, nullptr,
                                       XML_PARSE_NONET);
        xmlChar *text = nullptr;
        int size = 0;
        xmlDocDumpMemory(answer, &text, &size);
        if (write(client, text, static_cast<std::size_t>(size)) != size) return 1;
        xmlFree(text);
        xmlFreeDoc(parsed);
        close(client);
    }
}
