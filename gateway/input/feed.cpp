// SPDX-License-Identifier: Apache-2.0
// Where lines come from: a file, or a link to a broker.
#include "input/feed.h"

#include <cerrno>
#include <chrono>
#include <iterator>
#include <system_error>

#include <poll.h>
#include <sys/eventfd.h>

#include <nlohmann/json.hpp>

#include "input/line_source.h"

namespace tqgateway {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kFinishingTime{500}; // for a moment in which nothing is on the way
constexpr std::chrono::milliseconds kDrainingTime{100};  // without one, for what has arrived
constexpr int kWaitMilliseconds = 50;

void Take(const Arrival &arrival, Gateway &gateway) {
    switch (arrival.kind) {
    case Arrival::Kind::line:
        gateway.Take(arrival.text);
        break;
    case Arrival::Kind::refusal:
        gateway.Refuse(arrival.text);
        break;
    case Arrival::Kind::up:
        gateway.TakeEvent({{"kernel_event", "online"}});
        break;
    case Arrival::Kind::down:
        gateway.TakeEvent({{"kernel_event", "break"}});
        break;
    }
}

/// Feeds the next arrival, if there is one.
bool FeedNext(MqttLink &link, Gateway &gateway) {
    const std::optional<Arrival> arrival = link.Next();
    if (arrival) {
        Take(*arrival, gateway);
    }
    return arrival.has_value();
}

void ClearWake(const MqttLink &link) {
    eventfd_t count = 0;
    eventfd_read(link.WakeFd(), &count);
}

} // namespace

void FeedLines(int fd, int stop_fd, Gateway &gateway) {
    LineSource source(fd, stop_fd, gateway.DueFd());
    GiveLines(
        source, [&](const std::string &line) { gateway.Take(line); },
        [&](const std::string &reason) { gateway.Refuse(reason); }, [&] { gateway.CarryOutDue(); });
}

void FeedArrivals(MqttLink &link, int stop_fd, Gateway &gateway) {
    link.Connect();
    pollfd waiting[] = {{link.WakeFd(), POLLIN, 0}, {stop_fd, POLLIN, 0}, {gateway.DueFd(), POLLIN, 0}};
    for (bool more = false;;) {
        const bool polled = poll(waiting, std::size(waiting), more ? 0 : -1) >= 0;
        if (polled && waiting[1].revents != 0) {
            break;
        }
        if (polled && waiting[2].revents != 0) {
            gateway.CarryOutDue();
        }
        if (!more) {
            ClearWake(link);
        }
        more = FeedNext(link, gateway);
    }
    // The broker believes all that has arrived to be taken.
    const auto end = steady_clock::now() + kFinishingTime;
    while (!link.Finish()) {
        if (steady_clock::now() > end) {
            link.TakeNoMore();
            break;
        }
        if (!FeedNext(link, gateway)) {
            poll(waiting, 1, kWaitMilliseconds);
            ClearWake(link);
        }
    }
    while (steady_clock::now() < end + kDrainingTime && FeedNext(link, gateway)) {
    }
}

void FeedNothing(int stop_fd, Gateway &gateway) {
    pollfd waiting[] = {{stop_fd, POLLIN, 0}, {gateway.DueFd(), POLLIN, 0}};
    while (poll(waiting, std::size(waiting), -1) < 0 || waiting[0].revents == 0) {
        gateway.CarryOutDue();
    }
}

} // namespace tqgateway
