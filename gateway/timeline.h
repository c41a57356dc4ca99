// SPDX-License-Identifier: Apache-2.0
/// @file timeline.h  Lines as a person reads them.
#ifndef TQGATEWAY_TIMELINE_H
#define TQGATEWAY_TIMELINE_H

#include <memory>

#include "output.h"

namespace tqgateway {

/// A timeline: one line per message with its direction, name and fields.
std::unique_ptr<Sink> MakeTimeline(LineWriter &writer, bool coloured);

} // namespace tqgateway

#endif
