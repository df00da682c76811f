/* SPDX-License-Identifier: MIT */
#include "fuzz/model_subscribers.h"

#include "api/sockets/notify_state.h"
#include "core/base/file.h"
#include "vorn/eloop.h"
#include "vorn/notify.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "fuzz/target.h"

namespace vorn::fuzz {

/* Its own end, and what the daemon holds of the other one, which is the daemon's to close. */
struct Subscribers::Subscriber {
    Subscriber()
    {
        int ends[2];
        require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "a subscriber can connect");
        own = Fd(ends[0]);
        fd = ends[1];
        fcntl(own.get(), F_SETFL, O_NONBLOCK);
        fcntl(fd, F_SETFL, O_NONBLOCK);
        stream = fdopen(fd, "w+");
        require(notify_begin_connection(fd, stream), "the loop watches a subscriber");
        say();
    }
    ~Subscriber()
    {
        if (!own) return;
        own = Fd();
        notify_read(fd, nullptr, stream);
    }

    void say()
    {
        require(write(own.get(), "s", 1) == 1, "a subscriber can write");
        notify_read(fd, nullptr, stream);
    }
    std::string hear()
    {
        std::string text;
        char block[4096];
        for (ssize_t count; (count = read(own.get(), block, sizeof block)) > 0;)
            text.append(block, static_cast<std::size_t>(count));
        return text;
    }

    Fd own;
    int fd;
    std::FILE *stream;
    std::string expected;
};

Subscribers::Subscribers()
{
    conf_change_counter = 1;
}

Subscribers::~Subscribers()
{
    all_.clear();
    eloop_destroy();
}

/* One too many is sent away with its first byte. */
void Subscribers::connect()
{
    auto subscriber = std::make_unique<Subscriber>();
    if (all_.size() < notify_slots) {
        all_.push_back(std::move(subscriber));
        return;
    }
    char byte;
    require(read(subscriber->own.get(), &byte, 1) == 0, "one subscriber too many is sent away");
    subscriber->own = Fd();
}

void Subscribers::disconnect(std::size_t which)
{
    if (all_.empty()) return;
    all_.erase(all_.begin() + static_cast<std::ptrdiff_t>(which % all_.size()));
}

void Subscribers::write_something(std::size_t which)
{
    if (!all_.empty()) all_[which % all_.size()]->say();
}

void Subscribers::expect(const std::string &message)
{
    for (const auto &subscriber : all_)
        subscriber->expected += "<?xml version=\"1.0\"?>" + message + "\n" + '\0';
}

void Subscribers::tell_conf_change(const std::optional<std::string> &origin)
{
    vorn_notify_conf_change(origin ? origin->c_str() : nullptr);

    const std::string from = origin ? " origin=\"" + *origin + "\"" : "";
    expect("<conf_changed" + from + ">" + std::to_string(++changes_) + "</conf_changed>");
}

void Subscribers::tell_object_change(const std::optional<std::string> &name,
                                     const std::string &value)
{
    vorn_notify_object_change("fuzz", "Radio", name ? name->c_str() : nullptr, "mode",
                              value.c_str());

    const std::string named = name ? " name=\"" + *name + "\"" : "";
    expect("<object_changed origin=\"fuzz\"><Radio" + named + "><mode>" + value +
           "</mode></Radio></object_changed>");
}

void Subscribers::check()
{
    for (const auto &subscriber : all_) {
        require(subscriber->hear() == subscriber->expected, "a subscriber hears what is said");
        subscriber->expected.clear();
    }
}

} // namespace vorn::fuzz
