// SPDX-License-Identifier: Apache-2.0
/// @file mqtt.h  The link to a platform behind an MQTT broker.
#ifndef TQGATEWAY_MQTT_H
#define TQGATEWAY_MQTT_H

#include <memory>
#include <optional>
#include <string>

#include "output.h"

namespace tqgateway {

struct MqttOptions {
    std::string host;
    int port = 0;
    std::string serial;
    std::string user;          ///< Empty: none.
    std::string password_file; ///< Its first line is the password. Empty: none.
    std::string ca_file;       ///< Empty: no TLS.
    std::size_t queue = 1000;  ///< Lines that wait for the link; beyond it the oldest are dropped.
};

/// What comes from the link, in order.
struct Arrival {
    enum class Kind { line, refusal, up, down } kind;
    std::string text; ///< The line, or why a payload is refused.
};

/// The topics of the gateway with a serial:
///
///     tq/SERIAL/down    lines in, one or several in a payload
///     tq/SERIAL/up      lines out, one in a payload; {"dropped":n} stands for n lines that did not fit
///     tq/SERIAL/status  "online" or "offline", retained; the broker's last word is "offline"
///
/// As a sink it takes lines whether the link is up or down. Networking runs on a thread of its own,
/// which only hands arrivals over.
class MqttLink : public Sink {
public:
    /// Begins to connect, and again and again, with growing delays, whenever the link is down.
    virtual void Connect() = 0;

    /// The next arrival, if there is one. While the link is up and lines wait for it there is none: who
    /// sends too fast must wait for the answers.
    virtual std::optional<Arrival> Next() = 0;

    /// Becomes readable when Next may have one; reading it, 8 bytes, is up to the caller.
    virtual int WakeFd() const = 0;

    /// Sends what waits and "offline", waits a few seconds for the broker to have them, and disconnects.
    virtual void Close() = 0;
};

/// A link, not connected yet. Throws std::invalid_argument for files that cannot be used, and when the
/// program was built without MQTT.
std::unique_ptr<MqttLink> MakeMqttLink(const MqttOptions &options);

} // namespace tqgateway

#endif
