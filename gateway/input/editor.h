// SPDX-License-Identifier: Apache-2.0
/// @file editor.h  Lines from a person at a terminal.
#ifndef TQGATEWAY_INPUT_EDITOR_H
#define TQGATEWAY_INPUT_EDITOR_H

#include "gateway.h"
#include "output/line_queue.h"

namespace tqgateway {

/// Feeds a gateway from a terminal, with an editor: a history that is kept in the state folder of XDG,
/// completion, short forms, and help. All that the gateway shows is flushed before a line is asked for. A
/// build without the editor's library takes plain lines. Ends as FeedLines does.
void FeedTerminal(int fd, int stop_fd, Gateway &gateway, LineQueue &shown);

} // namespace tqgateway

#endif
