/* SPDX-License-Identifier: MIT */
/*
 * Looking up a name and opening a connection wait inside of the library, for minutes if the network
 * is cut off: a thread does it, and whoever waits for too long begins anew with another one.
 */
#include "link.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <mqtt_protocol.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>

#include "protocol/bounds.h"

namespace vorn::fleet {

namespace {

constexpr std::int64_t longest_dial_ms = 20000;
constexpr std::int64_t longest_opening_ms = 60000; /* four times lost is 45, with a second there */
constexpr std::int64_t longest_closing_ms = 1000;
constexpr int own_keep_alive_s = 60;
constexpr std::int64_t until_answer_ms = 15000; /* where a minute lies between two pings */
constexpr std::size_t most_unacknowledged = 64;
constexpr std::uint16_t most_at_once = 8; /* that the broker may leave unfinished */
constexpr int session_expiry_s = 120;
constexpr int will_delay_s = 60;
constexpr std::uint32_t largest_packet = longest_document + 4096;
constexpr char offline[] = R"({"version":1,"online":false})";
constexpr char system_authorities[] = "/etc/ssl/certs";
constexpr int with_will = 0x04;

struct Properties {
    mosquitto_property *list = nullptr;
    ~Properties() { mosquitto_property_free_all(&list); }
};

std::string text_in(const mosquitto_property *properties, int which)
{
    char *text = nullptr;
    if (!mosquitto_property_read_string(properties, which, &text, false)) return {};
    const std::unique_ptr<char, decltype(&std::free)> owned(text, &std::free);
    return owned.get();
}

std::string bytes_in(const mosquitto_property *properties, int which)
{
    void *bytes = nullptr;
    std::uint16_t size = 0;
    if (!mosquitto_property_read_binary(properties, which, &bytes, &size, false)) return {};
    const std::unique_ptr<void, decltype(&std::free)> owned(bytes, &std::free);
    return {static_cast<const char *>(bytes), size};
}

const char *or_null(const std::string &text)
{
    return text.empty() ? nullptr : text.c_str();
}

/* TCP waits twice as long each time that a segment is lost. Where every third one is, a ping is not
 * there before the broker takes the device for gone, which has half a minute for it. */
void keep_trying(int socket)
{
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_THIN_LINEAR_TIMEOUTS, &on, sizeof on);
}

std::string reason_of(int result)
{
    return result == MOSQ_ERR_ERRNO ? std::strerror(errno) : mosquitto_strerror(result);
}

} // namespace

Link::Link(const LinkOptions &options, LinkEvents events)
    : options_(options), events_(std::move(events))
{}

Link::Handle Link::make_handle()
{
    const std::string id = options_.identity.tenant + '/' + options_.identity.device;
    const Handle handle(mosquitto_new(id.c_str(), false, this), &mosquitto_destroy);
    if (!handle) return nullptr;
    mosquitto_int_option(handle.get(), MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    /* Whoever waits for a report would wait for the acknowledgement of what was said before it. */
    mosquitto_int_option(handle.get(), MOSQ_OPT_TCP_NODELAY, 1);
    Properties will;
    mosquitto_property_add_int32(&will.list, MQTT_PROP_WILL_DELAY_INTERVAL, will_delay_s);
    const std::string topic = "v1/" + id + "/online";
    if (mosquitto_will_set_v5(handle.get(), topic.c_str(), sizeof offline - 1, offline, 1, true,
                              will.list) == MOSQ_ERR_SUCCESS)
        will.list = nullptr; /* it is the client's now */
    if (options_.is_encrypted) {
        const bool is_own = !options_.authorities.empty();
        const int result = mosquitto_tls_set(
            handle.get(), or_null(options_.authorities), is_own ? nullptr : system_authorities,
            or_null(options_.certificate), or_null(options_.key), nullptr);
        if (result != MOSQ_ERR_SUCCESS) {
            failure_ = "TLS: " + reason_of(result);
            return nullptr;
        }
    }
    static constexpr auto self = [](void *data) -> Link & { return *static_cast<Link *>(data); };
    mosquitto_connect_v5_callback_set(handle.get(), [](mosquitto *, void *data, int reason, int,
                                                       const mosquitto_property *properties) {
        self(data).on_connect(reason, properties);
    });
    mosquitto_publish_v5_callback_set(
        handle.get(), [](mosquitto *, void *data, int number, int, const mosquitto_property *) {
            Link &own = self(data);
            const auto found =
                std::ranges::find(own.sent_, number, [](auto &each) { return each.first; });
            if (found == own.sent_.end()) return;
            const unsigned token = found->second;
            own.sent_.erase(found);
            own.events_.acknowledged(token);
        });
    mosquitto_message_v5_callback_set(
        handle.get(),
        [](mosquitto *, void *data, const mosquitto_message *message,
           const mosquitto_property *properties) { self(data).on_message(*message, properties); });
    return handle;
}

void Link::connect(std::int64_t now_ms)
{
    handle_ = make_handle();
    keep_alive_s_ = own_keep_alive_s;
    if (!handle_ || options_.brokers.empty()) {
        /* To be told by serve. */
        if (failure_.empty()) failure_ = "no memory";
        state_ = State::opening;
        deadline_ms_ = now_ms;
        return;
    }
    const Broker broker = options_.brokers[next_broker_++ % options_.brokers.size()];
    state_ = State::dialling;
    deadline_ms_ = now_ms + longest_dial_ms;
    dialler_ = std::make_unique<Worker>();
    dialler_->give([this, handle = handle_, broker]() -> Worker::Then {
        Properties properties;
        mosquitto_property_add_int32(&properties.list, MQTT_PROP_SESSION_EXPIRY_INTERVAL,
                                     session_expiry_s);
        mosquitto_property_add_int32(&properties.list, MQTT_PROP_MAXIMUM_PACKET_SIZE,
                                     largest_packet);
        mosquitto_property_add_int16(&properties.list, MQTT_PROP_RECEIVE_MAXIMUM, most_at_once);
        const int result = mosquitto_connect_bind_v5(handle.get(), broker.host.c_str(), broker.port,
                                                     own_keep_alive_s, nullptr, properties.list);
        const std::string failure = result == MOSQ_ERR_SUCCESS ? "" : reason_of(result);
        return [this, handle, failure] {
            if (failure.empty()) {
                state_ = State::opening;
            } else {
                failure_ = failure;
            }
        };
    });
}

void Link::give_up(const std::string &why)
{
    const std::string text = why; /* which may be the failure itself */
    state_ = State::idle;
    deadline_ms_ = next_misc_ms_ = never;
    dialler_.reset();
    handle_.reset();
    sent_.clear();
    failure_.clear();
    events_.disconnected(text);
}

void Link::disconnect(std::int64_t now_ms)
{
    if (state_ == State::open) {
        mosquitto_disconnect_v5(handle_.get(), with_will, nullptr);
        deadline_ms_ = now_ms + longest_closing_ms;
    } else {
        /* Whoever dials has the handle for himself until he is done. */
        dialler_.reset();
        handle_.reset();
        deadline_ms_ = now_ms;
    }
    state_ = State::closing;
}

void Link::subscribe(const std::string &topic)
{
    mosquitto_subscribe_v5(handle_.get(), nullptr, topic.c_str(), 1, 0, nullptr);
}

void Link::publish(const Publication &publication)
{
    if (state_ != State::open) return;
    if (sent_.size() >= most_unacknowledged) {
        if (failure_.empty()) failure_ = "the broker does not acknowledge";
        return;
    }
    Properties properties;
    if (!publication.correlation.empty())
        mosquitto_property_add_binary(&properties.list, MQTT_PROP_CORRELATION_DATA,
                                      publication.correlation.data(),
                                      static_cast<std::uint16_t>(publication.correlation.size()));
    if (publication.expires_after != 0)
        mosquitto_property_add_int32(&properties.list, MQTT_PROP_MESSAGE_EXPIRY_INTERVAL,
                                     publication.expires_after);
    int number = 0;
    const int result = mosquitto_publish_v5(handle_.get(), &number, publication.topic.c_str(),
                                            static_cast<int>(publication.payload.size()),
                                            publication.payload.data(), 1, publication.is_retained,
                                            properties.list);
    if (result == MOSQ_ERR_SUCCESS) {
        sent_.emplace_back(number, publication.token);
    } else if (failure_.empty()) {
        failure_ = reason_of(result);
    }
}

/* Which the broker may want more often than the device. */
std::int64_t Link::until_ping_ms() const
{
    return std::int64_t{keep_alive_s_} * 1000 + 1000;
}

void Link::on_connect(int reason, const mosquitto_property *properties)
{
    if (reason != 0) {
        failure_ = std::string("the broker refuses: ") + mosquitto_reason_string(reason);
        return;
    }
    std::uint16_t seconds = 0;
    if (mosquitto_property_read_int16(properties, MQTT_PROP_SERVER_KEEP_ALIVE, &seconds, false) &&
        seconds != 0)
        keep_alive_s_ = std::min<int>(seconds, own_keep_alive_s);
    state_ = State::open;
    deadline_ms_ = never;
    is_pinging_ = true; /* from now on, that is */
    events_.connected();
}

void Link::on_message(const mosquitto_message &message, const mosquitto_property *properties)
{
    const std::string response_topic = text_in(properties, MQTT_PROP_RESPONSE_TOPIC);
    const std::string correlation = bytes_in(properties, MQTT_PROP_CORRELATION_DATA);
    events_.received(
        {message.topic ? message.topic : "",
         {static_cast<const char *>(message.payload), static_cast<std::size_t>(message.payloadlen)},
         response_topic,
         correlation});
}

void Link::add_descriptors(std::vector<pollfd> &descriptors) const
{
    if (state_ == State::dialling) {
        descriptors.push_back({dialler_->descriptor(), POLLIN, 0});
        return;
    }
    const int socket = handle_ ? mosquitto_socket(handle_.get()) : -1;
    if (socket < 0) return;
    const int out = mosquitto_want_write(handle_.get()) ? POLLOUT : 0;
    descriptors.push_back({socket, static_cast<short>(POLLIN | out), 0});
}

std::int64_t Link::wake_at() const
{
    return failure_.empty() ? std::min(deadline_ms_, next_misc_ms_) : 0;
}

/* What TLS has decrypted already does not make the socket ready. */
void Link::read_all()
{
    int result = MOSQ_ERR_SUCCESS;
    do {
        result = mosquitto_loop_read(handle_.get(), 1);
        const auto *tls = static_cast<const SSL *>(mosquitto_ssl_get(handle_.get()));
        if (result != MOSQ_ERR_SUCCESS || !tls || SSL_pending(tls) == 0) break;
    } while (failure_.empty());
    if (result == MOSQ_ERR_SUCCESS && mosquitto_want_write(handle_.get()))
        result = mosquitto_loop_write(handle_.get(), 1);
    if (result != MOSQ_ERR_SUCCESS && failure_.empty()) failure_ = reason_of(result);
}

/* One wake for each ping, and one for its answer: the library would look each second. */
void Link::keep_alive(std::int64_t now_ms, bool has_heard)
{
    if (has_heard && std::exchange(is_pinging_, false)) next_misc_ms_ = now_ms + until_ping_ms();
    if (now_ms < next_misc_ms_) return;
    next_misc_ms_ = now_ms + until_answer_ms * keep_alive_s_ / own_keep_alive_s;
    is_pinging_ = true;
    if (mosquitto_loop_misc(handle_.get()) != MOSQ_ERR_SUCCESS && failure_.empty())
        failure_ = "the broker is silent";
}

void Link::serve(std::int64_t now_ms, bool has_heard)
{
    if (state_ == State::idle) return;
    if (state_ == State::dialling) {
        dialler_->finish();
        if (state_ == State::opening) {
            dialler_.reset(); /* its thread has nothing more to do */
            deadline_ms_ = now_ms + longest_opening_ms;
            next_misc_ms_ = now_ms + until_ping_ms();
            is_pinging_ = false;
            keep_trying(mosquitto_socket(handle_.get()));
        }
    }
    if (state_ == State::opening || state_ == State::open || state_ == State::closing) {
        if (handle_ && mosquitto_socket(handle_.get()) >= 0) read_all();
        if (handle_) keep_alive(now_ms, has_heard);
    }
    if (failure_.empty() && now_ms >= deadline_ms_)
        failure_ = state_ == State::closing ? "closed" : "the broker does not answer";
    const bool is_closed =
        state_ != State::dialling && handle_ && mosquitto_socket(handle_.get()) < 0;
    if (!failure_.empty() || is_closed) give_up(failure_.empty() ? "closed" : failure_);
}

} // namespace vorn::fleet
