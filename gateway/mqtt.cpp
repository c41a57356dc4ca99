// SPDX-License-Identifier: Apache-2.0
// The link over libmosquitto: a connection that is kept up, and queues in both directions.
#include "mqtt.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <fstream>
#include <future>
#include <stdexcept>
#include <thread>

#include <sys/eventfd.h>

#include <mosquitto.h>
#include <nlohmann/json.hpp>

#include "process.h"

namespace tqgateway {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr int kQos = 1;
constexpr int kKeepaliveSeconds = 30;
constexpr int kLoopMilliseconds = 200; // the longest until a closing is noticed
constexpr seconds kConnectTime{15};
constexpr seconds kShortestDelay{1};
constexpr seconds kLongestDelay{30};
constexpr seconds kClosingTime{3};

constexpr std::size_t kLongestPayload = std::size_t{1} << 20;
constexpr std::size_t kMostArrivalBytes = std::size_t{64} << 20;
constexpr std::size_t kMostWaitingBytes = std::size_t{64} << 20;
constexpr std::size_t kItemBytes = 64; // what an item takes besides its text, about
constexpr std::size_t kWindow = 20;    // lines given to the broker that it has not confirmed yet

/// Subscriptions are answered with the granted quality of service, or with this.
constexpr int kSubscriptionRefused = 0x80;

struct ClientDelete {
    void operator()(mosquitto *client) const { mosquitto_destroy(client); }
};

struct Library {
    Library() { mosquitto_lib_init(); }
    ~Library() { mosquitto_lib_cleanup(); }
    Library(const Library &) = delete;
    Library &operator=(const Library &) = delete;
};

/// The library's texts end with a full stop.
std::string WithoutStop(std::string text) {
    while (!text.empty() && text.back() == '.') {
        text.pop_back();
    }
    return text;
}

std::string ErrorText(int error) {
    return error == MOSQ_ERR_ERRNO ? strerror(errno) : WithoutStop(mosquitto_strerror(error));
}

/// The state of a link, which its two threads share.
class Connection {
public:
    explicit Connection(const MqttOptions &options);

    /// Keeps the link up until it is closed.
    void Run();

    void Send(std::string line);
    std::optional<Arrival> Next();
    int WakeFd() const { return wake_.Get(); }
    void Close();

private:
    /// The client's callbacks. They are called by C code, on the networking thread.
    static void OnConnect(mosquitto *client, void *self, int refusal) noexcept;
    static void OnSubscribe(mosquitto *client, void *self, int, int count, const int *granted) noexcept;
    static void OnDisconnect(mosquitto *client, void *self, int error) noexcept;
    static void OnPublish(mosquitto *client, void *self, int) noexcept;
    static void OnMessage(mosquitto *client, void *self, const mosquitto_message *message) noexcept;

    void Up();
    void Down(const std::string &reason);
    void Receive(const mosquitto_message &message);

    /// One connection, from the attempt to its end.
    void Connect();

    // With the mutex held:
    void Arrive(Arrival arrival);
    bool Publish(const std::string &topic, const std::string &text, bool retained);
    void PublishWaiting();
    void Wake() const;

    std::string Topic(const char *name) const { return "tq/" + options_.serial + '/' + name; }

    const MqttOptions options_;
    const std::string address_;
    const FileDescriptor wake_;

    // Of the networking thread.
    std::string failure_;      ///< Why the last attempt failed.
    std::string told_failure_; ///< Told already, since the link was last up.

    std::mutex mutex_;
    std::condition_variable changed_;
    bool up_ = false;
    bool closed_ = false;
    std::deque<Arrival> arrivals_;
    std::size_t arrival_bytes_ = 0;
    std::deque<std::string> waiting_;
    std::size_t waiting_bytes_ = 0;
    std::size_t unconfirmed_ = 0; ///< Given to the client, which sends them again until confirmed.
    std::size_t dropped_ = 0;     ///< Not told yet.

    // Of the thread that calls Next: a payload and how far its lines are given out.
    std::string payload_;
    std::size_t payload_at_ = 0;

    Library library_;
    std::unique_ptr<mosquitto, ClientDelete> client_;
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

Connection::Connection(const MqttOptions &options)
    : options_(options), address_(options.host + ':' + std::to_string(options.port)),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      client_(mosquitto_new(("tq-" + options.serial).c_str(), true, this)) {
    if (!client_ || wake_.Get() < 0) {
        throw std::runtime_error(std::string("cannot make an MQTT client: ") + strerror(errno));
    }
    mosquitto *client = client_.get();
    mosquitto_threaded_set(client, true);
    mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_connect_callback_set(client, OnConnect);
    mosquitto_subscribe_callback_set(client, OnSubscribe);
    mosquitto_disconnect_callback_set(client, OnDisconnect);
    mosquitto_publish_callback_set(client, OnPublish);
    mosquitto_message_callback_set(client, OnMessage);

    const std::string offline = "offline";
    int error = mosquitto_will_set(client, Topic("status").c_str(), static_cast<int>(offline.size()),
                                   offline.data(), kQos, true);
    if (error == MOSQ_ERR_SUCCESS && !options.user.empty()) {
        const std::string password =
            options.password_file.empty() ? std::string() : ReadPassword(options.password_file);
        error = mosquitto_username_pw_set(client, options.user.c_str(),
                                          options.password_file.empty() ? nullptr : password.c_str());
    }
    if (error != MOSQ_ERR_SUCCESS) {
        throw std::invalid_argument("cannot set up MQTT: " + ErrorText(error));
    }
    if (!options.ca_file.empty() && mosquitto_tls_set(client, options.ca_file.c_str(), nullptr, nullptr,
                                                      nullptr, nullptr) != MOSQ_ERR_SUCCESS) {
        throw std::invalid_argument("--ca-file " + options.ca_file + ": cannot be read");
    }
}

// ---- The networking thread. ----

void Connection::Run() {
    seconds delay = kShortestDelay;
    for (;;) {
        const auto begin = steady_clock::now();
        Connect();
        if (steady_clock::now() - begin > kLongestDelay) {
            delay = kShortestDelay; // it was no link that breaks as soon as it is up
        }
        std::unique_lock lock(mutex_);
        if (changed_.wait_for(lock, delay, [this] { return closed_; })) {
            return;
        }
        delay = std::min(2 * delay, kLongestDelay);
    }
}

void Connection::Connect() {
    failure_.clear();
    bool was_up = false;
    const auto deadline = steady_clock::now() + kConnectTime;
    int error =
        mosquitto_connect_async(client_.get(), options_.host.c_str(), options_.port, kKeepaliveSeconds);
    while (error == MOSQ_ERR_SUCCESS) {
        error = mosquitto_loop(client_.get(), kLoopMilliseconds, 1);
        const std::lock_guard lock(mutex_);
        was_up = was_up || up_;
        if (closed_ && !up_) {
            return;
        }
        if (!was_up && steady_clock::now() > deadline) {
            failure_ = "no answer";
            break;
        }
    }

    const std::string reason = failure_.empty() ? ErrorText(error) : failure_;
    Down(reason);
    if (!was_up && reason != told_failure_) {
        Say("cannot connect to " + address_ + ": " + reason + "; trying again");
        told_failure_ = reason;
    }
}

void Connection::OnConnect(mosquitto *client, void *self, int refusal) noexcept {
    auto &connection = *static_cast<Connection *>(self);
    if (refusal != 0) {
        connection.failure_ = WithoutStop(mosquitto_connack_string(refusal));
    } else {
        mosquitto_subscribe(client, nullptr, connection.Topic("down").c_str(), kQos);
    }
}

void Connection::OnSubscribe(mosquitto *client, void *self, int, int count, const int *granted) noexcept {
    auto &connection = *static_cast<Connection *>(self);
    if (count < 1 || granted[0] >= kSubscriptionRefused) {
        connection.failure_ = "the broker refuses the subscription to " + connection.Topic("down");
        mosquitto_disconnect(client);
    } else {
        connection.Up();
    }
}

void Connection::OnDisconnect(mosquitto *, void *self, int error) noexcept {
    static_cast<Connection *>(self)->Down(ErrorText(error));
}

void Connection::OnPublish(mosquitto *, void *self, int) noexcept {
    auto &connection = *static_cast<Connection *>(self);
    const std::lock_guard lock(connection.mutex_);
    --connection.unconfirmed_;
    connection.PublishWaiting();
    connection.changed_.notify_all();
    connection.Wake();
}

void Connection::OnMessage(mosquitto *, void *self, const mosquitto_message *message) noexcept {
    try {
        static_cast<Connection *>(self)->Receive(*message);
    } catch (const std::bad_alloc &) {
        Say("a payload found no memory");
    }
}

void Connection::Up() {
    Say("connected to " + address_);
    told_failure_.clear();
    const std::lock_guard lock(mutex_);
    up_ = true;
    Arrive({Arrival::Kind::up, ""});
    Publish(Topic("status"), "online", true);
    PublishWaiting();
}

void Connection::Down(const std::string &reason) {
    const std::lock_guard lock(mutex_);
    if (up_) {
        up_ = false;
        Arrive({Arrival::Kind::down, ""});
        changed_.notify_all();
        if (!closed_) {
            Say("the connection to " + address_ + " broke: " + reason + "; trying again");
        }
    }
}

void Connection::Receive(const mosquitto_message &message) {
    const auto size = static_cast<std::size_t>(message.payloadlen);
    const std::lock_guard lock(mutex_);
    if (size > kLongestPayload) {
        Arrive({Arrival::Kind::refusal,
                "a payload of " + std::to_string(size) + " bytes; it may have up to 1 MiB"});
    } else if (arrival_bytes_ + size > kMostArrivalBytes) {
        if (arrivals_.back().kind != Arrival::Kind::refusal) {
            Arrive(
                {Arrival::Kind::refusal, "payloads came faster than they can be taken; the last are lost"});
        }
    } else {
        Arrive({Arrival::Kind::line, std::string(static_cast<const char *>(message.payload), size)});
    }
}

// ---- Either thread, with the mutex held. ----

void Connection::Arrive(Arrival arrival) {
    arrival_bytes_ += arrival.text.size() + kItemBytes;
    arrivals_.push_back(std::move(arrival));
    Wake();
}

void Connection::Wake() const {
    eventfd_write(wake_.Get(), 1);
}

bool Connection::Publish(const std::string &topic, const std::string &text, bool retained) {
    const int error = mosquitto_publish(client_.get(), nullptr, topic.c_str(), static_cast<int>(text.size()),
                                        text.data(), kQos, retained);
    // Without a connection the client keeps it, too.
    const bool given = error == MOSQ_ERR_SUCCESS || error == MOSQ_ERR_NO_CONN;
    unconfirmed_ += given ? 1 : 0;
    return given;
}

void Connection::PublishWaiting() {
    while (up_ && unconfirmed_ < kWindow && (dropped_ > 0 || !waiting_.empty())) {
        if (dropped_ > 0) {
            if (!Publish(Topic("up"), "{\"dropped\":" + std::to_string(dropped_) + '}', false)) {
                return;
            }
            Say("dropped " + std::to_string(dropped_) + " lines that waited for the link");
            dropped_ = 0;
            continue;
        }
        const bool given = Publish(Topic("up"), waiting_.front(), false);
        waiting_bytes_ -= waiting_.front().size();
        waiting_.pop_front();
        dropped_ += given ? 0 : 1;
    }
}

// ---- The gateway's threads. ----

void Connection::Send(std::string line) {
    const std::lock_guard lock(mutex_);
    waiting_bytes_ += line.size();
    waiting_.push_back(std::move(line));
    PublishWaiting();
    while (waiting_.size() > options_.queue || (waiting_bytes_ > kMostWaitingBytes && waiting_.size() > 1)) {
        waiting_bytes_ -= waiting_.front().size();
        waiting_.pop_front();
        ++dropped_;
    }
}

std::optional<Arrival> Connection::Next() {
    const std::lock_guard lock(mutex_);
    if (up_ && unconfirmed_ > 0 && 2 * waiting_.size() > options_.queue) {
        return std::nullopt;
    }
    while (payload_at_ >= payload_.size()) {
        if (arrivals_.empty()) {
            return std::nullopt;
        }
        Arrival arrival = std::move(arrivals_.front());
        arrivals_.pop_front();
        arrival_bytes_ -= arrival.text.size() + kItemBytes;
        if (arrival.kind != Arrival::Kind::line) {
            return arrival;
        }
        payload_ = std::move(arrival.text);
        payload_at_ = 0;
    }
    const std::size_t begin = payload_at_;
    const std::size_t end = std::min(payload_.find('\n', begin), payload_.size());
    payload_at_ = end + 1;
    return Arrival{Arrival::Kind::line, payload_.substr(begin, end - begin)};
}

void Connection::Close() {
    std::unique_lock lock(mutex_);
    const auto deadline = steady_clock::now() + kClosingTime;
    const auto wait_for_confirmations = [&] {
        changed_.wait_until(lock, deadline,
                            [this] { return !up_ || (waiting_.empty() && unconfirmed_ == 0); });
    };
    wait_for_confirmations();
    if (up_) {
        Publish(Topic("status"), "offline", true);
        wait_for_confirmations();
    }
    if (!waiting_.empty() || unconfirmed_ > 0 || dropped_ > 0) {
        Say(std::to_string(waiting_.size() + unconfirmed_ + dropped_) +
            " lines did not reach the broker for sure");
        up_ = false; // without a farewell, so that the broker says "offline"
    }
    closed_ = true;
    const bool confirmed = up_;
    lock.unlock();
    changed_.notify_all();
    if (confirmed) {
        mosquitto_disconnect(client_.get());
    }
}

/// Both threads hold the connection: the networking thread may be left behind in a look-up of the host's
/// name, which nothing interrupts.
class Link : public MqttLink {
public:
    explicit Link(const MqttOptions &options) : connection_(std::make_shared<Connection>(options)) {}
    ~Link() override { End(); }
    Link(const Link &) = delete;
    Link &operator=(const Link &) = delete;

    void Connect() override {
        std::packaged_task<void()> run([connection = connection_] { connection->Run(); });
        ended_ = run.get_future();
        thread_ = std::thread(std::move(run));
    }

    void Show(const Json &line) override { connection_->Send(Dump(line)); }
    void Echo(Input, const Json &) override {}
    void Heading(const std::string &) override {}

    std::optional<Arrival> Next() override { return connection_->Next(); }
    int WakeFd() const override { return connection_->WakeFd(); }
    void Close() override { End(); }

private:
    void End() {
        if (!thread_.joinable()) {
            return;
        }
        connection_->Close();
        if (ended_.wait_for(kClosingTime) == std::future_status::ready) {
            thread_.join();
        } else {
            thread_.detach();
        }
    }

    std::shared_ptr<Connection> connection_;
    std::future<void> ended_;
    std::thread thread_;
};

} // namespace

std::unique_ptr<MqttLink> MakeMqttLink(const MqttOptions &options) {
    return std::make_unique<Link>(options);
}

} // namespace tqgateway
