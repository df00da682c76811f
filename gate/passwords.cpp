/* SPDX-License-Identifier: MIT */
/* The other end of vorn-gate-passwd: three texts there, a word back. */
#include "passwords.h"

#include <cstdlib>
#include <cstring>
#include <string_view>

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace vorn::gate {

namespace {

constexpr int patience_s = 20;

int connect_to(const std::string &socket)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (socket.size() >= sizeof address.sun_path) return -1;
    std::memcpy(address.sun_path, socket.c_str(), socket.size() + 1);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) return -1;
    const timeval patience = {patience_s, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    if (connect(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0)
        return descriptor;
    close(descriptor);
    return -1;
}

std::string question_and_answer(int descriptor, const std::string &question)
{
    std::string answer;
    if (send(descriptor, question.data(), question.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(question.size())) {
        return answer;
    }
    char piece[64];
    ssize_t count = 0;
    while (answer.size() < sizeof piece && (count = recv(descriptor, piece, sizeof piece, 0)) > 0)
        answer.append(piece, static_cast<std::size_t>(count));
    return answer;
}

} // namespace

Verdict ask_for_password(const std::string &socket, const std::string &address,
                         const std::string &user, const std::string &password)
{
    constexpr std::string_view wait = "wait ";
    const int descriptor = connect_to(socket);
    if (descriptor < 0) return {Verdict::Kind::no_helper, 0};
    std::string question = address + '\0' + user + '\0' + password + '\0';
    const std::string answer = question_and_answer(descriptor, question);
    explicit_bzero(question.data(), question.size());
    close(descriptor);
    if (answer == "yes\n") return {Verdict::Kind::right, 0};
    if (answer == "no\n") return {Verdict::Kind::wrong, 0};
    if (answer.starts_with(wait))
        return {Verdict::Kind::wait, std::atoi(answer.c_str() + wait.size())};
    return {Verdict::Kind::no_helper, 0};
}

} // namespace vorn::gate
