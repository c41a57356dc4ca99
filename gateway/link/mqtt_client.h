// SPDX-License-Identifier: Apache-2.0
/// @file mqtt_client.h  One MQTT client: a session with a broker, and words for what goes wrong with it.
#ifndef TQGATEWAY_LINK_MQTT_CLIENT_H
#define TQGATEWAY_LINK_MQTT_CLIENT_H

#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <mosquitto.h>

#include "link/mqtt.h"

namespace tqgateway {

constexpr int kMqttQos = 1;

/// Told on the thread that calls Loop.
class MqttClientEvents {
public:
    virtual ~MqttClientEvents() = default;
    virtual void Up(bool resumed) = 0;                   ///< `resumed`: the broker has kept the session.
    virtual void Received(std::string_view payload) = 0; ///< May throw std::bad_alloc.
    virtual void Confirmed(bool taken) = 0; ///< The broker has, or refuses, one more of what was published.
};

/// Connect, Loop and what tells of a link are for one thread, Publish and Disconnect for any.
class MqttClient {
public:
    /// Throws std::invalid_argument for options that cannot be used.
    MqttClient(const MqttOptions &options, MqttClientEvents &events);

    /// Begins a link; false when it failed at once.
    bool Connect();

    /// Goes on with the link, for at most so many milliseconds where nothing happens; false when it ended.
    bool Loop(int milliseconds);

    // Of the last link:
    const std::string &Reason() const { return reason_; } ///< Why it ended.
    bool Subscribed() const { return subscribed_; }       ///< It got as far as that.
    bool Contested() const { return contested_; }         ///< Another client takes it for the same serial.

    /// Repeated deliveries that were not handed over, since the start.
    std::size_t Repeats() const { return repeats_; }

    /// Gives a message to the client, which sends it again until the broker has confirmed it, over all links;
    /// false when it cannot be sent.
    bool Publish(const std::string &topic, const std::string &text, bool retained);

    void Disconnect() { mosquitto_disconnect(client_.get()); }

    /// Ends the link without a farewell. While a payload is being received: before it is acknowledged.
    void Cut();

    std::string Topic(const char *name) const;

    /// This process, as it makes itself known to others of its serial: retained on the topic "process".
    const std::string &Identity() const { return identity_; }

private:
    struct Library {
        Library() { mosquitto_lib_init(); }
        ~Library() { mosquitto_lib_cleanup(); }
        Library(const Library &) = delete;
        Library &operator=(const Library &) = delete;
    };
    struct Delete {
        void operator()(mosquitto *client) const { mosquitto_destroy(client); }
    };

    /// The library's callbacks, called by C code.
    static void OnConnect(mosquitto *client, void *self, int refusal, int flags,
                          const mosquitto_property *) noexcept;
    static void OnSubscribe(mosquitto *client, void *self, int id, int count, const int *granted) noexcept;
    static void OnDisconnect(mosquitto *client, void *self, int code) noexcept;
    static void OnPublish(mosquitto *client, void *self, int, int reason,
                          const mosquitto_property *) noexcept;
    static void OnMessage(mosquitto *client, void *self, const mosquitto_message *message) noexcept;
    static void OnLog(mosquitto *client, void *self, int, const char *text) noexcept;

    void SetUpSession();
    void SetUpTls();
    void Up(bool resumed);
    bool AwaitConnection(int milliseconds);
    bool Fail(const std::string &reason);
    std::string Words(int code) const;
    bool IsRepeat(int id, std::string_view payload);
    void MeetProcess(std::string_view identity);

    const MqttOptions options_;
    const std::string identity_;
    const std::string process_topic_;
    MqttClientEvents &events_;
    std::string reason_;
    bool connected_ = false; ///< Its socket is.
    bool answered_ = false;  ///< The broker has answered the connection's first message.
    bool up_ = false;
    bool subscribed_ = false;
    bool contested_ = false;
    bool known_ = false; ///< An earlier link has made this process known.
    int subscription_ = 0;
    bool told_retained_ = false;
    bool repeated_ = false; ///< The broker marks the message that comes next as one that it sends again.
    std::deque<std::pair<int, std::size_t>> taken_; ///< Identifiers and hashes of the last payloads.
    std::size_t repeats_ = 0;

    Library library_;
    std::unique_ptr<mosquitto, Delete> client_;
};

} // namespace tqgateway

#endif
