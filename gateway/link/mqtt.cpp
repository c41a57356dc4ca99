// SPDX-License-Identifier: Apache-2.0
// The link: a connection that is kept up, and queues in both directions.
#include "link/mqtt.h"

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <future>
#include <random>
#include <stdexcept>
#include <thread>

#include <sys/eventfd.h>

#include <nlohmann/json.hpp>

#include "link/mqtt_client.h"
#include "process.h"

namespace tqgateway {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kLoopMilliseconds = 200;  // the longest until a closing is noticed
constexpr int kDelayedMilliseconds = 5; // the longest that a delayed message comes too late
constexpr milliseconds kShortestDelay{100};
constexpr milliseconds kLongestDelay{2000};
constexpr milliseconds kLongestPause{200};
constexpr milliseconds kClosingTime{900};
constexpr milliseconds kEndingTime{300};

constexpr std::size_t kLongestPayload = std::size_t{1} << 20;
constexpr std::size_t kMostArrivalBytes = std::size_t{64} << 20;
constexpr std::size_t kEnoughArrivalBytes = std::size_t{64} << 10;
constexpr std::size_t kMostWaitingBytes = std::size_t{64} << 20;
constexpr std::size_t kItemBytes = 64; // what an item takes besides its text, about
constexpr std::size_t kWindow = 20;    // lines given to the broker that it has not confirmed yet

// The two ways of a link with faults.
constexpr std::uint32_t kDown = 0;
constexpr std::uint32_t kUp = 1;

enum class Topic { up, device, result, log, status, process };
constexpr const char *kTopics[] = {"up", "device", "result", "log", "status", "process"};
constexpr std::size_t kTopicCount = std::size(kTopics);

/// Where a line goes: each topic has one kind of lines.
Topic TopicOf(const Json &line) {
    if (line.contains("log")) {
        return Topic::log;
    }
    const std::string to = line.value("to", "");
    return to == "platform" ? Topic::up : to == "device" ? Topic::device : Topic::result;
}

/// The lines of a payload.
std::size_t CountLines(const std::string &payload, std::size_t begin = 0) {
    const auto from = payload.begin() + static_cast<std::ptrdiff_t>(std::min(begin, payload.size()));
    const bool open = from != payload.end() && payload.back() != '\n';
    return static_cast<std::size_t>(std::count(from, payload.end(), '\n')) + (open ? 1 : 0);
}

std::string Lines(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " line" : " lines");
}

/// A line on its way to the broker.
struct Departure {
    Topic topic;
    std::string text;
    steady_clock::time_point due;
};

/// A line from the broker that a bad link holds up.
struct HeldLine {
    std::string text;
    steady_clock::time_point due;
};

/// The state of a link, which its two threads share.
class Connection : MqttClientEvents {
public:
    explicit Connection(const MqttOptions &options);

    /// Keeps the link up until it is closed.
    void Run();

    void Send(const Json &line, Moment when);
    std::optional<Arrival> Next();
    bool Finish();
    void TakeNoMore();
    int WakeFd() const { return wake_.Get(); }
    void SetFaults(const LinkFaults &faults);
    void Close();

    /// Says what was lost in all; whether the link was ever up, and all that had arrived was carried out.
    bool Conclude();

private:
    void Up(bool resumed) override;
    void Received(std::string_view payload) override;
    void Confirmed(bool taken) override;

    /// One link, from the attempt to its end.
    void Connect();
    int Patience();
    void Down(const std::string &reason);

    // With the mutex held:
    void Arrive(Arrival arrival);
    void TellLost();
    std::optional<std::string> NextLine();
    bool HoldUp(const std::string &line);
    bool IsConfirmed() const;
    bool IsHeldBack() const;
    bool Publish(Topic topic, const std::string &text, bool retained);
    void PublishWaiting();
    void DropFirst();
    void Wake() const;

    const MqttOptions options_;
    const std::string address_;
    std::string topics_[kTopicCount];
    const FileDescriptor wake_;
    MqttClient client_;

    // Of the networking thread.
    std::string told_failure_; ///< Told already, since the link was last up.

    std::mutex mutex_;
    std::condition_variable changed_;
    bool up_ = false;
    bool ever_up_ = false;
    bool finished_ = false; ///< Takes nothing more.
    bool closed_ = false;
    std::string last_failure_;

    std::deque<Arrival> arrivals_;
    std::size_t arrival_bytes_ = 0;
    std::size_t lost_ = 0; ///< Lines that found no room among the arrivals, not told yet.
    std::size_t all_lost_ = 0;
    std::string payload_; ///< Of the arrival whose lines are being handed over, as far as `payload_at_`.
    std::size_t payload_at_ = 0;
    std::deque<HeldLine> held_;
    FaultyWay down_way_;

    std::deque<Departure> waiting_;
    std::size_t waiting_bytes_ = 0;
    std::size_t unconfirmed_ = 0; ///< Given to the client, which sends them again until confirmed.
    std::size_t dropped_ = 0;     ///< Not told yet.
    std::size_t all_dropped_ = 0;
    std::size_t refused_ = 0; ///< By the broker.
    FaultyWay up_way_;
};

Connection::Connection(const MqttOptions &options)
    : options_(options), address_(options.host + ':' + std::to_string(options.port)),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), client_(options, *this) {
    if (wake_.Get() < 0) {
        throw std::runtime_error(std::string("cannot make an MQTT link: ") + strerror(errno));
    }
    for (std::size_t topic = 0; topic < kTopicCount; ++topic) {
        topics_[topic] = client_.Topic(kTopics[topic]);
    }
}

// ---- The networking thread. ----

// The delays differ at random, so that many gateways do not come back at once.
void Connection::Run() {
    std::mt19937 random{std::random_device()()};
    milliseconds delay = kShortestDelay;
    for (;;) {
        Connect();
        if (client_.Subscribed()) {
            delay = kShortestDelay;
        }
        if (client_.Contested()) {
            delay = kLongestDelay; // two that take it from each other at once would do nothing else
        }
        std::uniform_int_distribution<milliseconds::rep> some(delay.count() / 2, delay.count());
        std::unique_lock lock(mutex_);
        if (changed_.wait_for(lock, milliseconds(some(random)), [this] { return closed_; })) {
            return;
        }
        delay = std::min(2 * delay, kLongestDelay);
    }
}

void Connection::Connect() {
    const auto deadline = steady_clock::now() + options_.connect_timeout;
    bool was_up = false;
    std::string reason;
    for (bool goes_on = client_.Connect(); goes_on;) {
        goes_on = client_.Loop(Patience());
        const std::lock_guard lock(mutex_);
        was_up = was_up || up_;
        if (closed_ && !up_) {
            return;
        }
        PublishWaiting();
        if (!was_up && goes_on && steady_clock::now() > deadline) {
            reason = "no answer within " + std::to_string(options_.connect_timeout.count()) + " s";
            break;
        }
    }
    if (reason.empty()) {
        reason = client_.Reason();
    }
    Down(reason);
    if (!was_up && reason != told_failure_) {
        Say("cannot connect to " + address_ + ": " + reason + "; trying again");
        told_failure_ = reason;
    }
}

/// How long a loop may wait for the broker. Wakes the taker when a line that was held up is due.
int Connection::Patience() {
    const std::lock_guard lock(mutex_);
    if (!held_.empty() && held_.front().due <= steady_clock::now()) {
        Wake();
    }
    const bool delays = down_way_.HasFaults() || !held_.empty() || !waiting_.empty();
    return delays ? kDelayedMilliseconds : kLoopMilliseconds;
}

void Connection::Up(bool resumed) {
    const std::lock_guard lock(mutex_);
    Say("connected to " + address_);
    if (ever_up_ && !resumed && options_.session > 0) {
        Say("the broker has not kept the session: what was sent meanwhile is lost");
    }
    told_failure_.clear();
    up_ = true;
    ever_up_ = true;
    Arrive({Arrival::Kind::up, ""});
    Publish(Topic::process, client_.Identity(), true);
    Publish(Topic::status, "online", true);
    PublishWaiting();
}

void Connection::Down(const std::string &reason) {
    const std::lock_guard lock(mutex_);
    last_failure_ = reason;
    if (up_) {
        up_ = false;
        Arrive({Arrival::Kind::down, ""});
        changed_.notify_all();
        if (!closed_) {
            Say("the connection to " + address_ + " broke: " + reason + "; trying again");
        }
    }
}

void Connection::Confirmed(bool taken) {
    const std::lock_guard lock(mutex_);
    --unconfirmed_;
    if (!taken && refused_++ == 0) {
        Say("the broker refuses to take what is sent");
    }
    PublishWaiting();
    changed_.notify_all();
    Wake();
}

void Connection::Received(std::string_view payload) {
    std::unique_lock lock(mutex_);
    if (finished_) {
        client_.Cut();
        return;
    }
    if (payload.size() > kLongestPayload) {
        Arrive({Arrival::Kind::refusal,
                "a payload of " + std::to_string(payload.size()) + " bytes; it may have up to 1 MiB"});
        return;
    }
    std::string text(payload);
    if (arrival_bytes_ + text.size() > kMostArrivalBytes) {
        if (lost_ == 0) {
            Say("payloads come faster than they can be taken: the last are lost");
        }
        lost_ += CountLines(text);
        return;
    }
    TellLost();
    Arrive({Arrival::Kind::line, std::move(text)});
    // While this waits, neither is the payload acknowledged nor does the broker send much more. It must not
    // wait when what is taken waits for confirmations, which come the same way, nor for long, because so do
    // the broker's signs of life.
    changed_.wait_for(lock, kLongestPause,
                      [this] { return arrival_bytes_ <= kEnoughArrivalBytes || IsHeldBack() || finished_; });
}

// ---- Either thread, with the mutex held. ----

void Connection::Arrive(Arrival arrival) {
    arrival_bytes_ += arrival.text.size() + kItemBytes;
    arrivals_.push_back(std::move(arrival));
    Wake();
}

/// Has a refusal stand for all lines that were lost in a row.
void Connection::TellLost() {
    if (lost_ > 0) {
        Arrive({Arrival::Kind::refusal, Lines(lost_) + " came faster than they can be taken and are lost"});
        all_lost_ += std::exchange(lost_, 0);
    }
}

void Connection::Wake() const {
    eventfd_write(wake_.Get(), 1);
}

bool Connection::Publish(Topic topic, const std::string &text, bool retained) {
    const bool given = client_.Publish(topics_[static_cast<std::size_t>(topic)], text, retained);
    unconfirmed_ += given ? 1 : 0;
    return given;
}

void Connection::PublishWaiting() {
    while (up_ && unconfirmed_ < kWindow) {
        if (dropped_ > 0) {
            if (!Publish(Topic::result, "{\"dropped\":" + std::to_string(dropped_) + '}', false)) {
                return;
            }
            Say("dropped " + Lines(dropped_) + " that waited for the link");
            all_dropped_ += std::exchange(dropped_, 0);
            continue;
        }
        if (waiting_.empty() || waiting_.front().due > steady_clock::now()) {
            return;
        }
        if (Publish(waiting_.front().topic, waiting_.front().text, false)) {
            waiting_bytes_ -= waiting_.front().text.size();
            waiting_.pop_front();
        } else {
            DropFirst();
        }
    }
}

void Connection::DropFirst() {
    if (dropped_++ == 0) {
        Say("the " + Lines(options_.queue) + " that may wait for the link are full: dropping the oldest");
    }
    waiting_bytes_ -= waiting_.front().text.size();
    waiting_.pop_front();
}

// ---- The gateway's threads. ----

void Connection::Send(const Json &line, Moment when) {
    const Topic topic = TopicOf(line);
    if (topic == Topic::log && !options_.log_topic) {
        return;
    }
    const std::string text = DumpOut(line, when, options_.timed);
    const std::lock_guard lock(mutex_);
    const bool faulty = topic == Topic::up && up_way_.HasFaults();
    const auto due = faulty ? up_way_.Due() : steady_clock::time_point();
    for (int copies = faulty ? up_way_.Copies() : 1; copies > 0; --copies) {
        waiting_bytes_ += text.size();
        waiting_.push_back({topic, text, due});
    }
    PublishWaiting();
    while (waiting_.size() > options_.queue || (waiting_bytes_ > kMostWaitingBytes && waiting_.size() > 1)) {
        DropFirst();
    }
}

void Connection::SetFaults(const LinkFaults &faults) {
    const std::lock_guard lock(mutex_);
    down_way_.Set(faults, kDown);
    up_way_.Set(faults, kUp);
}

std::optional<Arrival> Connection::Next() {
    const std::lock_guard lock(mutex_);
    if (IsHeldBack() && !finished_) {
        changed_.notify_all();
        return std::nullopt;
    }
    for (;;) {
        if (!held_.empty() && held_.front().due <= steady_clock::now()) {
            Arrival arrival{Arrival::Kind::line, std::move(held_.front().text)};
            held_.pop_front();
            return arrival;
        }
        if (auto line = NextLine()) {
            if (HoldUp(*line)) {
                continue;
            }
            return Arrival{Arrival::Kind::line, std::move(*line)};
        }
        if (arrivals_.empty()) {
            TellLost();
        }
        if (arrivals_.empty()) {
            return std::nullopt;
        }
        Arrival arrival = std::move(arrivals_.front());
        arrivals_.pop_front();
        arrival_bytes_ -= arrival.text.size() + kItemBytes;
        changed_.notify_all();
        if (arrival.kind != Arrival::Kind::line) {
            return arrival;
        }
        payload_ = std::move(arrival.text);
        payload_at_ = 0;
    }
}

/// The next line of the payload that is being handed over.
std::optional<std::string> Connection::NextLine() {
    if (payload_at_ >= payload_.size()) {
        return std::nullopt;
    }
    const std::size_t begin = payload_at_;
    const std::size_t end = std::min(payload_.find('\n', begin), payload_.size());
    payload_at_ = end + 1;
    return payload_.substr(begin, end - begin);
}

/// Whether faults of the link keep a line from being handed over now.
bool Connection::HoldUp(const std::string &line) {
    if (!down_way_.HasFaults() || !IsFromPlatform(line)) {
        return false;
    }
    const auto due = down_way_.Due();
    for (int copies = down_way_.Copies(); copies > 0; --copies) {
        held_.push_back({line, due});
    }
    return true;
}

bool Connection::Finish() {
    const std::lock_guard lock(mutex_);
    const bool drained = arrivals_.empty() && payload_at_ >= payload_.size() && held_.empty() && lost_ == 0;
    finished_ = drained && IsConfirmed();
    return finished_;
}

void Connection::TakeNoMore() {
    const std::lock_guard lock(mutex_);
    finished_ = true;
}

/// Whether nothing more is handed over until the broker has taken some of what waits for it.
bool Connection::IsHeldBack() const {
    return up_ && unconfirmed_ > 0 && 2 * waiting_.size() > options_.queue;
}

/// Whether nothing waits for the broker that it could take now.
bool Connection::IsConfirmed() const {
    return !up_ || (waiting_.empty() && unconfirmed_ == 0);
}

void Connection::Close() {
    std::unique_lock lock(mutex_);
    finished_ = true;
    const auto deadline = steady_clock::now() + kClosingTime;
    const auto wait_for_confirmations = [&] {
        changed_.wait_until(lock, deadline, [this] { return IsConfirmed(); });
    };
    wait_for_confirmations();
    if (up_) {
        Publish(Topic::status, "offline", true);
        wait_for_confirmations();
    }
    // Otherwise without a farewell, so that the broker says "offline".
    const bool farewell = up_ && waiting_.empty() && unconfirmed_ == 0;
    up_ = up_ && farewell;
    closed_ = true;
    lock.unlock();
    changed_.notify_all();
    if (farewell) {
        client_.Disconnect();
    }
}

bool Connection::Conclude() {
    const std::lock_guard lock(mutex_);
    const auto tell = [](std::size_t count, const std::string &what) {
        if (count > 0) {
            Say(Lines(count) + ' ' + what);
        }
    };
    std::size_t left = CountLines(payload_, payload_at_) + held_.size();
    for (const Arrival &arrival : arrivals_) {
        left += arrival.kind == Arrival::Kind::line ? CountLines(arrival.text) : 0;
    }
    tell(left, "that had arrived were not carried out any more");
    tell(all_lost_ + lost_, "in all came faster than they could be taken and are lost");
    if (const std::size_t repeats = client_.Repeats(); repeats > 0) {
        Say(std::to_string(repeats) +
            (repeats == 1 ? " payload that the broker delivered again was"
                          : " payloads that the broker delivered again were") +
            " not taken twice");
    }
    tell(waiting_.size() + unconfirmed_ + dropped_, "did not reach the broker for sure");
    tell(all_dropped_ + dropped_, "in all were dropped because the link was down or too slow");
    tell(refused_, "in all were refused by the broker");
    for (const auto &[way, name] : {std::pair(&down_way_, "to"), std::pair(&up_way_, "from")}) {
        tell(way->Lost(), std::string(name) + " the device were lost by the link, as asked");
        tell(way->Doubled(), std::string(name) + " the device were doubled by the link, as asked");
    }
    if (!ever_up_) {
        Say("never reached " + address_ + (last_failure_.empty() ? "" : ": " + last_failure_));
    }
    return ever_up_ && left + all_lost_ + lost_ == 0;
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

    void Show(const Json &line, Moment when) override { connection_->Send(line, when); }
    void Echo(Input, const Json &, const std::string &, Moment) override {}
    void Heading(const std::string &) override {}

    std::optional<Arrival> Next() override { return connection_->Next(); }
    bool Finish() override { return connection_->Finish(); }
    void TakeNoMore() override { connection_->TakeNoMore(); }
    int WakeFd() const override { return connection_->WakeFd(); }
    void SetFaults(const LinkFaults &faults) override { connection_->SetFaults(faults); }

    bool Close() override {
        End();
        return connection_->Conclude();
    }

private:
    void End() {
        if (!thread_.joinable()) {
            return;
        }
        connection_->Close();
        if (ended_.wait_for(kEndingTime) == std::future_status::ready) {
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
