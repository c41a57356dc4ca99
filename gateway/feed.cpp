// SPDX-License-Identifier: Apache-2.0
// Where lines come from: a file, or a link to a broker.
#include "feed.h"

#include <cerrno>
#include <system_error>

#include <poll.h>
#include <sys/eventfd.h>

#include <nlohmann/json.hpp>

#include "line_source.h"

namespace tqgateway {
namespace {

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

} // namespace

void FeedLines(int fd, int stop_fd, Gateway &gateway) {
    LineSource source(fd, stop_fd);
    std::string line;
    for (;;) {
        switch (source.Next(line)) {
        case LineSource::Got::line:
            gateway.Take(line);
            break;
        case LineSource::Got::too_long:
            gateway.Refuse("a line longer than 64 MiB");
            break;
        case LineSource::Got::end:
            return;
        case LineSource::Got::error:
            throw std::system_error(errno, std::generic_category());
        }
    }
}

void FeedArrivals(MqttLink &link, int stop_fd, Gateway &gateway) {
    link.Connect();
    pollfd waiting[] = {{link.WakeFd(), POLLIN, 0}, {stop_fd, POLLIN, 0}};
    for (bool more = false;;) {
        if (poll(waiting, 2, more ? 0 : -1) >= 0 && waiting[1].revents != 0) {
            return;
        }
        if (!more) {
            eventfd_t count = 0;
            eventfd_read(link.WakeFd(), &count);
        }
        const std::optional<Arrival> arrival = link.Next();
        more = arrival.has_value();
        if (arrival) {
            Take(*arrival, gateway);
        }
    }
}

} // namespace tqgateway
