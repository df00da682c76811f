/* SPDX-License-Identifier: MIT */
#pragma once

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace vorn::tests {

/* The sockets of a hostapd of wlan0: that for all of it, and that of its first interface. It notes
 * what it is asked, and the file that an order names as it was then. */
class HostapdControl {
public:
    /* No answer where it gives none. */
    using Answers = std::function<std::optional<std::string>(const std::string &question)>;

    static std::string does_it(const std::string &question)
    {
        return question == "STATUS" ? "state=ENABLED\nphy=phy7\nfreq=2437\n" : "OK\n";
    }

    explicit HostapdControl(Answers answers = does_it) : answers_(std::move(answers))
    {
        listen(0, "/var/run/vorn-hostapd-radios");
        listen(1, "/var/run/vorn-hostapd");
        if (pipe(end_) == 0) thread_ = std::thread([this] { serve(); });
    }
    HostapdControl(const HostapdControl &) = delete;
    ~HostapdControl()
    {
        close(end_[1]);
        if (thread_.joinable()) thread_.join();
        close(end_[0]);
        for (const int each : sockets_)
            close(each);
        unlink("/var/run/vorn-hostapd-radios/wlan0");
        unlink("/var/run/vorn-hostapd/wlan0");
    }

    std::vector<std::string> questions()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return questions_;
    }
    std::string last_file()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return file_;
    }

private:
    void listen(int which, const std::string &folder)
    {
        std::filesystem::create_directories(folder);
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        (folder + "/wlan0").copy(address.sun_path, sizeof address.sun_path - 1);
        sockets_[which] = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        bind(sockets_[which], reinterpret_cast<const sockaddr *>(&address), sizeof address);
    }

    void serve()
    {
        pollfd waiting[] = {
            {sockets_[0], POLLIN, 0}, {sockets_[1], POLLIN, 0}, {end_[0], POLLIN, 0}};
        while (poll(waiting, 3, -1) > 0 && waiting[2].revents == 0) {
            for (int which = 0; which < 2; which++) {
                if (waiting[which].revents != 0) answer(sockets_[which]);
            }
        }
    }

    void answer(int sock)
    {
        char question[256];
        sockaddr_un asker{};
        socklen_t size = sizeof asker;
        const ssize_t count = recvfrom(sock, question, sizeof question, MSG_DONTWAIT,
                                       reinterpret_cast<sockaddr *>(&asker), &size);
        if (count <= 0) return;
        const std::string text(question, static_cast<std::size_t>(count));
        note(text);
        const std::optional<std::string> words = answers_(text);
        if (words)
            sendto(sock, words->data(), words->size(), 0,
                   reinterpret_cast<const sockaddr *>(&asker), size);
    }

    void note(const std::string &text)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        questions_.push_back(text);
        const auto path = text.find(":/");
        if (path != std::string::npos) read(text.substr(path + 1));
    }

    void read(const std::string &path)
    {
        std::ifstream file(path);
        file_.assign(std::istreambuf_iterator<char>(file), {});
    }

    Answers answers_;
    int sockets_[2] = {-1, -1};
    int end_[2] = {-1, -1};
    std::mutex mutex_;
    std::vector<std::string> questions_;
    std::string file_;
    std::thread thread_;
};

} // namespace vorn::tests
