// SPDX-License-Identifier: Apache-2.0
// The client over libmosquitto.
#include "link/mqtt_client.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <stdexcept>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <mqtt_protocol.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include "process.h"

namespace tqgateway {
namespace {

/// What brokers have on the way at once is far less; beyond it a repeated delivery is carried out twice.
constexpr std::size_t kRemembered = 1000;

/// Payloads that the broker may have on the way here at once. The broker confirms what is sent to it in the
/// same stream, behind them, and some send as many more for each that is acknowledged: with more than one,
/// commands arrive faster than their answers can leave.
constexpr int kReceiveMaximum = 1;

/// Codes from here on are the protocol's own reasons, below them the library's errors.
constexpr int kFirstReason = 0x80;

/// The library's texts end with a full stop.
std::string WithoutStop(std::string text) {
    while (!text.empty() && text.back() == '.') {
        text.pop_back();
    }
    return text;
}

/// What the library logs about TLS, and what it means to its user. The first that fits counts.
struct TlsFailure {
    const char *logged;
    const char *words;
};

constexpr TlsFailure kTlsFailures[] = {
    {"host name verification failed", "the broker's certificate is for another host name"},
    {"certificate verify failed",
     "the broker's certificate has expired, or no authority in --ca-file vouches for it"},
    {"wrong version number", "the broker's answer is not TLS; is this its port for TLS?"},
    {"unexpected eof", "the broker ended the TLS handshake; is this its port for TLS?"},
    {"certificate required", "the broker wants a client certificate (--cert-file)"},
    {"unknown ca", "the broker does not trust the client certificate"},
};

std::string ReadPassword(const std::string &file) {
    std::ifstream stream(file);
    std::string password;
    if (!std::getline(stream, password)) {
        throw std::invalid_argument("--password-file " + file + ": has no first line that can be read");
    }
    if (!password.empty() && password.back() == '\r') {
        password.pop_back();
    }
    return password;
}

std::string MakeIdentity() {
    char host[256] = "";
    gethostname(host, sizeof host - 1);
    return std::string(host) + " process " + std::to_string(getpid());
}

void CheckReadable(const char *option, const std::string &file) {
    if (!file.empty() && !std::ifstream(file).is_open()) {
        throw std::invalid_argument(std::string(option) + ' ' + file + ": " + strerror(errno));
    }
}

/// Nobody is there to type a passphrase.
int NoPassphrase(char *, int, int, void *) {
    return 0;
}

/// The client would find out at each attempt to connect, and not before.
void CheckTls(const MqttOptions &options) {
    CheckReadable("--ca-file", options.ca_file);
    CheckReadable("--cert-file", options.cert_file);
    CheckReadable("--key-file", options.key_file);
    const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> owner(SSL_CTX_new(TLS_client_method()),
                                                                  SSL_CTX_free);
    SSL_CTX *const context = owner.get();
    SSL_CTX_set_default_passwd_cb(context, NoPassphrase);
    const auto must = [](int usable, const std::string &problem) {
        ERR_clear_error();
        if (usable != 1) {
            throw std::invalid_argument(problem);
        }
    };
    must(SSL_CTX_load_verify_locations(context, options.ca_file.c_str(), nullptr),
         "--ca-file " + options.ca_file + ": holds no certificates that can be read");
    if (options.cert_file.empty()) {
        return;
    }
    must(SSL_CTX_use_certificate_chain_file(context, options.cert_file.c_str()),
         "--cert-file " + options.cert_file + ": holds no certificate that can be read");
    // This one also compares it with the certificate.
    if (SSL_CTX_use_PrivateKey_file(context, options.key_file.c_str(), SSL_FILETYPE_PEM) != 1) {
        const bool other = ERR_GET_REASON(ERR_peek_error()) == X509_R_KEY_VALUES_MISMATCH;
        must(0, "--key-file " + options.key_file +
                    (other ? ": is not the key of --cert-file"
                           : ": holds no key that can be read without a passphrase"));
    }
}

const char *OrNull(const std::string &text) {
    return text.empty() ? nullptr : text.c_str();
}

void Must(int error) {
    if (error != MOSQ_ERR_SUCCESS) {
        throw std::invalid_argument("cannot set up MQTT: " + WithoutStop(mosquitto_strerror(error)));
    }
}

} // namespace

MqttClient::MqttClient(const MqttOptions &options, MqttClientEvents &events)
    : options_(options), identity_(MakeIdentity()), process_topic_(Topic("process")), events_(events),
      client_(mosquitto_new((options.prefix + '-' + options.serial).c_str(), options.session == 0, this)) {
    if (!client_) {
        throw std::runtime_error(std::string("cannot make an MQTT client: ") + strerror(errno));
    }
    mosquitto *client = client_.get();
    mosquitto_threaded_set(client, true);
    mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_connect_v5_callback_set(client, OnConnect);
    mosquitto_subscribe_callback_set(client, OnSubscribe);
    mosquitto_disconnect_callback_set(client, OnDisconnect);
    mosquitto_publish_v5_callback_set(client, OnPublish);
    mosquitto_message_callback_set(client, OnMessage);
    mosquitto_log_callback_set(client, OnLog);

    const std::string offline = "offline";
    Must(mosquitto_will_set(client, Topic("status").c_str(), static_cast<int>(offline.size()), offline.data(),
                            kMqttQos, true));
    if (!options.user.empty()) {
        const std::string password =
            options.password_file.empty() ? std::string() : ReadPassword(options.password_file);
        Must(mosquitto_username_pw_set(client, options.user.c_str(),
                                       options.password_file.empty() ? nullptr : password.c_str()));
    }
    SetUpSession();
    SetUpTls();
}

void MqttClient::SetUpSession() {
    if (options_.version_3) {
        return;
    }
    mosquitto *client = client_.get();
    Must(mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5));
    Must(mosquitto_int_option(client, MOSQ_OPT_RECEIVE_MAXIMUM, kReceiveMaximum));
    if (options_.session == 0) {
        return;
    }
    mosquitto_property *expiry = nullptr;
    Must(mosquitto_property_add_int32(&expiry, MQTT_PROP_SESSION_EXPIRY_INTERVAL, options_.session));
    // Connecting without blocking takes no properties, but those of the last blocking attempt stay. This one
    // ends at once, because of its port.
    const int error = mosquitto_connect_bind_v5(client, options_.host.c_str(), -1, 0, nullptr, expiry);
    mosquitto_property_free_all(&expiry);
    Must(error == MOSQ_ERR_INVAL ? MOSQ_ERR_SUCCESS : error);
}

void MqttClient::SetUpTls() {
    if (options_.ca_file.empty()) {
        return;
    }
    CheckTls(options_);
    Must(mosquitto_tls_set(client_.get(), options_.ca_file.c_str(), nullptr, OrNull(options_.cert_file),
                           OrNull(options_.key_file), NoPassphrase));
}

std::string MqttClient::Topic(const char *name) const {
    return options_.prefix + '/' + options_.serial + '/' + name;
}

bool MqttClient::Connect() {
    reason_.clear();
    known_ = known_ || up_;
    connected_ = answered_ = up_ = subscribed_ = contested_ = repeated_ = false;
    const int error = mosquitto_connect_async(client_.get(), options_.host.c_str(), options_.port,
                                              static_cast<int>(options_.keepalive.count()));
    return error == MOSQ_ERR_SUCCESS || Fail(Words(error));
}

bool MqttClient::Loop(int milliseconds) {
    if (!connected_) {
        return AwaitConnection(milliseconds);
    }
    const int error = mosquitto_loop(client_.get(), milliseconds, 1);
    return error == MOSQ_ERR_SUCCESS || Fail(Words(error));
}

// The library begins TLS on a socket that is not connected yet, does not wait for it, and does not see that
// it failed.
bool MqttClient::AwaitConnection(int milliseconds) {
    pollfd waiting = {mosquitto_socket(client_.get()), POLLOUT, 0};
    if (poll(&waiting, 1, milliseconds) <= 0) {
        return true;
    }
    int error = 0;
    socklen_t size = sizeof error;
    getsockopt(waiting.fd, SOL_SOCKET, SO_ERROR, &error, &size);
    if (error == 0 && (waiting.revents & POLLHUP) != 0) {
        error = ECONNREFUSED; // the library's attempt at TLS was told already
    }
    connected_ = error == 0;
    return connected_ || Fail(strerror(error));
}

/// Keeps the first reason, which is the closest to the cause.
bool MqttClient::Fail(const std::string &reason) {
    if (reason_.empty()) {
        reason_ = reason;
    }
    return false;
}

std::string MqttClient::Words(int code) const {
    if (code == MQTT_RC_SESSION_TAKEN_OVER) {
        return "another gateway runs with --serial " + options_.serial;
    }
    if (code >= kFirstReason) {
        return WithoutStop(mosquitto_reason_string(code));
    }
    if (code == MOSQ_ERR_KEEPALIVE) {
        return "the broker gave no sign of life for " + std::to_string(options_.keepalive.count()) + " s";
    }
    if (code == MOSQ_ERR_CONN_LOST) {
        return answered_ || !options_.ca_file.empty()
                   ? "the broker closed it"
                   : "the broker closed it without an answer; is this its port without TLS?";
    }
    if (code == MOSQ_ERR_EAI || code == MOSQ_ERR_LOOKUP) {
        return "no address is known for this name";
    }
    return code == MOSQ_ERR_ERRNO ? strerror(errno) : WithoutStop(mosquitto_strerror(code));
}

void MqttClient::Up(bool resumed) {
    if (!up_) {
        up_ = true;
        events_.Up(resumed);
    }
}

// A session that was kept is a link at once: what waited in it comes before the subscription is confirmed.
void MqttClient::OnConnect(mosquitto *client, void *self, int refusal, int flags,
                           const mosquitto_property *) noexcept {
    auto &it = *static_cast<MqttClient *>(self);
    it.answered_ = true;
    if (refusal != 0) {
        it.Fail(WithoutStop(refusal < kFirstReason ? mosquitto_connack_string(refusal)
                                                   : mosquitto_reason_string(refusal)));
        return;
    }
    constexpr int kSessionPresent = 1;
    mosquitto_subscribe(client, &it.subscription_, it.Topic("down").c_str(), kMqttQos);
    mosquitto_subscribe(client, nullptr, it.process_topic_.c_str(), 0);
    if ((flags & kSessionPresent) != 0) {
        it.Up(true);
    } else {
        it.taken_.clear();
    }
}

void MqttClient::OnSubscribe(mosquitto *client, void *self, int id, int count, const int *granted) noexcept {
    auto &it = *static_cast<MqttClient *>(self);
    if (id != it.subscription_) {
        return;
    }
    if (count < 1 || granted[0] >= kFirstReason) {
        it.Fail("the broker refuses the subscription to " + it.Topic("down"));
        mosquitto_disconnect(client);
        return;
    }
    it.subscribed_ = true;
    it.Up(false);
}

void MqttClient::OnDisconnect(mosquitto *, void *self, int code) noexcept {
    auto &it = *static_cast<MqttClient *>(self);
    it.contested_ = it.contested_ || code == MQTT_RC_SESSION_TAKEN_OVER;
    it.Fail(it.Words(code));
}

void MqttClient::OnPublish(mosquitto *, void *self, int, int reason, const mosquitto_property *) noexcept {
    static_cast<MqttClient *>(self)->events_.Confirmed(reason < kFirstReason);
}

void MqttClient::OnMessage(mosquitto *, void *self, const mosquitto_message *message) noexcept {
    auto &it = *static_cast<MqttClient *>(self);
    try {
        const std::string_view payload(static_cast<const char *>(message->payload),
                                       static_cast<std::size_t>(message->payloadlen));
        if (message->topic == it.process_topic_) {
            it.MeetProcess(payload);
        } else if (message->retain) {
            if (!std::exchange(it.told_retained_, true)) {
                Say("the command that is retained on " + it.Topic("down") + " is ignored");
            }
        } else if (it.IsRepeat(message->mid, payload)) {
            ++it.repeats_;
        } else {
            it.events_.Received(payload);
        }
    } catch (const std::bad_alloc &) {
        Say("a payload found no memory");
    }
}

// An acknowledgement may get lost with the link, although the payload was taken.
bool MqttClient::IsRepeat(int id, std::string_view payload) {
    const std::pair key(id, std::hash<std::string_view>()(payload));
    if (repeated_ && std::find(taken_.begin(), taken_.end(), key) != taken_.end()) {
        return true;
    }
    taken_.push_back(key);
    if (taken_.size() > kRemembered) {
        taken_.pop_front();
    }
    return false;
}

// Not every broker says that another client took the link over: who comes back finds the other's name.
void MqttClient::MeetProcess(std::string_view identity) {
    if (known_ && !contested_ && !identity.empty() && identity != identity_) {
        contested_ = true;
        Say("another gateway runs with --serial " + options_.serial +
            ", and each takes the link from the other: " + std::string(identity));
    }
}

// The mark of a repeated delivery, and what failed in TLS, the library tells in its log only.
void MqttClient::OnLog(mosquitto *, void *self, int level, const char *text) noexcept {
    auto &it = *static_cast<MqttClient *>(self);
    if (level == MOSQ_LOG_DEBUG) {
        if (const char *received = strstr(text, " received PUBLISH (d")) {
            it.repeated_ = received[strlen(" received PUBLISH (d")] == '1';
        }
        return;
    }
    const auto *const failure =
        std::find_if(std::begin(kTlsFailures), std::end(kTlsFailures),
                     [&](const TlsFailure &row) { return strstr(text, row.logged) != nullptr; });
    if (failure != std::end(kTlsFailures)) {
        it.Fail(failure->words);
    }
}

void MqttClient::Cut() {
    shutdown(mosquitto_socket(client_.get()), SHUT_RDWR);
}

bool MqttClient::Publish(const std::string &topic, const std::string &text, bool retained) {
    const int error = mosquitto_publish(client_.get(), nullptr, topic.c_str(), static_cast<int>(text.size()),
                                        text.data(), kMqttQos, retained);
    // Without a connection the client keeps it, too.
    return error == MOSQ_ERR_SUCCESS || error == MOSQ_ERR_NO_CONN;
}

} // namespace tqgateway
