// SPDX-License-Identifier: Apache-2.0
/// @file feed.h  Feeds a gateway from where lines come, until they end or the program is to stop.
#ifndef TQGATEWAY_FEED_H
#define TQGATEWAY_FEED_H

#include "gateway.h"
#include "mqtt.h"

namespace tqgateway {

/// Feeds all lines of a file, which is read as it grows. Throws std::system_error when it cannot be read to
/// its end. For both: `stop_fd` becomes readable when the feeding is to end.
void FeedLines(int fd, int stop_fd, Gateway &gateway);

/// Connects the link and feeds all that arrives; the link's own ups and downs are kernel events.
void FeedArrivals(MqttLink &link, int stop_fd, Gateway &gateway);

} // namespace tqgateway

#endif
