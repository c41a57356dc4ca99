// SPDX-License-Identifier: Apache-2.0
/// @file feed.h  Feeds a gateway from where lines come, until they end or the program is to stop.
#ifndef TQGATEWAY_INPUT_FEED_H
#define TQGATEWAY_INPUT_FEED_H

#include "gateway.h"
#include "link/mqtt.h"

namespace tqgateway {

/// Feeds all lines of a file, which is read as it grows. Throws std::system_error when it cannot be read to
/// its end. For all: `stop_fd` becomes readable when the feeding is to end.
void FeedLines(int fd, int stop_fd, Gateway &gateway);

/// Connects the link and feeds all that arrives; the link's own ups and downs are kernel events. When it is
/// to end, what has arrived is still fed, for less than a second.
void FeedArrivals(MqttLink &link, int stop_fd, Gateway &gateway);

/// Feeds nothing: carries out what is due.
void FeedNothing(int stop_fd, Gateway &gateway);

} // namespace tqgateway

#endif
