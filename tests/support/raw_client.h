/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <string>

namespace vorn::tests {

/* Where the daemon takes requests and subscribers, and what each notice ends with. */
inline constexpr char lsql_door[] = "vorn_sock_lsql";
inline constexpr int notices_port = 8001;
inline const std::string end_of_notice(1, '\0');

/* A client that may misbehave: it sends whatever bytes it is told to, whenever it is told to. */
class RawClient {
public:
    /* Connects to an abstract name, or to a port of the loopback address. */
    explicit RawClient(const std::string &name);
    explicit RawClient(int port);
    RawClient(const RawClient &) = delete;
    ~RawClient();

    bool connected() const;
    /* False when the other side no longer takes what is sent. */
    bool send(const std::string &bytes);
    /* Everything up to the end of the stream; what came so far when that takes too long. */
    std::string receive_all();
    /*
     * What comes until the text has come (included), or the stream ends, or it takes too long.
     * What came after the text is kept for the next call.
     */
    std::string receive_until(const std::string &text);
    /* Whether the other side has closed, waiting up to the limit. */
    bool closed_within(int seconds);
    void half_close();
    void reset();
    int descriptor() const;

private:
    int descriptor_;
    std::string kept_;
};

/* Stands where the daemon would listen: its address is taken, and clients come here. */
class Listener {
public:
    Listener() = default;
    explicit Listener(const std::string &name);
    explicit Listener(int port);
    Listener(Listener &&other) noexcept;
    Listener &operator=(Listener &&other) noexcept;
    ~Listener();

    /* The next client's connection; it belongs to the caller. */
    int accept_client();

private:
    int descriptor_ = -1;
};

/* Four bytes in the machine's own order. */
std::string native(std::uint32_t number);

/* A request as the LSQL socket wants it. */
std::string framed(const std::string &request);

} // namespace vorn::tests
