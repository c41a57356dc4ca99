// SPDX-License-Identifier: Apache-2.0
/// @file rule_lines.h  The kinds of lines that drive the virtual hub's rules and its clock.
#ifndef TQGATEWAY_LINES_RULE_LINES_H
#define TQGATEWAY_LINES_RULE_LINES_H

#include <optional>
#include <string>
#include <vector>

#include "lines/json.h"

namespace tqgateway {

struct Parts;

// Each carries out a line of its kind, as LineKind says.
std::optional<int> Linkage(const Parts &parts, ObjectReader &line);
std::optional<int> Event(const Parts &parts, ObjectReader &line);
std::optional<int> Members(const Parts &parts, ObjectReader &line);
std::optional<int> Done(const Parts &parts, ObjectReader &line);
std::optional<int> Explain(const Parts &parts, ObjectReader &line);
std::optional<int> Trace(const Parts &parts, ObjectReader &line);
std::vector<std::string> TraceNames(); ///< What a trace line takes.
std::optional<int> Now(const Parts &parts, ObjectReader &line);
std::optional<int> Advance(const Parts &parts, ObjectReader &line);

/// A report that the engine makes: `{"report":"dclog","from":"linkage"}`.
std::optional<int> ReportStatistics(const Parts &parts, ObjectReader &line);

} // namespace tqgateway

#endif
