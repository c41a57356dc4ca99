// SPDX-License-Identifier: Apache-2.0
/// @file moment.h  Points in time and durations, as lines tell them.
#ifndef TQGATEWAY_LINES_MOMENT_H
#define TQGATEWAY_LINES_MOMENT_H

#include <chrono>
#include <string>

#include "lines/json.h"

namespace tqgateway {

using Moment = std::chrono::system_clock::time_point;

/// RFC 3339, in UTC and with milliseconds: "2026-11-16T04:19:51.123Z".
std::string MomentText(Moment moment);

/// A moment in that form. Throws LineError, which names `path`.
Moment ReadMoment(const Json &value, const std::string &path);

/// "500ms", "1.5s" or "2m", up to a day. Throws LineError, which names `path`.
std::chrono::milliseconds ReadDuration(const Json &value, const std::string &path);

} // namespace tqgateway

#endif
