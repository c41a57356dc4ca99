// SPDX-License-Identifier: Apache-2.0
// A build without libedit.
#include "input/editor.h"
#include "input/feed.h"

namespace tqgateway {

void FeedTerminal(int fd, int stop_fd, Gateway &gateway, LineQueue &) {
    FeedLines(fd, stop_fd, gateway);
}

} // namespace tqgateway
