// SPDX-License-Identifier: Apache-2.0
/// @file mqtt.h  The link to a platform behind an MQTT broker.
#ifndef TQGATEWAY_LINK_MQTT_H
#define TQGATEWAY_LINK_MQTT_H

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "link/link_faults.h"
#include "output/output.h"

namespace tqgateway {

struct MqttOptions {
    std::string host;
    int port = 0;
    std::string prefix = "tq"; ///< Of all topics.
    std::string serial;
    std::string user;          ///< Empty: none.
    std::string password_file; ///< Its first line is the password. Empty: none.
    std::string ca_file;       ///< Empty: no TLS.
    std::string cert_file;     ///< The client's certificate, with key_file. Empty: none.
    std::string key_file;
    std::size_t queue = 1000; ///< Lines that wait for the link; beyond it the oldest are dropped.
    std::chrono::seconds keepalive{10};
    std::chrono::seconds connect_timeout{10};
    std::uint32_t session = 300; ///< Seconds that the broker keeps the session without a link; 0: none.
    bool version_3 = false;      ///< MQTT 3.1.1 instead of 5; a session is then kept without end.
    bool log_topic = false;      ///< Send log lines, too.
    bool timed = false;          ///< Each line carries its time.
};

/// What comes from the link, in order.
struct Arrival {
    enum class Kind { line, refusal, up, down } kind;
    std::string text; ///< The line, or why a payload is refused.
};

/// The topics of the gateway with a serial:
///
///     tq/SERIAL/down    lines in, one or several in a payload
///     tq/SERIAL/up      what the device sends to the platform, one line in a payload
///     tq/SERIAL/device  what the device application received
///     tq/SERIAL/result  results, errors and answers; {"dropped":n} stands for n lines of any topic that did
///                       not fit
///     tq/SERIAL/log     log lines, where asked for
///     tq/SERIAL/process which process the gateway is, retained
///     tq/SERIAL/status  "online" or "offline", retained; the broker's last word is "offline"
///
/// As a sink it takes lines whether the link is up or down. Networking runs on a thread of its own,
/// which only hands arrivals over. The broker keeps the session while the link is down. What it then
/// repeats because an acknowledgement got lost with the link is taken once, and a retained payload is
/// not taken at all.
class MqttLink : public Sink {
public:
    /// Begins to connect, and again and again, with growing delays, whenever the link is down.
    virtual void Connect() = 0;

    /// The next arrival, if there is one. While the link is up and lines wait for it there is none: who
    /// sends too fast must wait for the answers.
    virtual std::optional<Arrival> Next() = 0;

    /// Takes nothing more from the broker, which keeps it, once all that has arrived was handed over and all
    /// that was sent has arrived; false until then.
    virtual bool Finish() = 0;

    /// The same at once, whatever has arrived and waits: the link is cut when the broker sends more.
    virtual void TakeNoMore() = 0;

    /// Becomes readable when Next may have one; reading it, 8 bytes, is up to the caller.
    virtual int WakeFd() const = 0;

    /// Sets the faults of both directions from now on.
    virtual void SetFaults(const LinkFaults &faults) = 0;

    /// Sends what waits and "offline", waits about a second for the broker to have them, disconnects, and
    /// says how many lines were lost in either direction since the start. False when the link was never up,
    /// or when lines that had arrived were not carried out.
    virtual bool Close() = 0;
};

/// A link, not connected yet. Throws std::invalid_argument for files that cannot be used, and when the
/// program was built without MQTT.
std::unique_ptr<MqttLink> MakeMqttLink(const MqttOptions &options);

} // namespace tqgateway

#endif
