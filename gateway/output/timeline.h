// SPDX-License-Identifier: Apache-2.0
/// @file timeline.h  Lines as a person reads them.
#ifndef TQGATEWAY_OUTPUT_TIMELINE_H
#define TQGATEWAY_OUTPUT_TIMELINE_H

#include <memory>

#include "lines/json.h"
#include "output/output.h"

namespace tqgateway {

/// A timeline: one line per message with its direction, name and fields, behind its time where lines are
/// timed.
std::unique_ptr<Sink> MakeTimeline(WriteLine write, bool coloured, bool timed);

/// What people call the commands, by number.
Json CommandNames();

/// What the timeline says in the place of so many lines that did not fit.
std::string DroppedText(std::size_t lines);

} // namespace tqgateway

#endif
